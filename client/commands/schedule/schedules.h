// How schedules are shown, for several commands and their tests.
#ifndef QUORIN_CLIENT_COMMANDS_SCHEDULE_SCHEDULES_H
#define QUORIN_CLIENT_COMMANDS_SCHEDULE_SCHEDULES_H

#include <string>
#include <vector>

#include "api/view.h"
#include "forecast/check.h"

// A row each, and under it its warnings: those of each schedule, in the same order.
std::string schedulesText(const std::vector<Schedule>& schedules,
                          const std::vector<ScheduleWarnings>& warnings, const View& view);

// The daemon's keys, all of them, absent ones null; and "unit", "portNames", "next" with the
// instant and act of its next firing (both null when it has none) and "never" with the reason for
// that.
JsonPtr scheduleDocument(const Schedule& schedule, const View& view);

#endif
