// What completion prints, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_COMPLETION_H
#define QUORIN_CLIENT_COMMANDS_COMPLETION_H

#include <string>

#include "cli/command_line.h"

// A bash script that completes the commands and options of the program. What an argument or an
// option's value is, the script knows by its name in the help: PORT, ID, FILE, PATH or {a,b,c}.
std::string bashCompletion(const CommandWords& program);

#endif
