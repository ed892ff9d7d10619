#include "switchsim/lab/lab_travel.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "api/requests.h"
#include "cli/failure.h"
#include "forecast/firings.h"
#include "switchsim/switch/switch_state.h"

namespace switchsim {
namespace {

constexpr int64_t kMsPerSec = 1000;
constexpr int64_t kSecPerMin = 60;
constexpr int64_t kMsPerMin = kSecPerMin * kMsPerSec;
constexpr int64_t kAheadMs = 1000;        // how long before a minute the daemon is awake
constexpr int64_t kNapMs = 1200;          // a pause between two looks at the clock, and some more
constexpr int32_t kTravelSpeed = 120;     // a minute is half a second: time to see it begin
constexpr int32_t kMaxTravelSpeed = 400;  // while ports are dark for long
constexpr int64_t kWorkParts = 8;         // long work takes about this part of a second here
constexpr int64_t kAskTimeoutMs = 60000;
constexpr auto kPollPause = std::chrono::milliseconds(2);
constexpr auto kLongPollPause = std::chrono::milliseconds(10);  // where minutes may be waited for
constexpr auto kPatience = std::chrono::seconds(30);            // for a minute to be seen
constexpr int32_t kSettlePauses = 5;
constexpr int64_t kAskMs = 50;  // what a look at the daemon's runs may take here
constexpr int64_t kNever = INT64_MAX / (2 * kMsPerSec);
constexpr auto kActPatience = std::chrono::milliseconds(500);

using TimeOfDay = std::pair<int32_t, int32_t>;

std::set<TimeOfDay> namedTimes(const std::vector<Schedule>& schedules) {
  std::set<TimeOfDay> times;
  for (const Schedule& schedule : schedules) {
    for (const char* text : {schedule.startTime.c_str(), schedule.endTime.c_str(),
                             schedule.restartTime.c_str(), schedule.allDay != 0 ? "00:00" : ""}) {
      if (const auto time = timeOfDay(text)) {
        times.insert(*time);
      }
    }
  }
  return times;
}

// How long the ports of one firing keep the daemon busy.
int64_t workSec(const Schedule& schedule) {
  const bool isRestart = schedule.type == ScheduleType::restart;
  const int64_t pauses =
      schedule.executionMode == EXECUTION_SEQUENTIAL
          ? static_cast<int64_t>(schedule.ifNums.size()) *
                (schedule.interPortDelaySec + (isRestart ? schedule.offTimeSec : 0))
          : 0;
  return std::max<int64_t>(pauses, isRestart ? schedule.offTimeSec : 0);
}

class Traveller {
 public:
  Traveller(Lab& lab, const Zone& zone, const std::function<void()>& check)
      : lab_(lab),
        zone_(zone),
        check_(check),
        ownSpeed_(lab.speed()),
        daemon_(lab.socketPath(), kAskTimeoutMs, {}) {
    for (int32_t unit = 1; unit <= static_cast<int32_t>(kMaxUnits); ++unit) {
      const std::vector<Schedule> ofUnit = askSchedules(daemon_, unit);
      schedules_.insert(schedules_.end(), ofUnit.begin(), ofUnit.end());
    }
    times_ = namedTimes(schedules_);
  }

  // Through all that is due until the instant. Where ports are held off before or then, that is
  // waited for.
  void runTo(int64_t instant) {
    // An all-day schedule that is due already acts in the first minute that the daemon sees.
    const int64_t first = lab_.nowMs() / kMsPerMin * kSecPerMin + kSecPerMin;
    int64_t minute = hasAllDay() ? first : nextNamed(first);
    areHeldOff_ = arePortsHeldOff();
    if (areHeldOff_ && isatty(STDERR_FILENO) != 0) {
      fprintf(stderr,
              "switchsim: ports are held off: that ends first, at the speed at which it began "
              "(`lab jump` does not wait)\n");
    }
    minute = liveUntilRestored(minute);
    while (minute <= instant) {
      minute = liveThrough(minute);
    }
    areHeldOff_ = arePortsHeldOff();
    liveUntilRestored(minute);
  }

 private:
  // What is due meanwhile is lived through. Returns the next named minute.
  int64_t liveUntilRestored(int64_t minute) {
    while (areHeldOff_) {
      if (lab_.nowMs() < shortlyBefore(minute)) {
        pause(kLongPollPause);
      } else {
        minute = liveThrough(minute);
      }
      areHeldOff_ = arePortsHeldOff();
    }
    return minute;
  }

  bool hasAllDay() const {
    return std::any_of(schedules_.begin(), schedules_.end(),
                       [](const Schedule& each) { return each.allDay != 0; });
  }

  // The first minute from this one on at which a schedule names a time, whatever its days.
  int64_t nextNamed(int64_t minute) const {
    constexpr int64_t kLongest = int64_t{2} * 86400;  // a zone may skip one for a day
    for (int64_t end = minute + kLongest; !times_.empty() && minute < end; minute += kSecPerMin) {
      const TickTime tick = zone_.tickAt(minute);
      if (times_.count({tick.hour, tick.minute}) > 0) {
        return minute;
      }
    }
    return kNever;
  }

