// JSON documents of the tools, made in one expression and read in one.
#ifndef QUORIN_CLI_JSON_H
#define QUORIN_CLI_JSON_H

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/json.h"

// A member's value. Documents have fixed keys: what there is not (an empty text, no number) is
// null. All throw std::bad_alloc.
class JsonValue {
 public:
  // NOLINTBEGIN(google-explicit-constructor): each of these is a value
  JsonValue(JsonPtr tree) : tree_(std::move(tree)) {}  // a null pointer stands for lack of memory
  JsonValue(const std::string& text);
  JsonValue(const char* text) : JsonValue(std::string(text)) {}
  JsonValue(const std::vector<uint32_t>& numbers) : tree_(jsonNumbers(numbers)) {}
  template <typename Number, typename = std::enable_if_t<std::is_arithmetic_v<Number>>>
  JsonValue(Number number)
      : tree_(std::is_same_v<Number, bool> ? ofBool(number != 0)
                                           : ofNumber(static_cast<double>(number))) {}
  template <typename Value>
  JsonValue(const std::optional<Value>& value)
      : tree_(value ? JsonValue(*value).take() : JsonValue("").take()) {}
  // NOLINTEND(google-explicit-constructor)

  JsonPtr take() const { return std::move(tree_); }

 private:
  static JsonPtr ofBool(bool isSo);
  static JsonPtr ofNumber(double number);

  mutable JsonPtr tree_;  // taken out of lists, whose elements are constant
};

// Keys are literals.
struct JsonMember {
  const char* key;
  JsonValue value;
};

JsonPtr jsonObject(std::initializer_list<JsonMember> members);
// The object with more members.
JsonPtr jsonObject(JsonPtr begun, std::initializer_list<JsonMember> more);
JsonPtr jsonObject(JsonPtr begun, JsonPtr more);

// An array; in an array of texts an empty one is null.
JsonPtr jsonArrayOf(std::vector<JsonPtr> elements);
// Of what make, which gives something that can be a value, makes of each element.
template <typename Elements, typename Make>
JsonPtr jsonArray(const Elements& elements, const Make& make) {
  std::vector<JsonPtr> made;
  made.reserve(elements.size());
  for (const auto& element : elements) {
    made.push_back(JsonValue(make(element)).take());
  }
  return jsonArrayOf(std::move(made));
}

enum class JsonForm { oneLine, indented };
// With a line end.
std::string printedJson(const JsonPtr& document, JsonForm form = JsonForm::oneLine);

// A member of an object; empty and none where it is missing or of another type.
std::string textIn(const cJSON* object, const char* key);
std::optional<int64_t> numberIn(const cJSON* object, const char* key);

#endif
