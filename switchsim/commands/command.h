// The commands. One is added by a function here that gives its subcommand arguments of its own and
// returns what carries it out, and by a line in command_line.cpp.
#ifndef QUORIN_SWITCHSIM_COMMANDS_COMMAND_H
#define QUORIN_SWITCHSIM_COMMANDS_COMMAND_H

#include <CLI/CLI.hpp>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace switchsim {

enum ExitCode { kDone = 0, kFailed = 1, kWrongUsage = 2 };

// Carries a command out with the arguments that were parsed for it.
using Action = std::function<ExitCode()>;

// The whole command line as CLI11 knows it.
struct CommandLine {
  std::unique_ptr<CLI::App> app;
  std::map<const CLI::App*, Action> actions;  // of each subcommand
};
CommandLine makeCommandLine();
// Of the subcommand that was parsed.
const Action& parsedAction(const CommandLine& line);

// Makes parsing fail, as for a wrong option, where `mistake` finds one in the options together.
void refuseMistakes(CLI::App& app, const std::function<std::string()>& mistake);

// Says on stderr what went wrong.
ExitCode fail(const std::string& error, ExitCode code = kFailed);
// For the functions that return why they failed, or an empty text.
ExitCode report(const std::string& error);
// To stdout, at once.
void print(const std::string& text);
// Lets `act` do something with the port that the string means.
ExitCode withPort(const std::string& text, const std::function<std::string(uint32_t)>& act);

constexpr const char* kPortHelp = "An ifNum such as 5 or a name such as 1/0/5";

Action defineClock(CLI::App& app);
Action defineCreate(CLI::App& app);
Action defineDevice(CLI::App& app);
Action defineFault(CLI::App& app);
Action defineJournal(CLI::App& app);
Action defineLab(CLI::App& app);
Action definePlay(CLI::App& app);
Action definePriority(CLI::App& app);
Action defineRecord(CLI::App& app);
Action defineReplay(CLI::App& app);
Action defineServer(CLI::App& app);
Action defineSet(CLI::App& app);
Action defineShow(CLI::App& app);

}  // namespace switchsim

#endif
