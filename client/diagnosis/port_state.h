// Which ports are off and why, and how the runs of the last day went.
#ifndef QUORIN_CLIENT_DIAGNOSIS_PORT_STATE_H
#define QUORIN_CLIENT_DIAGNOSIS_PORT_STATE_H

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "api/requests.h"
#include "api/view.h"
#include "client/diagnosis/port_timeline.h"

enum class PortState {
  delivers,
  searches,
  offBySchedule,
  offForGood,  // by a schedule, and no schedule will switch it on
  offByRun,
  offUnexplained,
  fault,
};
constexpr size_t kPortStates = 7;

struct StatedPort {
  SensorPort port;
  PortState state = PortState::fault;  // a state of the switch that is none of the others
  std::optional<PortEvent> cause;      // what left it off, if a run is known to have
};

// The state of each port. records: as addRecordsBehindOff gives them.
std::vector<StatedPort> statedPorts(const std::vector<SensorPort>& ports,
                                    const PortRecords& records, const View& view);

// Adds the unit's runs from the newest to those that switched the ports before the instant, and the
// two days before them: what began there may have ended later. As many as atMost, and those of the
// time that the daemon keeps; what was before is not explained.
void addRecordsBehind(Daemon& daemon, int32_t unit, std::set<uint32_t> ifNums, SystemTime before,
                      size_t atMost, PortRecords* records);
// Those behind the ports of the unit that are off.
void addRecordsBehindOff(Daemon& daemon, int32_t unit, const std::vector<SensorPort>& ports,
                         PortRecords* records);

// The runs of the last 24 hours. Those that are neither open nor a success have their ports.
std::vector<Run> askRunsOfDay(Daemon& daemon, int32_t unit);

// What went wrong, as the daemon recorded it, escaped: the run's message, then each message of
// ports with the ports that have it.
std::string failureText(const Run& run, const PortNames& names);

#endif
