// Owning pointers to cJSON trees, numbers from outside, and building objects key by key.
#ifndef QUORIN_BASE_JSON_H
#define QUORIN_BASE_JSON_H

#include <cstdint>
#include <memory>

struct cJSON;

struct JsonDeleter {
  void operator()(cJSON* tree) const;
};
// Owns a whole cJSON tree.
using JsonPtr = std::unique_ptr<cJSON, JsonDeleter>;

struct JsonTextDeleter {
  void operator()(char* text) const;
};
// Owns a text that cJSON printed.
using JsonTextPtr = std::unique_ptr<char, JsonTextDeleter>;

// Parses one whole JSON document with nothing after it but blanks; null when it is not one, and, with errno ENOMEM,
// when memory runs out.
JsonPtr jsonParse(const char* text);

// The member of an object under a key that is looked up ignoring case; null when object is null, is not an object or
// has no such key. The tree keeps ownership.
const cJSON* jsonMember(const cJSON* object, const char* key);

// A JSON number truncated toward zero; a value beyond the type's range becomes its nearest bound, NaN becomes 0.
int32_t jsonToInt32(double number);
int64_t jsonToInt64(double number);

// The integer value of a member that is a number; fallback when it is missing or of another type.
int32_t jsonInt32Member(const cJSON* object, const char* key, int32_t fallback);
int64_t jsonInt64Member(const cJSON* object, const char* key, int64_t fallback);

// Append a member to an object in the order of the calls. Each returns false when memory runs out. A null text adds a
// JSON null; bytes of a text that are no UTF-8 become U+FFFD. jsonAdd takes over the value in every case.
bool jsonAdd(cJSON* object, const char* key, JsonPtr value);
bool jsonAddNumber(cJSON* object, const char* key, int64_t number);
bool jsonAddText(cJSON* object, const char* key, const char* textOrNull);
bool jsonAddNull(cJSON* object, const char* key);
bool jsonAddBool(cJSON* object, const char* key, bool value);
// Appends an element to an array, taking it over in every case; false when it is null.
bool jsonAppend(cJSON* array, JsonPtr element);

#endif
