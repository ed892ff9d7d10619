#include "client/app.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <new>

#include "cli/failure.h"
#include "cli/mapped.h"
#include "cli/text.h"

namespace {

constexpr const char* kFooter =
    "PORT is an ifNum (5), a name (1/0/5), a range (1/0/1-4), a label, or several with commas.\n"
    "Exit status: 0 done, 1 carried out but not as wished, 2 wrong usage, 4 the daemon answered "
    "with an error, 5 not permitted, 6 timed out, 8 no daemon answered, 10 no such port, schedule, "
    "unit or run, 130 interrupted.\n"
    "Example: quorin_poectl ports 1/0/1-4";

void addColorOption(const Arguments& top, Options* options) {
  const auto read = [options](const std::string& when) {
    options->color = when == "auto"     ? ColorMode::automatic
                     : when == "always" ? ColorMode::always
                                        : ColorMode::never;
    const bool isKnown = when == "auto" || when == "always" || when == "never";
    return isKnown ? "" : inQuotes(when) + " is not auto, always or never";
  };
  top.read("--color", read, "colours: auto, always or never [auto]").named("{auto,always,never}");
}

void addCommonOptions(const Arguments& top, Options* options) {
  top.add("--socket", options->socketPath, "socket of the daemon")
      .withDefault()
      .named("PATH")
      .lastCounts();
  top.flag("--json", options->json, "print one JSON document");
  top.flag("--utc", options->utc, "show times in UTC");
  top.duration("--timeout", &options->timeoutMs,
               "how long to wait for an answer: 500ms, 60s, 2m [60s]");
  addColorOption(top, options);
  top.flag("-q,--quiet", options->quiet, "no progress and no warnings");
}

// The words of the command that was given, and of those around it, from the program on.
std::vector<CommandWords> wordsOfGiven(const CommandLine& line) {
  std::vector<CommandWords> levels{line.words()};
  const std::vector<Arguments> given = line.given();
  for (size_t i = 1; i < given.size(); ++i) {
    const std::vector<CommandWords> inner = levels.back().commands;
    levels.push_back(*std::find_if(inner.begin(), inner.end(), [&](const CommandWords& each) {
      return each.name == given[i].name();
    }));
  }
  return levels;
}

std::vector<std::string> commandNames(const CommandWords& command) {
  return mapped(command.commands, [](const CommandWords& each) { return each.name; });
}

std::vector<std::string> optionNames(const std::vector<CommandWords>& levels) {
  std::vector<std::string> names;
  for (auto level = levels.rbegin(); level != levels.rend(); ++level) {
    for (const ArgumentWords& each : level->arguments) {
      std::copy_if(each.names.begin(), each.names.end(), std::back_inserter(names),
                   [](const std::string& name) { return name.compare(0, 2, "--") == 0; });
    }
  }
  return names;
}

// What a word that nothing took may have been meant to be.
std::string suggestion(const std::vector<std::string>& extras,
                       const std::vector<CommandWords>& levels) {
  for (const std::string& word : extras) {
    const bool isOption = word.size() > 1 && word[0] == '-';
    std::string text = didYouMean(word.substr(0, word.find('=')),
                                  isOption ? optionNames(levels) : commandNames(levels.back()));
    if (!text.empty()) {
      return text;
    }
  }
  return "";
}

std::string mistakeText(const ParsedLine& parsed, const std::vector<CommandWords>& levels) {
  const std::vector<std::string> names = commandNames(levels.back());
  if (!parsed.extras.empty()) {
    const bool isCommand = !names.empty() && parsed.extras[0][0] != '-';
    return std::string(isCommand ? "there is no command " : "not expected: ") +
           inQuotes(parsed.extras[0]) + "." + suggestion(parsed.extras, levels);
  }
  return parsed.isCommandMissing && !names.empty()
             ? "which command? There are " + joined(names, ", ") + "."
             : parsed.text;
}

int fail(ExitCode status, const std::string& text) {
  fflush(stdout);
  fprintf(stderr, "quorin_poectl: %s\n", text.c_str());
  return status;
}

int endOfParsing(const CommandLine& line, const ParsedLine& parsed) {
  if (parsed.kind == ParsedLine::Kind::help) {
    const Output output(Screen{}, false);
    output.print(parsed.text);
    output.flush();
    return kExitDone;
  }
  const std::vector<CommandWords> levels = wordsOfGiven(line);
  const std::string path =
      joined(mapped(levels, [](const CommandWords& level) { return level.name; }), " ");
  return fail(kExitUsage, mistakeText(parsed, levels) + "\nSee: " + path + " --help");
}

int carryOut(const Program& program, const Options& options, const Output& output) {
  SocketDaemon daemon(options.socketPath, options.timeoutMs,
                      [&output](const std::string& text) { output.say(text); });
  Session session(options, daemon, output);
  const int status = program.actions.at(program.line.given().back())(session);
  output.flush();
  return status;
}

int parseAndCarryOut(int argc, const char* const* argv, Options* options) try {
  const Program program = makeProgram(options);
  const ParsedLine parsed = program.line.parse(argc, argv);
  if (parsed.kind != ParsedLine::Kind::command) {
    return endOfParsing(program.line, parsed);
  }
  return carryOut(program, *options, Output(screenOfStdout(options->color), options->quiet));
} catch (const Failure& failure) {
  return fail(failure.status(), failure.what());
}

}  // namespace

Program makeProgram(Options* options) {
  Program program{{"Talks to quorin_poed, the daemon that schedules and carries out PoE actions.",
                   "quorin_poectl", "quorin_poectl " QUORIN_POED_VERSION},
                  {}};
  const Arguments top = program.line.top();
  top.footer(kFooter);
  top.needsCommand();
  top.takesOuterOptions();
  addCommonOptions(top, options);

  std::map<std::string, Arguments> groups;
  for (const Command& command : commands()) {
    const std::string name = command.name;
    const size_t blank = name.find(' ');
    const Arguments parent = blank == std::string::npos ? top : groups.at(name.substr(0, blank));
    Arguments made = parent.command(name.substr(blank + 1), command.summary);
    made.footer("Options that every command takes, exit status: quorin_poectl --help");
    groups.emplace(name, made);
    Action action = command.define(made, *options);
    if (blank != std::string::npos) {
      parent.needsCommand(program.actions.count(parent) > 0);
    }
    if (action) {
      program.actions.emplace(made, std::move(action));
    }
  }
  return program;
}

int runClient(int argc, const char* const* argv, Options options) try {
  return parseAndCarryOut(argc, argv, &options);
} catch (const std::bad_alloc&) {
  return fail(kExitNotAsWished, "out of memory");
} catch (const std::exception& error) {
  return fail(kExitNotAsWished, escaped(error.what()));
}
