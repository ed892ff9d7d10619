#include "client/app.h"

#include <cstdio>
#include <iostream>
#include <new>

#include "cli/failure.h"
#include "cli/text.h"

namespace {

constexpr const char* kFooter =
    "PORT is an ifNum (5), a name (1/0/5), a range (1/0/1-4), a label, or several with commas.\n"
    "Exit status: 0 done, 1 carried out but not as wished, 2 wrong usage, 4 the daemon answered "
    "with an error, 5 not permitted, 6 timed out, 8 no daemon answered, 10 no such port, schedule, "
    "unit or run, 130 interrupted.\n"
    "Example: quorin_poectl ports 1/0/1-4";

void addZoneOptions(CLI::App& app, Options* options) {
  CLI::Option* utc = app.add_flag("--utc", options->utc, "show times in UTC");
  app.add_option("--tz", options->zone, "show times in this zone, such as Europe/Berlin")
      ->type_name("ZONE")
      ->excludes(utc)
      ->check([](const std::string& name) {
        return Zone::named(name) ? "" : "there is no zone " + inQuotes(name);
      });
}

void addColorOption(CLI::App& app, Options* options) {
  const auto read = [options](const std::string& when) {
    if (when != "auto" && when != "always" && when != "never") {
      throw CLI::ValidationError("--color", inQuotes(when) + " is not auto, always or never");
    }
    options->color = when == "auto"     ? ColorMode::automatic
                     : when == "always" ? ColorMode::always
                                        : ColorMode::never;
  };
  app.add_option_function<std::string>("--color", read, "colours: auto, always or never [auto]")
      ->type_name("{auto,always,never}");
}

void addCommonOptions(CLI::App& app, Options* options) {
  app.add_option("--socket", options->socketPath, "socket of the daemon")
      ->capture_default_str()
      ->type_name("PATH")
      ->take_last();
  app.add_flag("--json", options->json, "print one JSON document");
  addZoneOptions(app, options);
  addDuration(app, "--timeout", &options->timeoutMs,
              "how long to wait for an answer: 500ms, 60s, 2m [60s]");
  addColorOption(app, options);
  app.add_flag("-q,--quiet", options->quiet, "no progress and no warnings");
}

// The group of "schedule list" is the subcommand "schedule".
CLI::App* parentOf(CLI::App& app, const std::string& name) {
  const size_t blank = name.find(' ');
  return blank == std::string::npos ? &app : app.get_subcommand(name.substr(0, blank));
}

// The subcommand that was given last, the innermost one.
const CLI::App* innermost(const CLI::App* app) {
  const std::vector<CLI::App*> given = app->get_subcommands();
  return given.empty() ? app : innermost(given.back());
}

std::vector<std::string> subcommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; })) {
    names.push_back(each->get_name());
  }
  return names;
}

// Of the subcommand and of those around it.
std::vector<std::string> optionNames(const CLI::App* app) {
  std::vector<std::string> names;
  for (; app != nullptr; app = app->get_parent()) {
    for (const CLI::Option* option : app->get_options()) {
      for (const std::string& name : option->get_lnames()) {
        names.push_back("--" + name);
      }
    }
  }
  return names;
}

// What a word that nothing took may have been meant to be.
std::string suggestion(const CLI::App& app) {
  const CLI::App* inner = innermost(&app);
  for (const std::string& word : app.remaining(true)) {
    const bool isOption = word.size() > 1 && word[0] == '-';
    const std::string name = word.substr(0, word.find('='));
    std::string text = didYouMean(name, isOption ? optionNames(inner) : subcommandNames(*inner));
    if (!text.empty()) {
      return text;
    }
  }
  return "";
}

std::string pathOf(const CLI::App* app) {
  const CLI::App* parent = app->get_parent();
  return parent == nullptr ? app->get_name() : pathOf(parent) + " " + app->get_name();
}

int fail(ExitCode status, const std::string& text) {
  fflush(stdout);
  fprintf(stderr, "quorin_poectl: %s\n", text.c_str());
  return status;
}

// Help and version are parse errors to CLI11, which prints them.
int endOfParsing(const CLI::App& app, const CLI::ParseError& error, const Output& output) {
  if (error.get_exit_code() == 0) {
    app.exit(error);
    std::cout.flush();
    output.flush();
    return kExitDone;
  }
  std::string text = error.what();
  const std::vector<std::string> extras = app.remaining(true);
  const std::vector<std::string> names = subcommandNames(*innermost(&app));
  if (extras.empty() && error.get_name() == "RequiredError" && !names.empty()) {
    text = "which command? There are " + joined(names, ", ") + ".";
  } else if (!extras.empty()) {
    const bool isCommand = !names.empty() && extras[0][0] != '-';
    text = std::string(isCommand ? "there is no command " : "not expected: ") +
           inQuotes(extras[0]) + "." + suggestion(app);
  }
  return fail(kExitUsage, text + "\nSee: " + pathOf(innermost(&app)) + " --help");
}

int carryOut(const CommandLine& line, const Options& options, const Output& output) {
  SocketDaemon daemon(options.socketPath, options.timeoutMs,
                      [&output](const std::string& text) { output.say(text); });
  Session session(options, daemon, output);
  const int status = line.actions.at(innermost(line.app.get()))(session);
  output.flush();
  return status;
}

int parseAndCarryOut(int argc, const char* const* argv, Options* options) try {
  const CommandLine line = makeCommandLine(options);
  try {
    line.app->parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return endOfParsing(*line.app, error, Output(Screen{}, false));
  }
  return carryOut(line, *options, Output(screenOfStdout(options->color), options->quiet));
} catch (const Failure& failure) {
  return fail(failure.status(), failure.what());
}

}  // namespace

CommandLine makeCommandLine(Options* options) {
  CommandLine line{std::make_unique<CLI::App>(
                       "Talks to quorin_poed, the daemon that schedules and carries out PoE "
                       "actions.",
                       "quorin_poectl"),
                   {}};
  CLI::App& app = *line.app;
  app.footer(kFooter);
  app.set_version_flag("--version", "quorin_poectl " QUORIN_POED_VERSION);
  app.require_subcommand(1);
  app.fallthrough();
  addCommonOptions(app, options);

  for (const Command& command : commands()) {
    const std::string name = command.name;
    CLI::App* parent = parentOf(app, name);
    CLI::App* made = parent->add_subcommand(name.substr(name.find(' ') + 1), command.summary);
    made->footer("Options that every command takes, exit status: quorin_poectl --help");
    Action action = command.define(*made, *options);
    if (parent != &app) {
      parent->require_subcommand(line.actions.count(parent) > 0 ? 0 : 1, 1);
    }
    if (action) {
      line.actions[made] = std::move(action);
    }
  }
  return line;
}

int runClient(int argc, const char* const* argv, Options options) try {
  return parseAndCarryOut(argc, argv, &options);
} catch (const std::bad_alloc&) {
  return fail(kExitNotAsWished, "out of memory");
} catch (const std::exception& error) {
  return fail(kExitNotAsWished, escaped(error.what()));
}
