#include "api/schedule_keys.h"

#include <cjson/cJSON.h>

#include <cstring>

#include "api/view.h"
#include "rules/schedule_json.h"

namespace {

bool isNumbers(const cJSON* value) {
  const cJSON* element = nullptr;
  cJSON_ArrayForEach(element, value) {
    if (!isJsonWhole(element)) {
      return false;
    }
  }
  return cJSON_IsArray(value);
}

bool isBool(const cJSON* value) {
  return cJSON_IsBool(value) != 0;
}

bool isNumber(const cJSON* value) {
  return cJSON_IsNumber(value) != 0;
}

bool isName(const cJSON* value) {
  return isJsonText(value) && *value->valuestring != '\0' &&
         strlen(value->valuestring) <= kMaxNameBytes;
}

bool isType(const cJSON* value) {
  return scheduleTypeOf(cJSON_GetStringValue(value)) != ScheduleType::unknown;
}

bool isRecurrence(const cJSON* value) {
  return recurrenceOf(cJSON_GetStringValue(value)) != Recurrence::unknown;
}

}  // namespace

bool isJsonText(const cJSON* value) {
  return cJSON_IsString(value) != 0;
}

bool isJsonWhole(const cJSON* value) {
  return cJSON_IsNumber(value) && value->valuedouble == jsonToInt32(value->valuedouble);
}

bool isJsonArray(const cJSON* value) {
  return cJSON_IsArray(value) != 0;
}

bool isJsonMode(const cJSON* value) {
  ExecutionMode mode = EXECUTION_SIMULTANEOUS;
  return executionModeOf(cJSON_GetStringValue(value), &mode);
}

const std::vector<ScheduleKey>& scheduleKeys() {
  static const std::vector<ScheduleKey> kKeys{
      {"scheduleId", isNumber, "a number", false},
      {"name", isName, "a text of 1 to 63 bytes", true},
      {"scheduleType", isType, "power_on, power_off or restart", true},
      {"startDate", isJsonText, kDateWords, true},
      {"endDate", isJsonText, kDateWords, true},
      {"recurrence", isRecurrence, "daily, weekly or monthly", true},
      {"recurrenceDays", isNumbers, "whole numbers in brackets", true},
      {"ifNums", isNumbers, "whole numbers in brackets", true},
      {"startTime", isJsonText, kTimeWords, true},
      {"endTime", isJsonText, kTimeWords, true},
      {"allDay", isBool, "true or false", true},
      {"restartTime", isJsonText, kTimeWords, true},
      {"offTimeSec", isJsonWhole, "a whole number of seconds, 1 or more", true},
      {"executionMode", isJsonMode, kModeWords, true},
      {"interPortDelaySec", isJsonWhole, "a whole number of seconds", true},
      {"enabled", isBool, "true or false", true},
      {"status", isJsonText, "a text", false}};
  return kKeys;
}

JsonPtr scheduleMembers(const Schedule& schedule, const PortNames& names) {
  const JsonPtr shown = scheduleToJson(schedule);
  JsonObject object;
  object.number("unit", schedule.unit);
  for (const ScheduleKey& key : scheduleKeys()) {
    JsonPtr member(cJSON_DetachItemFromObject(shown.get(), key.name));
    member != nullptr ? object.add(key.name, std::move(member)) : object.null(key.name);
    if (strcmp(key.name, "ifNums") == 0) {
      object.add("portNames", portNamesJson(schedule.ifNums, names));
    }
  }
  return object.take();
}
