// Ports off, or on, from the next minute until a time: a schedule of one day for each unit.
#ifndef QUORIN_CLIENT_COMMANDS_UNTIL_H
#define QUORIN_CLIENT_COMMANDS_UNTIL_H

#include <cstdint>
#include <string>
#include <vector>

#include "client/session.h"
#include "rules/schedule.h"

// The name of each of the schedules, and their twins, begins with "off until ..." or "on until
// ...". Waits until they have begun; one that did not is deleted, for its end would act all the
// same. Ports that are as wished already are left out. type: powerOff or powerOn; until: "06:00".
// Returns an exit status; throws Failure.
int holdUntil(ScheduleType type, const std::vector<std::string>& ports, const std::string& until,
              Session& session);

// Names ports that are on, or off, already: "1/0/5 is off: left alone". Nothing for none.
void sayLeftAlone(const std::vector<uint32_t>& ifNums, const char* state, Session& session);

#endif