  // Until when something may be asked of the daemon, and it still is in time for the minute.
  int64_t shortlyBefore(int64_t minute) const {
    return minute * kMsPerSec - kAheadMs - kNapMs - lab_.speed() * kAskMs;
  }

  // Returns the next named one.
  int64_t liveThrough(int64_t minute) {
    const int64_t next = nextNamed(minute + kSecPerMin);
    const int64_t beginsMs = minute * kMsPerSec;
    if (lab_.nowMs() >= beginsMs + kMsPerMin) {
      return next;  // a sweep has kept the daemon from it, as it would have on a switch
    }
    const std::vector<Firing> due =
        firingsWithin(schedules_, SwitchTime(minute - 1), SwitchTime(minute), zone_);
    const uint64_t actsBefore = lastSeq();
    if (!areHeldOff_) {
      goCloseTo(beginsMs, speedFor(due));
    }
    awaitSeen(minute);
    awaitDone(actsBefore, !due.empty(), next);
    return next;
  }

  // Such that long work does not take long here, too. (Only a sleep that begins from now on is as
  // short.)
  int32_t speedFor(const std::vector<Firing>& due) const {
    int64_t longest = std::max(kTravelSpeed, ownSpeed_);
    for (const Firing& each : due) {
      longest = std::max(longest, workSec(*each.schedule) * kWorkParts);
    }
    return static_cast<int32_t>(std::min<int64_t>(longest, std::max(kMaxTravelSpeed, ownSpeed_)));
  }

  // The daemon may be in a pause that began at the speed of before, and takes as long here as it
  // would have. The minute must not pass by in it.
  void goCloseTo(int64_t beginsMs, int64_t speed) {
    const int64_t speedBefore = lab_.speed();
    const int64_t napMs = kNapMs * speed / speedBefore;
    const int64_t arrivalMs = std::max(lab_.nowMs(), beginsMs - kAheadMs - napMs);
    if (beginsMs - arrivalMs < napMs) {
      speed = std::max(speedBefore, (beginsMs - arrivalMs) * speedBefore / kNapMs);
    }
    lab_.setClock(arrivalMs, static_cast<int32_t>(speed));
  }

  void awaitSeen(int64_t minute) const {
    const int64_t beginsMs = minute * kMsPerSec;
    const auto end = std::chrono::steady_clock::now() + kPatience;
    ClockReads reads = clockReads();
    while (reads.lastMs < beginsMs) {
      pause();
      if (std::chrono::steady_clock::now() > end) {
        break;
      }
      reads = clockReads();
    }
    if (reads.lastMs < beginsMs || reads.leftOut(beginsMs)) {
      throw Failure(
          kExitNotAsWished,
          "the lab's daemon did not see " + momentText(minute, zone_) +
              ": this machine is too busy. What follows in this lab is not to be trusted");
    }
  }

  // A minute's work has begun when the ports' journal goes on; a schedule that finds nothing to do
  // adds nothing to it. It is over when the daemon gives schedules out again, which wait for its
  // sweeps, and no ports are held off; the next named minute does not wait for that.
  void awaitDone(uint64_t actsBefore, bool isDue, int64_t next) {
    const auto end = std::chrono::steady_clock::now() + kActPatience;
    const auto hasTime = [&] { return lab_.nowMs() < shortlyBefore(next); };
    while (isDue && lastSeq() == actsBefore && std::chrono::steady_clock::now() < end &&
           hasTime()) {
      pause();
    }
    uint64_t seen = 0;
    do {
      seen = lastSeq();
      for (int32_t i = 0; i < kSettlePauses; ++i) {
        pause();
      }
      (void)askSchedules(daemon_, 1);
      areHeldOff_ = arePortsHeldOff();
    } while ((lastSeq() != seen || areHeldOff_) && hasTime());
  }

  bool arePortsHeldOff() {
    for (int32_t unit = 1; unit <= static_cast<int32_t>(kMaxUnits); ++unit) {
      for (const Run& run : askRunPage(daemon_, unit, 1, kNewestRuns).runs) {
        if (run.isOpen() && run.switchesBack()) {
          return true;
        }
      }
    }
    return false;
  }

  void pause(std::chrono::milliseconds duration = kPollPause) const {
    check_();
    lab_.requireRunning();
    std::this_thread::sleep_for(duration);
  }

  static constexpr int64_t kNewestRuns = 100;

  Lab& lab_;
  const Zone& zone_;
  const std::function<void()>& check_;
  const int32_t ownSpeed_;
  SocketDaemon daemon_;
  std::vector<Schedule> schedules_;
  std::set<TimeOfDay> times_;
  // By a run that will switch them on: while it sleeps, the clock must neither leap nor change its
  // speed.
  bool areHeldOff_ = false;
};

}  // namespace

void travelTo(Lab& lab, int64_t instant, const Zone& zone, const std::function<void()>& check) {
  const int32_t speed = lab.speed();
  try {
    Traveller(lab, zone, check).runTo(instant);
  } catch (...) {
    lab.setClock(lab.nowMs(), speed);
    throw;
  }
  lab.setClock(std::max(lab.nowMs(), instant * kMsPerSec), speed);
}

}  // namespace switchsim
