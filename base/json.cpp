#include "base/json.h"

#include <cjson/cJSON.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
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

namespace {

constexpr double kAllDigitsPrinted = 1e15;  // from here on cJSON may print an exponent

// Turns a whole number into the text that cJSON would print for it. Without memory for the text it
// stays a number.
void makeText(cJSON* number) {
  const double value = number->valuedouble;
  const bool isWhole = std::fabs(value) < kAllDigitsPrinted && std::trunc(value) == value;
  if (!isWhole || std::signbit(value) != (value < 0)) {
    return;
  }
  char text[24] = "";
  std::to_chars(text, text + sizeof text - 1, static_cast<int64_t>(value));
  number->valuestring = static_cast<char*>(cJSON_malloc(strlen(text) + 1));
  if (number->valuestring != nullptr) {
    strcpy(number->valuestring, text);
    number->type ^= cJSON_Number | cJSON_Raw;  // its other bits stay: they say whose the key is
  }
}

// In all of a tree, which is no deeper than the daemon's answers are.
void makeWholeNumbersTexts(cJSON* tree) {
  for (cJSON* item = tree; item != nullptr; item = item->next) {
    if (cJSON_IsNumber(item)) {
      makeText(item);
    }
    makeWholeNumbersTexts(item->child);
  }
}

}  // namespace

JsonTextPtr jsonPrintAndFree(JsonPtr tree) {
  // cJSON prints every number as a floating point one and reads it back, which would take longer
  // than all else about an answer.
  makeWholeNumbersTexts(tree.get());
  return JsonTextPtr(cJSON_PrintUnformatted(tree.get()));
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
  // The largest integer is not a double: its nearest double is one above it, so that bound itself
  // is already out of range.
  if (number >= static_cast<double>(std::numeric_limits<Int>::max())) {
    return std::numeric_limits<Int>::max();
  }
  if (number <= static_cast<double>(std::numeric_limits<Int>::min())) {
    return std::numeric_limits<Int>::min();
  }
  return static_cast<Int>(number);
}

}  // namespace

// Bytes that are not UTF-8 come from rows that another program wrote.
JsonPtr jsonText(const char* text) try {
  return JsonPtr(cJSON_CreateString(isUtf8(text) ? text : repairedUtf8(text).c_str()));
} catch (const std::bad_alloc&) {
  return nullptr;
}

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

const char* jsonTextMember(const cJSON* object, const char* key) {
  const cJSON* member = jsonMember(object, key);
  return cJSON_IsString(member) ? member->valuestring : nullptr;
}

void jsonSetNumber(cJSON* object, const char* key, int64_t number) {
  cJSON* member = cJSON_GetObjectItem(object, key);
  if (cJSON_IsNumber(member)) {
    cJSON_SetNumberHelper(member, static_cast<double>(number));
  }
}

bool jsonAdd(cJSON* object, const char* key, JsonPtr value) {
  // The key is not copied: half of what an answer would allocate.
  if (value == nullptr || !cJSON_AddItemToObjectCS(object, key, value.get())) {
    return false;
  }
  (void)value.release();  // the object's now
  return true;
}

JsonObject::JsonObject() : object_(cJSON_CreateObject()) {}

JsonObject& JsonObject::number(const char* key, int64_t number) {
  return add(key, JsonPtr(cJSON_CreateNumber(static_cast<double>(number))));
}

JsonObject& JsonObject::text(const char* key, const char* textOrNull) {
  return textOrNull != nullptr ? add(key, jsonText(textOrNull)) : null(key);
}

JsonObject& JsonObject::textUnlessEmpty(const char* key, const char* text) {
  return *text != '\0' ? this->text(key, text) : *this;
}

JsonObject& JsonObject::boolean(const char* key, bool value) {
  return add(key, JsonPtr(cJSON_CreateBool(value)));
}

JsonObject& JsonObject::null(const char* key) {
  return add(key, JsonPtr(cJSON_CreateNull()));
}

JsonObject& JsonObject::add(const char* key, JsonPtr value) {
  if (!jsonAdd(object_.get(), key, std::move(value))) {
    object_.reset();
  }
  return *this;
}

template <typename Int>
JsonPtr jsonNumbers(const std::vector<Int>& numbers) {
  JsonPtr array(cJSON_CreateArray());
  for (const Int number : numbers) {
    if (!jsonAppend(array.get(), JsonPtr(cJSON_CreateNumber(number)))) {
      return nullptr;
    }
  }
  return array;
}

template JsonPtr jsonNumbers(const std::vector<int32_t>& numbers);
template JsonPtr jsonNumbers(const std::vector<uint32_t>& numbers);

bool jsonAppend(cJSON* array, JsonPtr element) {
  if (element == nullptr || !cJSON_AddItemToArray(array, element.get())) {
    return false;
  }
  (void)element.release();  // the array's now
  return true;
}
