// What next shows, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_NEXT_H
#define QUORIN_CLIENT_COMMANDS_NEXT_H

#include <string>
#include <vector>

#include "client/commands/schedule/schedules.h"
#include "forecast/upcoming.h"

// never is said where nothing is due: "schedule 3 "night" never acts: disabled".
std::string nextText(const std::vector<Upcoming>& firings, const std::string& never,
                     const PortNames& names, const ShownAt& at, const Screen& screen);
// {"firings": [{"at", "act", "isEnd", "unit", "scheduleId", "scheduleName", "ifNums",
// "portNames"}],
// "never"}; "never" is null where something is due.
JsonPtr nextDocument(const std::vector<Upcoming>& firings, const std::string& never,
                     const PortNames& names, const ShownAt& at);

// An element of "firings".
JsonPtr firingJson(const Upcoming& upcoming, const PortNames& names, const Zone& shownZone);
// "off"; "on (end)" for the end of a window.
std::string actWithEnd(const Firing& firing);

#endif
