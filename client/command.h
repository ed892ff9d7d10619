// The commands: one table for help, completion and the man page.
#ifndef QUORIN_CLIENT_COMMAND_H
#define QUORIN_CLIENT_COMMAND_H

#include <cstdint>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/failure.h"
#include "client/session.h"

struct Command {
  const char* name;     // "ports"; "schedule list" belongs to the group "schedule" above it
  const char* summary;  // one line for the help
  // Adds arguments and options to its subcommand. Null for a group that does nothing of its own.
  Action (*define)(Arguments& app, Options& options);
};

// In the order of the help; a group stands before its commands.
const std::vector<Command>& commands();

// "--unit N" of a command, into options.unit.
Argument addUnit(Arguments& app, Options& options);

// The seconds of an option's duration. Throws Failure, kExitUsage, when they are not whole, or not
// least to most.
int32_t wholeSeconds(const char* option, int64_t milliseconds, int32_t least, int32_t most);

Action defineBootDelay(Arguments& app, Options& options);
Action defineCall(Arguments& app, Options& options);
Action defineCompletion(Arguments& app, Options& options);
Action defineExport(Arguments& app, Options& options);
Action defineHistory(Arguments& app, Options& options);
Action defineImport(Arguments& app, Options& options);
Action defineLog(Arguments& app, Options& options);
Action defineLogLevel(Arguments& app, Options& options);
Action defineMetrics(Arguments& app, Options& options);
Action defineNext(Arguments& app, Options& options);
Action definePorts(Arguments& app, Options& options);
Action defineRehearse(Arguments& app, Options& options);
Action defineReset(Arguments& app, Options& options);
Action defineScheduleAdd(Arguments& app, Options& options);
Action defineScheduleCheck(Arguments& app, Options& options);
Action defineScheduleDelete(Arguments& app, Options& options);
Action defineScheduleDisable(Arguments& app, Options& options);
Action defineScheduleEnable(Arguments& app, Options& options);
Action defineScheduleGroup(Arguments& app, Options& options);
Action defineScheduleList(Arguments& app, Options& options);
Action defineScheduleSet(Arguments& app, Options& options);
Action defineScheduleShow(Arguments& app, Options& options);
Action defineStatus(Arguments& app, Options& options);
Action defineWait(Arguments& app, Options& options);
Action defineWeek(Arguments& app, Options& options);
Action defineWhy(Arguments& app, Options& options);

#endif
