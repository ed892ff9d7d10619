#include "rules/schedule_json.h"

#include <cjson/cJSON.h>

#include <new>

#include "base/result_codes.h"

namespace {

int32_t boolMember(const cJSON* object, const char* key, int32_t fallback) {
  const cJSON* member = jsonMember(object, key);
  return cJSON_IsBool(member) ? (cJSON_IsTrue(member) ? 1 : 0) : fallback;
}

// The numbers of an array, in order; other elements are skipped. Empty for anything else, and when
// memory runs out.
template <typename Int>
std::vector<Int> numbersMember(const cJSON* object, const char* key) try {
  std::vector<Int> numbers;
  const cJSON* array = jsonMember(object, key);
  const cJSON* element = nullptr;
  if (cJSON_IsArray(array)) {
    cJSON_ArrayForEach(element, array) {
      if (cJSON_IsNumber(element)) {
        numbers.push_back(static_cast<Int>(jsonToInt32(element->valuedouble)));
      }
    }
  }
  return numbers;
} catch (const std::bad_alloc&) {
  return {};
}

// False for a string that names no mode. A value of another type is ignored.
bool readExecutionMode(const cJSON* object, ExecutionMode* mode) {
  const char* text = jsonTextMember(object, "executionMode");
  return executionModeOf(text, mode) || text == nullptr;
}

bool fieldsFitType(const PoeSchedule& schedule) {
  switch (schedule.type) {
    case ScheduleType::restart:
      return schedule.allDay == 0 && !schedule.restartTime.empty() && schedule.offTimeSec >= 1;
    case ScheduleType::powerOn:
    case ScheduleType::powerOff:
      return schedule.allDay != 0 || (!schedule.startTime.empty() && !schedule.endTime.empty());
    default:
      return false;
  }
}

void addTimes(JsonObject& object, const PoeSchedule& schedule) {
  if (schedule.type == ScheduleType::restart) {
    object.text("restartTime", schedule.restartTime.c_str())
        .number("offTimeSec", schedule.offTimeSec);
  }
  if (isWindowType(schedule.type)) {
    object.textUnlessEmpty("startTime", schedule.startTime.c_str())
        .textUnlessEmpty("endTime", schedule.endTime.c_str())
        .boolean("allDay", schedule.allDay != 0);
  }
}

template <typename Int>
void addUnlessEmpty(JsonObject& object, const char* key, const std::vector<Int>& numbers) {
  if (!numbers.empty()) {
    object.add(key, jsonNumbers(numbers));
  }
}

}  // namespace

int32_t scheduleFromJson(const cJSON* object, PoeSchedule* schedule) {
  schedule->name.assign(jsonTextMember(object, "name"));
  schedule->type = scheduleTypeOf(jsonTextMember(object, "scheduleType"));
  schedule->startDate.assign(jsonTextMember(object, "startDate"));
  schedule->endDate.assign(jsonTextMember(object, "endDate"));
  schedule->recurrence = recurrenceOf(jsonTextMember(object, "recurrence"));

  schedule->startTime.assign(jsonTextMember(object, "startTime"));
  schedule->endTime.assign(jsonTextMember(object, "endTime"));
  schedule->restartTime.assign(jsonTextMember(object, "restartTime"));
  schedule->offTimeSec = jsonInt32Member(object, "offTimeSec", 0);

  const bool modeKnown = readExecutionMode(object, &schedule->executionMode);
  schedule->interPortDelaySec = jsonInt32Member(object, "interPortDelaySec", 0);
  schedule->allDay = boolMember(object, "allDay", 0);
  schedule->enabled = boolMember(object, "enabled", 1);

  schedule->days = numbersMember<int32_t>(object, "recurrenceDays");
  schedule->ifNums = numbersMember<uint32_t>(object, "ifNums");

  const bool valid = !schedule->name.empty() && schedule->recurrence != Recurrence::unknown &&
                     modeKnown && fieldsFitType(*schedule) && !schedule->ifNums.empty();
  return valid ? RESULT_OK : ERR_INVALID_ARG;
}

JsonPtr scheduleToJson(const PoeSchedule& schedule) {
  JsonObject object;
  object.number("scheduleId", schedule.scheduleId)
      .text("name", schedule.name.c_str())
      .text("scheduleType", scheduleTypeText(schedule.type))
      .textUnlessEmpty("startDate", schedule.startDate.c_str())
      .textUnlessEmpty("endDate", schedule.endDate.c_str())
      .text("recurrence", recurrenceText(schedule.recurrence));

  addUnlessEmpty(object, "recurrenceDays", schedule.days);
  addUnlessEmpty(object, "ifNums", schedule.ifNums);
  addTimes(object, schedule);

  object.text("executionMode", executionModeText(schedule.executionMode))
      .number("interPortDelaySec", schedule.interPortDelaySec)
      .boolean("enabled", schedule.enabled != 0)
      .text("status", schedule.enabled != 0 ? "active" : "inactive");
  return object.take();
}
