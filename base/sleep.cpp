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

int64_t monotonicMs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * kMsPerSec + now.tv_nsec / kNsPerMs;
}

SecondBeat::SecondBeat() : nextMs_(monotonicMs()) {}

// Sleeps what is left rather than until an instant: a library that moves the clock for a test knows
// only the former.
void SecondBeat::sleepToNext() {
  const int64_t nowMs = monotonicMs();
  const int64_t lateMs = nowMs - nextMs_;
  nextMs_ += (lateMs / kMsPerSec + 1) * kMsPerSec;
  sleepMilliseconds(static_cast<int32_t>(nextMs_ - nowMs));
}
