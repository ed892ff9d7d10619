#include "base/sleep.h"

#include <thread>

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

void sleepSeconds(int32_t duration) {
  std::this_thread::sleep_for(seconds(duration));
}

void sleepMilliseconds(int32_t duration) {
  std::this_thread::sleep_for(milliseconds(duration));
}

int64_t monotonicMs() {
  const auto sinceBoot = steady_clock::now().time_since_epoch();
  return duration_cast<milliseconds>(sinceBoot).count();
}

SecondBeat::SecondBeat() : next_(steady_clock::now()) {}

// Sleeps what is left rather than until an instant: a library that moves the clock for a test knows
// only the former.
void SecondBeat::sleepToNext() {
  const auto now = steady_clock::now();
  next_ += duration_cast<seconds>(now - next_) + seconds(1);
  std::this_thread::sleep_for(next_ - now);
}
