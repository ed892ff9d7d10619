// What schedule check shows, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_SCHEDULE_CHECK_H
#define QUORIN_CLIENT_COMMANDS_SCHEDULE_CHECK_H

#include <string>
#include <vector>

#include "client/session.h"
#include "forecast/check.h"

// The warnings of each of the schedules, which are all of their units. Where the daemon does not
// tell the ports, nothing is said about them.
std::vector<ScheduleWarnings> warningsOf(const std::vector<Schedule>& schedules, Session& session);

// A schedule and what is said of it.
struct CheckedSchedule {
  Schedule schedule;
  ScheduleWarnings warnings;
};

std::string checkText(const std::vector<CheckedSchedule>& checked, const Screen& screen);
// {"schedules": [{"unit", "scheduleId", "scheduleName", "warnings": [{"kind", "text",
// "advice"}]}]}; advice is null where there is none.
JsonPtr checkJson(const std::vector<CheckedSchedule>& checked);

#endif
