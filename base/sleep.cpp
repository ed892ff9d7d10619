#include "base/sleep.h"

#include <ctime>
#include <thread>

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

namespace {

// Asked here and not in the C++ library: on 32-bit processors times are of another width there, and
// what moves the clock for a test does not reach it.
nanoseconds monotonicTime() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return seconds(now.tv_sec) + nanoseconds(now.tv_nsec);
}

}  // namespace

void sleepSeconds(int32_t duration) {
  std::this_thread::sleep_for(seconds(duration));
}

void sleepMilliseconds(int32_t duration) {
  std::this_thread::sleep_for(milliseconds(duration));
}

int64_t monotonicMs() {
  return duration_cast<milliseconds>(monotonicTime()).count();
}

SecondBeat::SecondBeat() : next_(monotonicTime()) {}

// Sleeps what is left rather than until an instant: a library that moves the clock for a test knows
// only the former. Such a clock may step back a moment when its speed changes: then it is the same
// instant that is slept to.
void SecondBeat::sleepToNext() {
  const nanoseconds now = monotonicTime();
  if (now >= next_) {
    next_ += duration_cast<seconds>(now - next_) + seconds(1);
  }
  std::this_thread::sleep_for(next_ - now);
}
