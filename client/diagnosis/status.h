// How a switch's PoE is, as a whole: what status shows and metrics count.
#ifndef QUORIN_CLIENT_DIAGNOSIS_STATUS_H
#define QUORIN_CLIENT_DIAGNOSIS_STATUS_H

#include <array>
#include <map>
#include <utility>
#include <vector>

#include "client/diagnosis/port_state.h"

struct Status {
  int64_t answerUs = 0;  // how long the daemon took for an answer, in microseconds
  std::vector<StatedPort> ports;
  std::vector<Schedule> schedules;
  std::vector<Run> openRuns;   // with their ports
  std::vector<Run> runsOfDay;  // as askRunsOfDay gives them
};

// Throws what Daemon::ask throws.
Status askStatus(Daemon& daemon, const std::vector<int32_t>& units, const View& view);

std::array<int64_t, kPortStates> portsByState(const Status& status);
std::vector<StatedPort> portsIn(PortState state, const Status& status);
struct PortSum {
  int64_t count = 0;
  int64_t powerMw = 0;
};
std::map<int32_t, PortSum> portsByUnit(const Status& status);
// Those of the day that have ended and are no success.
std::vector<Run> failedRuns(const Status& status);
// How many runs of the day ended in each way, by the daemon's words; ways that none ended in, too.
std::vector<std::pair<const char*, int64_t>> runsByResult(const Status& status);
int64_t runsUnderWay(const Status& status);  // of the day

#endif
