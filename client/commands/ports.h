// Ports with what acts on them, for the command and for rehearsals.
#ifndef QUORIN_CLIENT_COMMANDS_PORTS_H
#define QUORIN_CLIENT_COMMANDS_PORTS_H

#include <optional>
#include <vector>

#include "api/view.h"
#include "forecast/firings.h"

// A port, and what acts on it now and next.
struct PortRow : SensorPort {
  const Run* openRun = nullptr;  // null: none
  std::optional<Firing> next;
};

// What comes back points to the runs and schedules.
std::vector<PortRow> portRows(const std::vector<SensorPort>& ports,
                              const std::vector<Run>& openRuns,
                              const std::vector<Schedule>& schedules, const View& view);
// {"ports": [{"unit", "ifNum", "name", "label", ...}]}, the daemon's keys as they are; "openRunId"
// is null where no run acts, "next" has "at", "act", "scheduleId" and "scheduleName", or nulls.
JsonPtr portsJson(const std::vector<PortRow>& ports, const View& view);

#endif
