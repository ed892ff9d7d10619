#include "api/schedule_keys.h"

#include <cjson/cJSON.h>

#include <cstring>

#include "api/view.h"
#include "rules/schedule_json.h"

namespace {

bool isNumbers(const cJSON* value) {
  const cJSON* element = nullptr;
  cJSON_ArrayForEach(element, value) {
    if (!cJSON_IsNumber(element)) {
      return false;
    }
  }
  return cJSON_IsArray(value);
}

bool isBool(const cJSON* value) {
  return cJSON_IsBool(value) != 0;
}

}  // namespace

bool isJsonText(const cJSON* value) {
  return cJSON_IsString(value) != 0;
}

bool isJsonNumber(const cJSON* value) {
  return cJSON_IsNumber(value) != 0;
}

bool isJsonArray(const cJSON* value) {
  return cJSON_IsArray(value) != 0;
}

const std::vector<ScheduleKey>& scheduleKeys() {
  static const std::vector<ScheduleKey> kKeys{
      {"scheduleId", isJsonNumber, "a number", false},
      {"name", isJsonText, "a string", true},
      {"scheduleType", isJsonText, "a string", true},
      {"startDate", isJsonText, "a string", true},
      {"endDate", isJsonText, "a string", true},
      {"recurrence", isJsonText, "a string", true},
      {"recurrenceDays", isNumbers, "numbers in brackets", true},
      {"ifNums", isNumbers, "numbers in brackets", true},
      {"startTime", isJsonText, "a string", true},
      {"endTime", isJsonText, "a string", true},
      {"allDay", isBool, "true or false", true},
      {"restartTime", isJsonText, "a string", true},
      {"offTimeSec", isJsonNumber, "a number", true},
      {"executionMode", isJsonText, "a string", true},
      {"interPortDelaySec", isJsonNumber, "a number", true},
      {"enabled", isBool, "true or false", true},
      {"status", isJsonText, "a string", false}};
  return kKeys;
}

JsonPtr scheduleMembers(const Schedule& schedule, ScheduleMembers which, const PortNames& names) {
  const JsonPtr shown = scheduleToJson(schedule);
  JsonObject object;
  object.number("unit", schedule.unit);
  for (const ScheduleKey& key : scheduleKeys()) {
    if (key.isStored || which == ScheduleMembers::all) {
      JsonPtr member(cJSON_DetachItemFromObject(shown.get(), key.name));
      member != nullptr ? object.add(key.name, std::move(member)) : object.null(key.name);
    }
    if (strcmp(key.name, "ifNums") == 0) {
      object.add("portNames", portNamesJson(schedule.ifNums, names));
    }
  }
  return object.take();
}
