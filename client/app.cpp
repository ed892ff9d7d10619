#include "client/app.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "cli/text.h"
#include "client/command.h"
#include "client/diagnosis/status_check.h"

namespace {

constexpr const char* kFooter =
    "PORT is an ifNum (5), a name (1/0/5), a range (1/0/1-4), a label, or several with commas.\n"
    "Exit status: 0 done, 1 carried out but not as wished, 2 wrong usage, 4 the daemon answered "
    "with an error, 5 not permitted, 6 timed out, 8 no daemon answered, 10 no such port, schedule, "
    "unit or run, 130 interrupted. status --check has those of monitoring plugins: 0 fine, 1 "
    "warning, 2 critical, 3 unknown.\n";
constexpr const char* kExample = "\nExample: quorin_poectl ports 1/0/1-4";

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
  top.flag("--json", options->json,
           "print one JSON document; of reset, on and --watch, which go on, one a line");
  top.flag("--utc", options->utc, "show times in UTC");
  top.duration("--timeout", &options->timeoutMs,
               "how long to wait for an answer: 500ms, 60s, 2m [60s]");
  addColorOption(top, options);
  top.flag("-q,--quiet", options->quiet, "no progress and no warnings");
}

// Who reads a file of messages is not waiting.
void sayToPerson(const std::string& text, const Output& output) {
  if (isatty(STDERR_FILENO) != 0) {
    output.say(text);
  }
}

// Whether it is a command line of status --check, right or wrong.
bool isStatusCheck(int argc, const char* const* argv) {
  const auto* end = argv + argc;
  const auto* command = std::find_if(argv + 1, end, [](const char* word) {
    const auto& all = clientCommands();
    return std::any_of(all.begin(), all.end(),
                       [word](const ClientCommand& each) { return strcmp(each.name, word) == 0; });
  });
  return command < end && strcmp(*command, "status") == 0 &&
         std::any_of(command, end, [](const char* word) { return strcmp(word, "--check") == 0; });
}

int carryOut(const SessionAction& action, const Options& options) {
  const Output output(screenOfStdout(options.color), options.quiet, options.json);
  SocketDaemon daemon(options.socketPath, options.timeoutMs,
                      [&output](const std::string& text) { sayToPerson(text, output); });
  Session session(options, daemon, output);
  const int status = action(session);
  output.flush();
  return status;
}

}  // namespace

Program clientProgram(Options* options) {
  Program program("quorin_poectl",
                  "Talks to quorin_poed, the daemon that schedules and carries out PoE actions.",
                  QUORIN_POED_VERSION);
  const Arguments top = program.top();
  top.footer(std::string(kFooter) + kJsonErrors + kExample);
  top.takesOuterOptions();
  addCommonOptions(top, options);
  for (const ClientCommand& command : clientCommands()) {
    program.add({command.name, command.summary, [&command, options](Arguments& app) -> Action {
                   app.footer(
                       "Options that every command takes, exit status: quorin_poectl --help");
                   const SessionAction action = command.define(app, *options);
                   if (!action) {
                     return nullptr;
                   }
                   return [action, options] { return carryOut(action, *options); };
                 }});
  }
  program.addHelp("show the help of a command");
  return program;
}

int runClient(int argc, const char* const* argv, Options options) {
  if (isStatusCheck(argc, argv)) {
    options.quiet = true;
    return runStatusCheck([&] { return clientProgram(&options).run(argc, argv); });
  }
  return runProgram([&options] { return clientProgram(&options); }, argc, argv);
}
