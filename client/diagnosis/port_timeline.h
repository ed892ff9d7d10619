// What runs and schedules did to a port, told from what the daemon recorded. Who uses the switch's
// own CLI leaves no record.
#ifndef QUORIN_CLIENT_DIAGNOSIS_PORT_TIMELINE_H
#define QUORIN_CLIENT_DIAGNOSIS_PORT_TIMELINE_H

#include <optional>
#include <string>
#include <vector>

#include "api/records.h"
#include "forecast/firings.h"

enum class PortEffect {
  off,
  on,
  none,     // the port was skipped or the switch refused: it stayed as it was
  unclear,  // the record does not tell, as of a run that was cut off before its outcome
};

enum class PortCause {
  windowStart,
  windowEnd,
  lostEnd,  // a window's end after its run was closed: the daemon switches, but records nothing
  allDay,
  restart,
  bootDelay,
};

struct PortEvent {
  SystemTime at;  // of what a run did at its end, that end: it was then at the latest
  PortEffect effect = PortEffect::none;
  PortCause cause = PortCause::windowStart;
  Run run;                 // whose doing it was (of a lost end: whose window), with this port alone
  std::string actionText;  // "off 22:00-06:00" of its schedule as it is now; empty when it is gone
  // Of a window's start that has had no end yet: when the schedule as it is now ends it.
  std::optional<SystemTime> endsAt;
  std::string twinName;  // of the schedule that ends its schedule's last night; may be empty

  const RunPort& port() const { return run.ports.front(); }
  bool isBySchedule() const { return run.scheduleId.has_value(); }
};

// Switched off, for certain or, where the effect is unclear, perhaps.
bool isToOff(const PortEvent& event);

// What the runs say of the port, oldest first. They have their ports, and may be of any unit and in
// any order.
std::vector<PortEvent> portTimeline(const PoePort& port, const std::vector<Run>& runs,
                                    const std::vector<Schedule>& schedules, SystemTime now,
                                    const Zone& zone);

// The newest event at the instant or before that switched the port, for certain or perhaps; null
// when there is none.
const PortEvent* lastSwitching(const std::vector<PortEvent>& timeline, SystemTime at);

// What left a port off that is off now: the last switching, unless that switched it on; null when
// no run is known to have done it. A schedule wants the port off where isOffBySchedule; else
// nothing will switch it on again, as after a restart that wasCutOff.
const PortEvent* whatLeftOff(const std::vector<PortEvent>& timeline, SystemTime now);
bool wasCutOff(const PortEvent& event);  // by a restart of the daemon
bool isOffBySchedule(const PortEvent& event);

// "switched off by schedule 3 "night" (off 22:00-06:00), run 4820, success"; escaped. After an
// event of the same run: "switched on by the end of that window".
std::string eventText(const PortEvent& event, bool isSameRun);

#endif
