#include "switchsim/switch/switch_clock.h"

#include <time.h>

#include "cli/failure.h"
#include "cli/lab_clock.h"

namespace switchsim {
namespace {

constexpr const char* kTimeFormat = "%Y-%m-%d %H:%M:%S";

std::string formatTime(const struct tm& fields) {
  char text[64];
  return std::string(text, strftime(text, sizeof(text), kTimeFormat, &fields));
}

struct tm hostTime(int64_t behindMs) {
  const time_t then = static_cast<time_t>((systemMs() - behindMs) / 1000);
  struct tm fields = {};
  localtime_r(&then, &fields);
  return fields;
}

}  // namespace

// Local times are counted without a zone, so that a frozen or running clock knows no
// daylight-saving jumps.
std::string localTimeText(int64_t localSec) {
  const time_t seconds = static_cast<time_t>(localSec);
  struct tm fields = {};
  gmtime_r(&seconds, &fields);
  return formatTime(fields);
}

std::optional<int64_t> localSeconds(const std::string& text) {
  struct tm fields = {};
  const char* end = strptime(text.c_str(), kTimeFormat, &fields);
  if (end == nullptr || *end != '\0') {
    return std::nullopt;
  }
  const int64_t localSec = timegm(&fields);
  // What does not come back the same was not a real time (31 April) or not written out (2024-1-5).
  if (localTimeText(localSec) != text) {
    return std::nullopt;
  }
  return localSec;
}

std::string clockText(const ClockRecord& clock) {
  switch (clock.mode) {
    case ClockMode::follow:
      return formatTime(hostTime(clock.behindMs));
    case ClockMode::frozen:
      return localTimeText(clock.localSec);
    case ClockMode::running:
      return localTimeText(clock.localSec + (systemMonotonicMs() - clock.hostMs) / 1000);
    case ClockMode::fail:
      break;
  }
  return "";
}

int32_t zoneOffsetMinutes() {
  return static_cast<int32_t>(hostTime(0).tm_gmtoff / 60);
}

void setClock(ClockMode mode, const std::string& localTime, int64_t behindMs) {
  ClockRecord clock = {mode, 0, systemMonotonicMs(), behindMs};
  if (mode == ClockMode::frozen || mode == ClockMode::running) {
    const std::optional<int64_t> localSec = localSeconds(localTime);
    if (!localSec) {
      fail("no time of the form YYYY-MM-DD HH:MM:SS: " + localTime);
    }
    clock.localSec = *localSec;
  }

  lockedState()->clock = clock;
}

}  // namespace switchsim
