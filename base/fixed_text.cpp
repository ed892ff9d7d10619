#include "base/fixed_text.h"

namespace {

// A UTF-8 character has at most three bytes after its first (RFC 3629).
constexpr size_t kMaxContinuationBytes = 3;

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

}  // namespace

size_t fittingTextBytes(const char* text, size_t maxBytes) {
  const size_t size = strnlen(text, maxBytes + 1);
  if (size <= maxBytes) {
    return size;
  }
  for (size_t back = 0; back <= kMaxContinuationBytes && back <= maxBytes; ++back) {
    if (!isContinuation(text[maxBytes - back])) {
      return maxBytes - back;
    }
  }
  return maxBytes;  // no UTF-8: there is no character to keep whole
}
