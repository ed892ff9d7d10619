// The program: its command line, and how it ends.
#ifndef QUORIN_CLIENT_APP_H
#define QUORIN_CLIENT_APP_H

#include <CLI/CLI.hpp>
#include <map>
#include <memory>

#include "client/command.h"

// The whole command line as CLI11 knows it. Help, completion and the man page walk it.
struct CommandLine {
  std::unique_ptr<CLI::App> app;
  std::map<const CLI::App*, Action> actions;  // of the subcommands that do something
};

// options must outlive what comes back, and holds what is parsed.
CommandLine makeCommandLine(Options* options);

// Parses, carries out, says what went wrong; the exit status. options has the paths of this build.
// REQUIRES: setlocale was called.
int runClient(int argc, const char* const* argv, Options options);

#endif
