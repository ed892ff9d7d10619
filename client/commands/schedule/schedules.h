// What schedule list and schedule show show, for the commands and their tests.
#ifndef QUORIN_CLIENT_COMMANDS_SCHEDULE_SCHEDULES_H
#define QUORIN_CLIENT_COMMANDS_SCHEDULE_SCHEDULES_H

#include <string>
#include <vector>

#include "api/records.h"
#include "cli/table.h"
#include "forecast/check.h"
#include "forecast/firings.h"

// The moment that is shown, and how times are.
struct ShownAt {
  int64_t now = 0;
  Zone zone;           // by which schedules go
  Zone shownZone;      // in which instants are shown
  std::string footer;  // "times in the switch's zone (CET)"
};

// Under each row stand its warnings; none or those of each schedule, in the same order.
std::string schedulesText(const std::vector<Schedule>& schedules, const PortNames& names,
                          const ShownAt& at, const Screen& screen,
                          const std::vector<ScheduleWarnings>& warnings = {});
// {"schedules": [...]}, each as scheduleDocument makes it.
JsonPtr schedulesJson(const std::vector<Schedule>& schedules, const PortNames& names,
                      const ShownAt& at);

std::string scheduleText(const Schedule& schedule, const PortNames& names, const ShownAt& at,
                         const Screen& screen);
// The daemon's keys, all of them, absent ones null; and "unit", "portNames", "next" with the
// instant and act of its next firing (both null when it has none) and "never" with the reason for
// that.
JsonPtr scheduleDocument(const Schedule& schedule, const PortNames& names, const ShownAt& at);
// The names of ports, in their order; null for one without a name.
JsonPtr portNamesJson(const std::vector<uint32_t>& ifNums, const PortNames& names);

#endif
