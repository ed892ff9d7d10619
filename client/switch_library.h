// What the switch OS's client library tells, if this machine has one: names of ports and the clock.
// The library is opened at run time, so that the client also runs where there is none.
#ifndef QUORIN_CLIENT_SWITCH_LIBRARY_H
#define QUORIN_CLIENT_SWITCH_LIBRARY_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "rules/tick_time.h"

struct SwitchClock {
  TickTime local;  // without its weekday
  int32_t zoneOffsetMin = 0;
};

// A session of the client's own, apart from the daemon's. Every call of the library is given
// kMaxCallMs; after one that took longer nothing is asked any more.
class SwitchLibrary {
 public:
  // Null where there is no library, or no switch OS answers it; silent from the start where the
  // switch OS hangs. No call takes longer than maxMs.
  static std::unique_ptr<SwitchLibrary> open(int64_t maxMs);
  ~SwitchLibrary();

  // "1/0/5", or "0/5" where the switch prints it so; empty when the switch does not tell.
  std::string nameOf(uint32_t ifNum);
  std::optional<SwitchClock> clock();
  // Whether a call has taken too long.
  bool isSilent() const { return isSilent_; }

 private:
  struct Functions;
  SwitchLibrary(std::shared_ptr<Functions> functions, std::chrono::milliseconds maxWait);
  // The result of asking the library; none when it has taken too long, now or before.
  template <typename Result>
  std::optional<Result> within(std::function<std::optional<Result>(Functions&)> ask);

  std::shared_ptr<Functions> functions_;  // also of a thread that is still waiting in the library
  std::chrono::milliseconds maxWait_;
  bool isSilent_ = false;
};

#endif
