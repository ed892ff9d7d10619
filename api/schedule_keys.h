// The members of a schedule in JSON: the daemon's keys, in its order.
#ifndef QUORIN_API_SCHEDULE_KEYS_H
#define QUORIN_API_SCHEDULE_KEYS_H

#include <vector>

#include "api/port_names.h"
#include "api/records.h"
#include "base/json.h"

struct ScheduleKey {
  const char* name;
  // Whether a value that is not null is of a kind that the daemon takes: it would read any other as
  // if it were not there, or as another, or refuse it.
  bool (*fits)(const cJSON* value);
  const char* what;  // what it must be: "true or false"
  bool isStored;     // what makes the schedule; false: the daemon gives it, and takes none
};

bool isJsonText(const cJSON* value);
bool isJsonWhole(const cJSON* value);  // of 32 bits
bool isJsonArray(const cJSON* value);
bool isJsonMode(const cJSON* value);

constexpr const char* kDateWords = "a date of the calendar, such as 2026-03-31";
constexpr const char* kTimeWords = "a time of day, 00:00 to 23:59";
constexpr const char* kModeWords = "simultaneous or sequential";

const std::vector<ScheduleKey>& scheduleKeys();

// {"unit", then those of the keys, absent ones null, and "portNames" behind "ifNums"}, for more to
// be added.
JsonPtr scheduleMembers(const Schedule& schedule, const PortNames& names);

#endif
