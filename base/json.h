// Owning pointers to cJSON trees, numbers and strings from outside, and building objects key by
// key.
#ifndef QUORIN_BASE_JSON_H
#define QUORIN_BASE_JSON_H

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

struct cJSON;

struct JsonDeleter {
  void operator()(cJSON* tree) const;
};
// Owns a whole cJSON tree.
using JsonPtr = std::unique_ptr<cJSON, JsonDeleter>;

struct JsonTextDeleter {
  void operator()(char* text) const;
};
// Owns a string that cJSON printed.
using JsonTextPtr = std::unique_ptr<char, JsonTextDeleter>;

// Parses one whole JSON document with nothing after it but blanks; null when it is not one, and,
// with errno ENOMEM, when memory runs out.
JsonPtr jsonParse(const char* text);

// Changes a member, if it is there and a number.
void jsonSetNumber(cJSON* object, const char* key, int64_t number);

// Prints a tree that this process has built, without blanks, and frees it; null when memory runs
// out.
JsonTextPtr jsonPrintAndFree(JsonPtr tree);

// The member of an object under a key that is looked up ignoring case; null when object is null, is
// not an object or has no such key. The tree keeps ownership.
const cJSON* jsonMember(const cJSON* object, const char* key);

// A JSON number truncated toward zero; a value beyond the type's range becomes its nearest bound,
// NaN becomes 0.
int32_t jsonToInt32(double number);
int64_t jsonToInt64(double number);

// The integer value of a member that is a number; fallback when it is missing or of another type.
int32_t jsonInt32Member(const cJSON* object, const char* key, int32_t fallback);
int64_t jsonInt64Member(const cJSON* object, const char* key, int64_t fallback);

// The string under a key; null when it is missing or of another type. The tree keeps ownership.
const char* jsonTextMember(const cJSON* object, const char* key);

// A string; null when memory runs out. Bytes that are not UTF-8 become U+FFFD.
JsonPtr jsonText(const char* text);

// Adds a member, taking it over in every case; false when object or member is null. The key is
// borrowed for as long as the object is printed or searched.
bool jsonAdd(cJSON* object, const char* key, JsonPtr value);

// Builds an object member by member, in the order of the calls; keys are literals. A failure, which
// is always lack of memory, is remembered: what follows does nothing, and there is no object in the
// end.
class JsonObject {
 public:
  JsonObject();

  JsonObject& number(const char* key, int64_t number);
  // A null string adds a JSON null; bytes of a string that are not UTF-8 become U+FFFD.
  JsonObject& text(const char* key, const char* textOrNull);
  JsonObject& textUnlessEmpty(const char* key, const char* text);
  JsonObject& boolean(const char* key, bool value);
  JsonObject& null(const char* key);
  JsonObject& add(const char* key, JsonPtr value);  // a null value is a failure

  // The object, or null after a failure. Nothing can be added afterwards.
  JsonPtr take() { return std::move(object_); }

 private:
  JsonPtr object_;
};

// An array of the numbers; null when memory runs out.
template <typename Int>
JsonPtr jsonNumbers(const std::vector<Int>& numbers);

// Appends an element to an array, taking it over in every case; false when it is null.
bool jsonAppend(cJSON* array, JsonPtr element);

#endif
