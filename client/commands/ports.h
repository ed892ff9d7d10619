// What ports shows, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_PORTS_H
#define QUORIN_CLIENT_COMMANDS_PORTS_H

#include <map>
#include <string>
#include <vector>

#include "api/records.h"
#include "cli/table.h"
#include "forecast/firings.h"

// What acts on a port now and next.
struct PortActs {
  int64_t openRunId = 0;  // 0: none
  std::string openRunName;
  std::optional<Firing> next;
  int64_t nextScheduleId = 0;
  std::string nextName;
};
using ActsOfPorts = std::map<uint32_t, PortActs>;

// Of all ports of these runs and schedules.
ActsOfPorts actsOfPorts(const std::vector<Run>& openRuns, const std::vector<Schedule>& schedules,
                        int64_t now, const Zone& zone);

// Times are shown as nearText does, from now, in the zone.
std::string portsText(const std::vector<SensorPort>& ports, const PortNames& names,
                      const ActsOfPorts& acts, int64_t now, const Zone& shownZone,
                      const Screen& screen);
// {"ports": [{"unit", "ifNum", "name", "label", ...}]}, the daemon's keys as they are; "openRunId"
// is null where no run acts, "next" has "at", "act", "scheduleId" and "scheduleName", or nulls.
JsonPtr portsJson(const std::vector<SensorPort>& ports, const PortNames& names,
                  const ActsOfPorts& acts, const Zone& shownZone);

#endif
