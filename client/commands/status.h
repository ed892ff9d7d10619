// What status shows, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_STATUS_H
#define QUORIN_CLIENT_COMMANDS_STATUS_H

#include <map>
#include <string>
#include <vector>

#include "client/commands/schedule/schedules.h"
#include "client/diagnosis/health.h"
#include "client/session.h"
#include "forecast/upcoming.h"

struct Status {
  int64_t answerUs = 0;  // how long the daemon took for an answer, in microseconds
  int64_t systemNow = 0;
  std::vector<PortHealth> ports;
  std::vector<Schedule> schedules;
  std::vector<Run> openRuns;   // with their ports
  std::vector<Run> runsOfDay;  // as askRunsOfDay gives them
};

// Throws what Daemon::ask throws.
Status askStatus(Session& session);
std::array<int64_t, kPortStates> portsByState(const Status& status);
// Runs of the day; open ones under "running".
std::map<std::string, int64_t> runsByResult(const Status& status);

std::string statusText(const Status& status, const PortNames& names, const ShownAt& at,
                       const Screen& screen);
// {"answerMicroseconds", "switchTime", "zone", "units": [{"unit", "poePorts"}], "ports": {a count
// for each state}, "unexplained": [{"unit", "ifNum", "name", "label", "since", "runId", "why",
// "command"}], "faults": [{"unit", "ifNum", "name", "label", "detectionStatus"}], "openRuns":
// [run], "next": [as next shows them], "last24h": {"runs" and a count for each result}, "failed":
// [run]}; a run is {"runId", "unit", "triggered", "scheduleId", "scheduleName", "scheduleType",
// "status", "startedAt", "ifNums", "portNames", "why"}.
JsonPtr statusDocument(const Status& status, const PortNames& names, const ShownAt& at);

#endif
