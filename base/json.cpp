#include "base/json.h"

#include <cjson/cJSON.h>

#include <cerrno>
#include <cmath>
#include <limits>
#include <new>

#include "base/utf8.h"

void JsonDeleter::operator()(cJSON* tree) const {
  cJSON_Delete(tree);
}

void JsonTextDeleter::operator()(char* text) const {
  cJSON_free(text);
}

JsonPtr jsonParse(const char* text) {
  constexpr cJSON_bool kWholeText = 1;
  errno = 0;
  return JsonPtr(cJSON_ParseWithOpts(text, nullptr, kWholeText));
}

const cJSON* jsonMember(const cJSON* object, const char* key) {
  return cJSON_IsObject(object) ? cJSON_GetObjectItem(object, key) : nullptr;
}

namespace {

template <typename Int>
Int saturate(double number) {
  if (std::isnan(number)) {
    return 0;
  }
  // The largest integer is no double: its nearest double is one above it, so that bound itself is already out of range.
  if (number >= static_cast<double>(std::numeric_limits<Int>::max())) {
    return std::numeric_limits<Int>::max();
  }
  if (number <= static_cast<double>(std::numeric_limits<Int>::min())) {
    return std::numeric_limits<Int>::min();
  }
  return static_cast<Int>(number);
}

}  // namespace

int32_t jsonToInt32(double number) {
  return saturate<int32_t>(number);
}

int64_t jsonToInt64(double number) {
  return saturate<int64_t>(number);
}

int32_t jsonInt32Member(const cJSON* object, const char* key, int32_t fallback) {
  const cJSON* member = jsonMember(object, key);
  return cJSON_IsNumber(member) ? jsonToInt32(member->valuedouble) : fallback;
}

int64_t jsonInt64Member(const cJSON* object, const char* key, int64_t fallback) {
  const cJSON* member = jsonMember(object, key);
  return cJSON_IsNumber(member) ? jsonToInt64(member->valuedouble) : fallback;
}

bool jsonAdd(cJSON* object, const char* key, JsonPtr value) {
  if (value == nullptr || !cJSON_AddItemToObject(object, key, value.get())) {
    return false;
  }
  (void)value.release();  // the object's now
  return true;
}

bool jsonAddNumber(cJSON* object, const char* key, int64_t number) {
  return cJSON_AddNumberToObject(object, key, static_cast<double>(number)) != nullptr;
}

// Such bytes come from rows that another program wrote.
static bool addRepairedText(cJSON* object, const char* key, const char* text) try {
  return cJSON_AddStringToObject(object, key, repairedUtf8(text).c_str()) != nullptr;
} catch (const std::bad_alloc&) {
  return false;
}

bool jsonAddText(cJSON* object, const char* key, const char* textOrNull) {
  if (textOrNull == nullptr) {
    return jsonAddNull(object, key);
  }
  if (isUtf8(textOrNull)) {
    return cJSON_AddStringToObject(object, key, textOrNull) != nullptr;
  }
  return addRepairedText(object, key, textOrNull);
}

bool jsonAddNull(cJSON* object, const char* key) {
  return cJSON_AddNullToObject(object, key) != nullptr;
}

bool jsonAddBool(cJSON* object, const char* key, bool value) {
  return cJSON_AddBoolToObject(object, key, value) != nullptr;
}

bool jsonAppend(cJSON* array, JsonPtr element) {
  if (element == nullptr || !cJSON_AddItemToArray(array, element.get())) {
    return false;
  }
  (void)element.release();  // the array's now
  return true;
}
