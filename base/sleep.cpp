#include "base/sleep.h"

#include "base/clock.h"

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

void sleepSeconds(int32_t duration) {
  clockSleep(seconds(duration));
}

void sleepMilliseconds(int32_t duration) {
  clockSleep(milliseconds(duration));
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
  clockSleep(next_ - now);
}
