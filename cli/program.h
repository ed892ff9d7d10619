// A program of commands: made of a table, told apart by the command line, ended by a status.
#ifndef QUORIN_CLI_PROGRAM_H
#define QUORIN_CLI_PROGRAM_H

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/failure.h"

// Carries a command out, with what was parsed for it. It may throw Failure.
using Action = std::function<int()>;

// An action that is done when `work` returns.
template <typename Work>
Action doing(Work work) {
  return [work] {
    work();
    return kExitDone;
  };
}

struct Command {
  std::string name;     // "ports"; "schedule list" belongs to the group "schedule" above it
  const char* summary;  // one line for the help
  // Adds arguments and options to its command. A group that does nothing by itself has no action.
  std::function<Action(Arguments& app)> define;
};

class Program {
 public:
  // name: as it calls itself in messages.
  Program(std::string name, const std::string& summary, const std::string& version);

  Arguments top() const { return line_.top(); }
  // A group comes before its commands.
  void add(const Command& command);
  // "help COMMAND", which is "COMMAND --help". summary: of it, for the help.
  void addHelp(const char* summary);

  // Parses and carries out; the exit status. A mistake in the command line is told on stderr.
  int run(int argc, const char* const* argv) const;
  // The action of a command line, for a later moment. Throws Failure (kExitUsage) for what is none.
  const Action& actionOf(const std::vector<std::string>& words) const;
  CommandWords words() const { return line_.words(); }

 private:
  int printHelp() const;

  std::string name_;
  CommandLine line_;
  std::map<std::string, Arguments> commands_;
  std::map<Arguments, Action> actions_;
  std::shared_ptr<std::vector<std::string>> helpOf_;  // words of a command
};

// On stderr: "quorin_poectl: TEXT", or, for a program that is asked for JSON, on one line
// {"error": {"text", "exitStatus", "code"}}, of which code is the daemon's, or null.
void tellFailure(const Failure& failure, bool isJson);
constexpr const char* kJsonErrors =
    "With --json an error is a line of JSON on stderr, too: {\"error\": {\"text\": ..., "
    "\"exitStatus\": 8, \"code\": null}}, with the daemon's code where it answered with one.";

// Makes the program and runs it; tells on stderr what was thrown. The exit status.
int runProgram(const std::function<Program()>& make, int argc, const char* const* argv);

#endif
