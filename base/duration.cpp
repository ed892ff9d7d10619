#include "base/duration.h"

#include <algorithm>

#include "base/whole_number.h"

namespace {

constexpr int64_t kMsPerSec = 1000;
constexpr int64_t kMaxMsShown = 10000;
constexpr int64_t kSecPerMin = 60;
constexpr int64_t kSecPerHour = 3600;
constexpr int64_t kSecPerDay = 86400;
constexpr int64_t kMaxSec = kSecPerDay * 366 * 100;

struct DurationUnit {
  const char* name;
  int64_t ms;
};

const DurationUnit* unitOf(const std::string& name) {
  static constexpr DurationUnit kUnits[] = {{"ms", 1},
                                            {"s", kMsPerSec},
                                            {"m", kMsPerSec * kSecPerMin},
                                            {"min", kMsPerSec * kSecPerMin},
                                            {"h", kMsPerSec * kSecPerHour},
                                            {"d", kMsPerSec * kSecPerDay},
                                            {"w", kMsPerSec * 7 * kSecPerDay}};
  for (const DurationUnit& unit : kUnits) {
    if (name == unit.name) {
      return &unit;
    }
  }
  return nullptr;
}

}  // namespace

std::string durationText(int64_t milliseconds) {
  if (milliseconds % kMsPerSec != 0 && milliseconds < kMaxMsShown) {
    return std::to_string(milliseconds) + " ms";
  }
  return secondsText(milliseconds / kMsPerSec);
}

std::string secondsText(int64_t seconds) {
  struct Unit {
    const char* name;
    int64_t sec;
  };
  constexpr Unit kUnits[] = {
      {" d", kSecPerDay}, {" h", kSecPerHour}, {" min", kSecPerMin}, {" s", 1}};
  for (const Unit* unit = kUnits; unit->sec > 1; ++unit) {
    if (seconds >= unit->sec) {
      const Unit& next = unit[1];
      const int64_t rest = seconds % unit->sec / next.sec;
      const std::string whole = std::to_string(seconds / unit->sec) + unit->name;
      return rest == 0 ? whole : whole + " " + std::to_string(rest) + next.name;
    }
  }
  return std::to_string(seconds) + " s";
}

std::optional<int64_t> parseDurationMs(const std::string& text) {
  int64_t total = 0;
  size_t at = 0;
  while (at < text.size()) {
    const size_t unitAt = text.find_first_not_of("0123456789", at);
    const int64_t count = wholeNumber(text.substr(at, unitAt - at));
    const size_t end = std::min(text.find_first_of("0123456789", unitAt), text.size());
    const bool isPlain = unitAt == std::string::npos && at == 0;
    const DurationUnit* unit =
        unitOf(isPlain ? "s" : text.substr(std::min(unitAt, text.size()), end - unitAt));
    if (count < 0 || unit == nullptr) {
      return std::nullopt;
    }
    total += count * unit->ms;
    if (total > kMaxSec * kMsPerSec) {
      return std::nullopt;
    }
    at = end;
  }
  return text.empty() ? std::nullopt : std::make_optional(total);
}
