#include "cli/json.h"

#include <cjson/cJSON.h>

#include <new>

namespace {

JsonPtr made(JsonPtr treeOrNull) {
  if (treeOrNull == nullptr) {
    throw std::bad_alloc();
  }
  return treeOrNull;
}

}  // namespace

JsonValue::JsonValue(const std::string& text)
    : tree_(made(text.empty() ? JsonPtr(cJSON_CreateNull()) : jsonText(text.c_str()))) {}

JsonPtr JsonValue::ofBool(bool isSo) {
  return made(JsonPtr(cJSON_CreateBool(isSo ? 1 : 0)));
}

JsonPtr JsonValue::ofNumber(double number) {
  return made(JsonPtr(cJSON_CreateNumber(number)));
}

JsonPtr jsonObject(JsonPtr begun, std::initializer_list<JsonMember> more) {
  for (const JsonMember& member : more) {
    if (!jsonAdd(begun.get(), member.key, member.value.take())) {
      throw std::bad_alloc();
    }
  }
  return begun;
}

JsonPtr jsonObject(std::initializer_list<JsonMember> members) {
  return jsonObject(made(JsonPtr(cJSON_CreateObject())), members);
}

JsonPtr jsonObject(JsonPtr begun, JsonPtr more) {
  while (more->child != nullptr) {
    cJSON* member = cJSON_DetachItemViaPointer(more.get(), more->child);
    cJSON_AddItemToObjectCS(begun.get(), member->string, member);
  }
  return begun;
}

JsonPtr jsonArrayOf(std::vector<JsonPtr> elements) {
  JsonPtr array = made(JsonPtr(cJSON_CreateArray()));
  for (JsonPtr& element : elements) {
    if (!jsonAppend(array.get(), std::move(element))) {
      throw std::bad_alloc();
    }
  }
  return array;
}

std::string printedJson(const JsonPtr& document, JsonForm form) {
  const cJSON* tree = document.get();
  const JsonTextPtr text(form == JsonForm::indented ? cJSON_Print(tree)
                                                    : cJSON_PrintUnformatted(tree));
  if (text == nullptr) {
    throw std::bad_alloc();
  }
  return std::string(text.get()) + "\n";
}

std::string textIn(const cJSON* object, const char* key) {
  const char* text = jsonTextMember(object, key);
  return text != nullptr ? text : "";
}

std::optional<int64_t> numberIn(const cJSON* object, const char* key) {
  const cJSON* member = jsonMember(object, key);
  return cJSON_IsNumber(member) ? std::make_optional(jsonToInt64(member->valuedouble))
                                : std::nullopt;
}
