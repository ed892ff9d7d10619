// Checking schedules, for schedule check and for what shows or changes them.
#ifndef QUORIN_CLIENT_COMMANDS_SCHEDULE_CHECK_H
#define QUORIN_CLIENT_COMMANDS_SCHEDULE_CHECK_H

#include <vector>

#include "client/session.h"
#include "forecast/check.h"

// The warnings of each of the schedules, which are all of their units. Where the daemon does not
// tell the ports, nothing is said about them.
std::vector<ScheduleWarnings> warningsOf(const std::vector<Schedule>& schedules, TellClashes tell,
                                         const View& view, Session& session);

#endif
