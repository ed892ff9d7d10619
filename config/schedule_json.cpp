#include "config/schedule_json.h"

#include <cjson/cJSON.h>

#include <cstring>
#include <new>

#include "base/result_codes.h"

namespace {

// The string under a key, or null when it is missing or no string.
const char* stringMember(const cJSON* object, const char* key) {
  const cJSON* member = jsonMember(object, key);
  return cJSON_IsString(member) ? member->valuestring : nullptr;
}

int32_t boolMember(const cJSON* object, const char* key, int32_t fallback) {
  const cJSON* member = jsonMember(object, key);
  return cJSON_IsBool(member) ? (cJSON_IsTrue(member) ? 1 : 0) : fallback;
}

// The numbers of an array, in order; other elements are skipped. Empty for anything else, and when memory runs out.
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

// False for a text that names no mode. A value of another type is ignored.
bool readExecutionMode(const cJSON* object, bool* sequential) {
  const char* mode = stringMember(object, "executionMode");
  *sequential = mode != nullptr && strcmp(mode, "sequential") == 0;
  return mode == nullptr || *sequential || strcmp(mode, "simultaneous") == 0;
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

// Adds the text unless it is empty; false only when memory runs out.
template <size_t kBytes>
bool addUnlessEmpty(cJSON* object, const char* key, const FixedText<kBytes>& text) {
  return text.empty() || jsonAddText(object, key, text.c_str());
}

// Adds the array unless it is empty; false only when memory runs out.
template <typename Int>
bool addNumbers(cJSON* object, const char* key, const std::vector<Int>& numbers) {
  if (numbers.empty()) {
    return true;
  }
  cJSON* array = cJSON_AddArrayToObject(object, key);
  for (const Int number : numbers) {
    if (array == nullptr || !jsonAppend(array, JsonPtr(cJSON_CreateNumber(number)))) {
      return false;
    }
  }
  return true;
}

bool addTimes(cJSON* object, const PoeSchedule& schedule) {
  switch (schedule.type) {
    case ScheduleType::restart:
      return jsonAddText(object, "restartTime", schedule.restartTime.c_str()) &&
             jsonAddNumber(object, "offTimeSec", schedule.offTimeSec);
    case ScheduleType::powerOn:
    case ScheduleType::powerOff:
      return addUnlessEmpty(object, "startTime", schedule.startTime) &&
             addUnlessEmpty(object, "endTime", schedule.endTime) && jsonAddBool(object, "allDay", schedule.allDay != 0);
    default:
      return true;
  }
}

}  // namespace

int32_t scheduleFromJson(const cJSON* object, PoeSchedule* schedule) {
  schedule->name.assign(stringMember(object, "name"));
  schedule->type = scheduleTypeOf(stringMember(object, "scheduleType"));
  schedule->startDate.assign(stringMember(object, "startDate"));
  schedule->endDate.assign(stringMember(object, "endDate"));
  schedule->recurrence = recurrenceOf(stringMember(object, "recurrence"));
  schedule->startTime.assign(stringMember(object, "startTime"));
  schedule->endTime.assign(stringMember(object, "endTime"));
  schedule->restartTime.assign(stringMember(object, "restartTime"));
  schedule->offTimeSec = jsonInt32Member(object, "offTimeSec", 0);
  const bool modeKnown = readExecutionMode(object, &schedule->sequential);
  schedule->interPortDelaySec = jsonInt32Member(object, "interPortDelaySec", 0);
  schedule->allDay = boolMember(object, "allDay", 0);
  schedule->enabled = boolMember(object, "enabled", 1);
  schedule->days = numbersMember<int32_t>(object, "recurrenceDays");
  schedule->ifNums = numbersMember<uint32_t>(object, "ifNums");
  const bool valid = !schedule->name.empty() && schedule->recurrence != Recurrence::unknown && modeKnown &&
                     fieldsFitType(*schedule) && !schedule->ifNums.empty();
  return valid ? RESULT_OK : ERR_INVALID_ARG;
}

JsonPtr scheduleToJson(const PoeSchedule& schedule) {
  JsonPtr answer(cJSON_CreateObject());
  cJSON* object = answer.get();
  const bool built = object != nullptr && jsonAddNumber(object, "scheduleId", schedule.scheduleId) &&
                     jsonAddText(object, "name", schedule.name.c_str()) &&
                     jsonAddText(object, "scheduleType", scheduleTypeText(schedule.type)) &&
                     addUnlessEmpty(object, "startDate", schedule.startDate) &&
                     addUnlessEmpty(object, "endDate", schedule.endDate) &&
                     jsonAddText(object, "recurrence", recurrenceText(schedule.recurrence)) &&
                     addNumbers(object, "recurrenceDays", schedule.days) &&
                     addNumbers(object, "ifNums", schedule.ifNums) && addTimes(object, schedule) &&
                     jsonAddText(object, "executionMode", schedule.sequential ? "sequential" : "simultaneous") &&
                     jsonAddNumber(object, "interPortDelaySec", schedule.interPortDelaySec) &&
                     jsonAddBool(object, "enabled", schedule.enabled != 0) &&
                     jsonAddText(object, "status", schedule.enabled != 0 ? "active" : "inactive");
  return built ? std::move(answer) : nullptr;
}
