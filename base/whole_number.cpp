#include "base/whole_number.h"

#include <algorithm>

namespace {

constexpr size_t kMaxNumberDigits = 10;

}  // namespace

int64_t wholeNumber(std::string_view text) {
  const bool isDigits =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
  if (text.empty() || text.size() > kMaxNumberDigits || !isDigits) {
    return -1;
  }
  int64_t number = 0;
  for (const char digit : text) {
    number = number * 10 + (digit - '0');
  }
  return number <= INT32_MAX ? number : -1;
}
