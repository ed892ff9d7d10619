// The members of a schedule in JSON: the daemon's keys, in its order.
#ifndef QUORIN_API_SCHEDULE_KEYS_H
#define QUORIN_API_SCHEDULE_KEYS_H

#include <vector>

#include "api/port_names.h"
#include "api/records.h"
#include "base/json.h"

struct ScheduleKey {
  const char* name;
  // Whether a value that is not null is of the right type: the daemon would read any other as if it
  // were not there.
  bool (*fits)(const cJSON* value);
  const char* what;  // "a number"
  bool isStored;     // what makes the schedule; false: the daemon gives it, and takes none
};

bool isJsonText(const cJSON* value);
bool isJsonNumber(const cJSON* value);
bool isJsonArray(const cJSON* value);

const std::vector<ScheduleKey>& scheduleKeys();

enum class ScheduleMembers { stored, all };
// {"unit", then those of the keys, absent ones null, and "portNames" behind "ifNums"}, for more to
// be added.
JsonPtr scheduleMembers(const Schedule& schedule, ScheduleMembers which, const PortNames& names);

#endif
