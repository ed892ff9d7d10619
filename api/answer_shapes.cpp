#include "api/answer_shapes.h"

#include <cjson/cJSON.h>

#include <cstdint>
#include <vector>

#include "base/json.h"

namespace {

enum class Kind : uint8_t { number, text, boolean, object, numbers, objects };
enum class When : uint8_t { always, orNull, ifThere };

struct Key {
  const char* name = nullptr;
  Kind kind = Kind::number;
  When when = When::always;
  std::vector<Key> keys = {};  // of an object, or of each of the objects
};
using Keys = std::vector<Key>;

Keys joined(Keys first, const Keys& more) {
  first.insert(first.end(), more.begin(), more.end());
  return first;
}

Keys scheduleKeys() {
  return {{"scheduleId"},
          {"name", Kind::text},
          {"scheduleType", Kind::text},
          {"startDate", Kind::text, When::ifThere},
          {"endDate", Kind::text, When::ifThere},
          {"recurrence", Kind::text},
          {"recurrenceDays", Kind::numbers, When::ifThere},
          // One whose ports another program took out of the database is shown nevertheless.
          {"ifNums", Kind::numbers, When::ifThere},
          {"restartTime", Kind::text, When::ifThere},
          {"offTimeSec", Kind::number, When::ifThere},
          {"startTime", Kind::text, When::ifThere},
          {"endTime", Kind::text, When::ifThere},
          {"allDay", Kind::boolean, When::ifThere},
          {"executionMode", Kind::text},
          {"interPortDelaySec"},
          {"enabled", Kind::boolean},
          {"status", Kind::text}};
}

Keys scheduleListKeys() {
  return {{"schedules", Kind::objects, When::always, scheduleKeys()}};
}

// What a run that has just begun has, too.
Keys anyRunKeys() {
  return {{"runId"},
          {"triggered", Kind::text},
          {"scheduleId", Kind::number, When::orNull},
          {"scheduleName", Kind::text, When::orNull},
          {"scheduleType", Kind::text, When::ifThere},
          {"unit"},
          {"executionMode", Kind::text}};
}

Keys begunRunKeys() {
  return joined(anyRunKeys(), {{"scheduleType", Kind::text},
                               {"offTimeSec"},
                               {"interPortDelaySec"},
                               {"resolvedIfNums", Kind::numbers, When::ifThere}});
}

Keys runKeys() {
  return joined(anyRunKeys(), {{"status", Kind::text},
                               {"startedAt", Kind::text},
                               {"completedAt", Kind::text, When::orNull},
                               {"portCount"},
                               {"successPortCount"},
                               {"failedPortCount"},
                               {"skippedPortCount"}});
}

Keys runListKeys() {
  return {{"runs", Kind::objects, When::always, runKeys()}, {"page"}, {"pageSize"}, {"total"}};
}

Keys runDetailKeys() {
  const Keys step{{"ifNum"}, {"status", Kind::text}, {"errorMessage", Kind::text, When::orNull}};
  return joined(runKeys(), {{"interPortDelaySec"},
                            {"errorMessage", Kind::text, When::orNull},
                            {"allDay", Kind::boolean, When::orNull},
                            {"portSteps", Kind::objects, When::always, step}});
}

Keys sensorsKeys() {
  const Keys port{{"ifNum"},
                  {"powerMw"},
                  {"currentMa"},
                  {"voltageMv"},
                  {"temperature"},
                  {"adminMode", Kind::text, When::ifThere},
                  {"detectionStatus", Kind::text, When::ifThere},
                  {"powerClass", Kind::text, When::ifThere},
                  {"priority", Kind::text, When::ifThere},
                  {"powerLimitMw", Kind::number, When::ifThere}};
  return {{"ports", Kind::objects, When::always, port}};
}

Keys settingsKeys() {
  return {{"delaySec"}, {"executionMode", Kind::text}, {"interPortDelaySec"}};
}

struct Method {
  const char* name;
  Keys (*resultKeys)();  // none where there is no result
};

constexpr Method kMethods[] = {
    {"schedule.list", scheduleListKeys}, {"schedule.create", scheduleKeys},
    {"schedule.get", scheduleKeys},      {"schedule.update", scheduleKeys},
    {"schedule.delete", nullptr},        {"history.list", runListKeys},
    {"history.detail", runDetailKeys},   {"manual.reset", begunRunKeys},
    {"sensors.all", sensorsKeys},        {"bootdelay.get", settingsKeys},
    {"bootdelay.set", nullptr},
};

// What an answer to the method has; none for a method that is not known.
Keys okKeys(const std::string& method) {
  for (const Method& known : kMethods) {
    if (method == known.name && known.resultKeys != nullptr) {
      return {{"result", Kind::object, When::always, known.resultKeys()}};
    }
  }
  return {};
}

std::string memberFault(const cJSON* object, const Key& key, const std::string& place);

std::string objectFault(const cJSON* object, const Keys& keys, const std::string& place) {
  for (const Key& key : keys) {
    std::string fault = memberFault(object, key, place);
    if (!fault.empty()) {
      return fault;
    }
  }
  return "";
}

std::string elementsFault(const cJSON* array, const Key& key, const std::string& place) {
  size_t number = 0;
  const cJSON* element = nullptr;
  cJSON_ArrayForEach(element, array) {
    const std::string own = place + "[" + std::to_string(number++) + "]";
    const bool isFit =
        key.kind == Kind::numbers ? cJSON_IsNumber(element) : cJSON_IsObject(element);
    if (!isFit) {
      return own + (key.kind == Kind::numbers ? " is no number" : " is no object");
    }
    std::string fault = objectFault(element, key.keys, own);
    if (!fault.empty()) {
      return fault;
    }
  }
  return "";
}

// What the value should be and is not; empty where it is.
const char* missedKind(const cJSON* value, Kind kind) {
  switch (kind) {
    case Kind::number:
      return cJSON_IsNumber(value) ? "" : "number";
    case Kind::text:
      return cJSON_IsString(value) ? "" : "string";
    case Kind::boolean:
      return cJSON_IsBool(value) ? "" : "boolean";
    case Kind::object:
      return cJSON_IsObject(value) ? "" : "object";
    default:
      return cJSON_IsArray(value) ? "" : "array";
  }
}

// place: of the object; empty for the answer itself.
std::string memberFault(const cJSON* object, const Key& key, const std::string& place) {
  const cJSON* member = jsonMember(object, key.name);
  if (member == nullptr) {
    return key.when == When::ifThere ? "" : (place.empty() ? "it" : place) + " has no " + key.name;
  }
  if (key.when == When::orNull && cJSON_IsNull(member)) {
    return "";
  }

  const std::string own = place.empty() ? key.name : place + "." + key.name;
  const std::string missed = missedKind(member, key.kind);
  if (!missed.empty()) {
    return own + " is no " + missed;
  }
  return cJSON_IsArray(member) ? elementsFault(member, key, own)
                               : objectFault(member, key.keys, own);
}

}  // namespace

std::string answerFault(const std::string& method, const cJSON* answer) {
  const Keys failureKeys{{"error"}};
  const bool isOk = cJSON_IsTrue(jsonMember(answer, "ok"));
  return objectFault(answer, isOk ? okKeys(method) : failureKeys, "");
}
