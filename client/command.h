// The commands: one table for help, completion and the man page.
#ifndef QUORIN_CLIENT_COMMAND_H
#define QUORIN_CLIENT_COMMAND_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "cli/failure.h"
#include "client/session.h"

struct Command {
  const char* name;     // "ports"; "schedule list" belongs to the group "schedule" above it
  const char* summary;  // one line for the help
  // Adds arguments and options to its subcommand. Null for a group that does nothing of its own.
  Action (*define)(CLI::App& app, Options& options);
};

// In the order of the help; a group stands before its commands.
const std::vector<Command>& commands();

// "--unit N" of a command, into options.unit.
CLI::Option* addUnit(CLI::App& app, Options& options);
// An option that takes a duration such as "10s", into *milliseconds.
CLI::Option* addDuration(CLI::App& app, const std::string& name, int64_t* milliseconds,
                         const std::string& description);

// The seconds of an option's duration. Throws Failure, kExitUsage, when they are not whole, or not
// least to most.
int32_t wholeSeconds(const char* option, int64_t milliseconds, int32_t least, int32_t most);

Action defineBootDelay(CLI::App& app, Options& options);
Action defineCall(CLI::App& app, Options& options);
Action defineCompletion(CLI::App& app, Options& options);
Action defineExport(CLI::App& app, Options& options);
Action defineHistory(CLI::App& app, Options& options);
Action defineImport(CLI::App& app, Options& options);
Action defineLog(CLI::App& app, Options& options);
Action defineLogLevel(CLI::App& app, Options& options);
Action defineMetrics(CLI::App& app, Options& options);
Action defineNext(CLI::App& app, Options& options);
Action definePorts(CLI::App& app, Options& options);
Action defineRehearse(CLI::App& app, Options& options);
Action defineReset(CLI::App& app, Options& options);
Action defineScheduleAdd(CLI::App& app, Options& options);
Action defineScheduleCheck(CLI::App& app, Options& options);
Action defineScheduleDelete(CLI::App& app, Options& options);
Action defineScheduleDisable(CLI::App& app, Options& options);
Action defineScheduleEnable(CLI::App& app, Options& options);
Action defineScheduleGroup(CLI::App& app, Options& options);
Action defineScheduleList(CLI::App& app, Options& options);
Action defineScheduleSet(CLI::App& app, Options& options);
Action defineScheduleShow(CLI::App& app, Options& options);
Action defineStatus(CLI::App& app, Options& options);
Action defineWait(CLI::App& app, Options& options);
Action defineWeek(CLI::App& app, Options& options);
Action defineWhy(CLI::App& app, Options& options);

#endif
