// The program: its command line, and how it ends.
#ifndef QUORIN_CLIENT_APP_H
#define QUORIN_CLIENT_APP_H

#include <map>

#include "cli/command_line.h"
#include "client/command.h"

// The whole command line, and what its commands do.
struct Program {
  CommandLine line;
  std::map<Arguments, Action> actions;  // of the commands that do something
};

// options must outlive what comes back, and holds what is parsed.
Program makeProgram(Options* options);

// Parses, carries out, says what went wrong; the exit status. options has the paths of this build.
// REQUIRES: setlocale was called.
int runClient(int argc, const char* const* argv, Options options);

#endif
