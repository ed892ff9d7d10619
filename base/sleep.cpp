#include "base/sleep.h"

#include <cerrno>
#include <ctime>

namespace {

constexpr int32_t kMsPerSec = 1000;
constexpr int32_t kNsPerMs = 1000000;

void sleepFor(int32_t seconds, int32_t milliseconds) {
  timespec left{seconds, static_cast<long>(milliseconds) * kNsPerMs};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

}  // namespace

void sleepSeconds(int32_t seconds) {
  if (seconds > 0) {
    sleepFor(seconds, 0);
  }
}

void sleepMilliseconds(int32_t milliseconds) {
  if (milliseconds > 0) {
    sleepFor(milliseconds / kMsPerSec, milliseconds % kMsPerSec);
  }
}
