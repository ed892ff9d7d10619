// Sleeping for a whole duration.
#ifndef QUORIN_BASE_SLEEP_H
#define QUORIN_BASE_SLEEP_H

#include <chrono>
#include <cstdint>

// Sleeps the full time even when signals arrive in between: a stop signal lands on any thread, and
// a port's off time must not be cut short by it. 0 or less returns at once.
void sleepSeconds(int32_t duration);
void sleepMilliseconds(int32_t duration);

// Milliseconds of a clock that no change of the time touches.
int64_t monotonicMs();

// Ends its pauses at instants that lie one second apart on the monotonic clock, however long the
// work between them takes: pauses of a plain second would drift against every clock. After work
// that outlasts an instant the next one counts.
class SecondBeat {
 public:
  SecondBeat();
  void sleepToNext();

 private:
  std::chrono::nanoseconds next_;  // on the monotonic clock
};

#endif
