// Strings of a fixed width, as the records of the database and of the scheduler hold them.
#ifndef QUORIN_BASE_FIXED_TEXT_H
#define QUORIN_BASE_FIXED_TEXT_H

#include <cstddef>
#include <cstring>

// How many of the string's bytes fit into maxBytes without cutting a UTF-8 character in two. The
// string may be any bytes.
size_t fittingTextBytes(const char* text, size_t maxBytes);

// At most kBytes - 1 bytes and a terminating zero.
template <size_t kBytes>
class FixedText {
 public:
  // Takes the string, cut to what fits; a null string leaves it empty.
  void assign(const char* textOrNull) {
    const size_t size = textOrNull != nullptr ? fittingTextBytes(textOrNull, kBytes - 1) : 0;
    if (size > 0) {
      memcpy(text_, textOrNull, size);
    }
    text_[size] = '\0';
  }
  const char* c_str() const { return text_; }
  bool empty() const { return text_[0] == '\0'; }
  const char* orNull() const { return empty() ? nullptr : text_; }

 private:
  char text_[kBytes] = {};
};

#endif
