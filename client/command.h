// The commands: one table for help, completion and the man page.
#ifndef QUORIN_CLIENT_COMMAND_H
#define QUORIN_CLIENT_COMMAND_H

#include <cstdint>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/failure.h"
#include "client/session.h"

struct ClientCommand {
  const char* name;     // "ports"; "schedule list" belongs to the group "schedule" above it
  const char* summary;  // one line for the help
  // Adds arguments and options to its subcommand. Null for a group that does nothing of its own.
  SessionAction (*define)(Arguments& app, Options& options);
};

// In the order of the help; a group stands before its commands.
const std::vector<ClientCommand>& clientCommands();

// "--unit N" of a command, into options.unit.
Argument addUnit(Arguments& app, Options& options);

// The seconds of an option's duration, which are whole. Throws Failure, kExitUsage, when they are
// not least to most.
int32_t wholeSeconds(const char* option, int64_t milliseconds, int32_t least, int32_t most);

SessionAction defineBootDelay(Arguments& app, Options& options);
SessionAction defineCall(Arguments& app, Options& options);
SessionAction defineCompletion(Arguments& app, Options& options);
SessionAction defineExport(Arguments& app, Options& options);
SessionAction defineHistory(Arguments& app, Options& options);
SessionAction defineImport(Arguments& app, Options& options);
SessionAction defineLog(Arguments& app, Options& options);
SessionAction defineLogLevel(Arguments& app, Options& options);
SessionAction defineMetrics(Arguments& app, Options& options);
SessionAction defineNext(Arguments& app, Options& options);
SessionAction definePorts(Arguments& app, Options& options);
SessionAction defineRehearse(Arguments& app, Options& options);
SessionAction defineOff(Arguments& app, Options& options);
SessionAction defineOn(Arguments& app, Options& options);
SessionAction defineReset(Arguments& app, Options& options);
SessionAction defineScheduleAdd(Arguments& app, Options& options);
SessionAction defineScheduleCheck(Arguments& app, Options& options);
SessionAction defineScheduleDelete(Arguments& app, Options& options);
SessionAction defineScheduleDisable(Arguments& app, Options& options);
SessionAction defineScheduleEnable(Arguments& app, Options& options);
SessionAction defineScheduleGroup(Arguments& app, Options& options);
SessionAction defineScheduleList(Arguments& app, Options& options);
SessionAction defineScheduleRename(Arguments& app, Options& options);
SessionAction defineScheduleSet(Arguments& app, Options& options);
SessionAction defineScheduleShow(Arguments& app, Options& options);
SessionAction defineStatus(Arguments& app, Options& options);
SessionAction defineWait(Arguments& app, Options& options);
SessionAction defineWeek(Arguments& app, Options& options);
SessionAction defineWhy(Arguments& app, Options& options);

#endif
