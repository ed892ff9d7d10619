// The commands. One is added by a function here that gives its subcommand arguments of its own and
// returns what carries it out, and by a line in command_table.cpp. What they cannot do they throw
// as a Failure.
#ifndef QUORIN_SWITCHSIM_COMMANDS_COMMAND_H
#define QUORIN_SWITCHSIM_COMMANDS_COMMAND_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cli/output.h"
#include "cli/program.h"

namespace switchsim {

Program makeProgram();
// What the command line of these words would do, for a later moment. Throws Failure (kExitUsage)
// for what is none.
std::function<void()> actionOf(const std::vector<std::string>& words);

constexpr const char* kPortHelp = "An ifNum such as 5 or a name such as 1/0/5";

Action defineClock(Arguments& app);
Action defineCreate(Arguments& app);
Action defineDevice(Arguments& app);
Action defineFault(Arguments& app);
Action defineJournal(Arguments& app);
Action definePlay(Arguments& app);
Action definePriority(Arguments& app);
Action defineRehearse(Arguments& app);
Action defineServer(Arguments& app);
Action defineSet(Arguments& app);
Action defineShow(Arguments& app);
Action defineWeb(Arguments& app);

// "lab" and the commands in it.
std::vector<Command> labCommands();

}  // namespace switchsim

#endif
