// The commands. One is added by a function here that gives its subcommand arguments of its own and
// returns what carries it out, and by a line in command_line.cpp.
#ifndef QUORIN_SWITCHSIM_COMMANDS_COMMAND_H
#define QUORIN_SWITCHSIM_COMMANDS_COMMAND_H

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "cli/command_line.h"

namespace switchsim {

enum ExitCode { kDone = 0, kFailed = 1, kWrongUsage = 2 };

// Carries a command out with the arguments that were parsed for it.
using Action = std::function<ExitCode()>;

// The whole command line, and what its commands do.
struct Program {
  CommandLine line;
  std::map<Arguments, Action> actions;
};
Program makeProgram();
// Of the command that was parsed.
const Action& parsedAction(const Program& program);

// Says on stderr what went wrong.
ExitCode fail(const std::string& error, ExitCode code = kFailed);
// For the functions that return why they failed, or an empty text.
ExitCode report(const std::string& error);
// To stdout, at once. Throws where it cannot be written.
void print(const std::string& text);
// Lets `act` do something with the port that the string means.
ExitCode withPort(const std::string& text, const std::function<std::string(uint32_t)>& act);

constexpr const char* kPortHelp = "An ifNum such as 5 or a name such as 1/0/5";

Action defineClock(Arguments& app);
Action defineCreate(Arguments& app);
Action defineDevice(Arguments& app);
Action defineFault(Arguments& app);
Action defineJournal(Arguments& app);
Action defineLab(Arguments& app);
Action definePlay(Arguments& app);
Action definePriority(Arguments& app);
Action defineServer(Arguments& app);
Action defineSet(Arguments& app);
Action defineShow(Arguments& app);

}  // namespace switchsim

#endif
