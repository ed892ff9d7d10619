// Asking the daemon for records. All throw what Daemon::ask throws.
#ifndef QUORIN_API_REQUESTS_H
#define QUORIN_API_REQUESTS_H

#include <cstdint>
#include <vector>

#include "api/link.h"
#include "api/records.h"

std::vector<Schedule> askSchedules(Daemon& daemon, int32_t unit);
std::vector<SensorPort> askSensors(Daemon& daemon, int32_t unit);
RunPage askRunPage(Daemon& daemon, int32_t unit, int64_t page, int64_t pageSize);
// The unit's runs that began at the instant or later, newest first, from as many pages as it takes.
std::vector<Run> askRunsSince(Daemon& daemon, int32_t unit, SystemTime since);
// The unit's runs that are open, with their ports. (The daemon closes a window's after 25 hours.)
std::vector<Run> askOpenRuns(Daemon& daemon, int32_t unit);
Run askRun(Daemon& daemon, int32_t unit, int64_t runId);
// Those of the runs that have one of the ports, in their order, with these ports alone; as many as
// are enough.
std::vector<Run> askRunsOfPorts(Daemon& daemon, const std::vector<Run>& runs,
                                const std::vector<PoePort>& ports, size_t enough);
BootDelay askBootDelay(Daemon& daemon, int32_t unit);
void setBootDelay(Daemon& daemon, const BootDelay& bootDelay);

// What comes back is the schedule as the daemon stored it.
Schedule createSchedule(Daemon& daemon, const Schedule& schedule);
Schedule updateSchedule(Daemon& daemon, const Schedule& schedule);  // that of its id
void deleteSchedule(Daemon& daemon, const Schedule& schedule);

// What ask, which gives a vector, tells of each of the units, one after the other.
template <typename Units, typename Ask>
auto ofUnits(const Units& units, const Ask& ask) {
  decltype(ask(int32_t{})) all;
  for (const int32_t unit : units) {
    auto more = ask(unit);
    all.insert(all.end(), more.begin(), more.end());
  }
  return all;
}

#endif
