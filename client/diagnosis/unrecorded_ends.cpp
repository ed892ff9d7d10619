#include "client/diagnosis/unrecorded_ends.h"

#include <algorithm>
#include <functional>

#include "forecast/firings.h"
#include "rules/run_words.h"

namespace {

constexpr int64_t kKeptSec = int64_t{30} * 24 * 3600;  // by the daemon
constexpr int64_t kSecPerMin = 60;
constexpr int64_t kWeekSec = int64_t{7} * 24 * 3600;
constexpr int64_t kLateSec = 120;  // in which a run begins that is due: a sweep makes it wait

bool isWindow(const Schedule& schedule, const PoePort& port) {
  return isWindowType(schedule.type) && schedule.allDay == 0 && actsOn(schedule, port);
}

// A daemon that starts in the minute of an end carries it out.
SwitchTime beforeMinuteOf(SystemTime at) {
  return SwitchTime(at - at % kSecPerMin - 1);
}

class Ends {
 public:
  Ends(const PoePort& port, const PortRecords& records, SystemTime now, const Zone& zone)
      : port_(port), records_(records), now_(now), zone_(zone) {}

  std::vector<PortEvent> all() {
    for (const Run& run : records_.runs) {
      if (isCutWindow(run)) {
        addEndOfCut(run);
      }
    }
    for (const Schedule& schedule : records_.schedules) {
      if (isWindow(schedule, port_)) {
        addEndsWithoutRun(schedule);
      }
    }
    return std::move(events_);
  }

 private:
  // Of which a restart of the daemon closed the run, whatever was done to the port.
  bool isCutWindow(const Run& run) const {
    return run.unit == port_.unit && run.port(port_.ifNum) != nullptr && run.scheduleId &&
           run.scheduleType != ScheduleType::restart && !run.allDay.value_or(false) &&
           run.completedAt && run.startedAt && run.errorMessage == kRunInterrupted;
  }

  void add(const Run& run, const Schedule* schedule, SystemTime at, SystemTime until) {
    PortEvent event;
    event.at = at;
    event.until = until;
    event.effect = PortEffect::unclear;
    event.isToOff = run.scheduleType == ScheduleType::powerOn;
    event.cause = PortCause::lostEnd;
    event.run = run;
    event.run.ports = {run.port(port_.ifNum) != nullptr ? *run.port(port_.ifNum)
                                                        : RunPort{port_.ifNum, {}, ""}};
    event.actionText = schedule != nullptr ? actionText(*schedule) : "";
    events_.push_back(std::move(event));
  }

  // The end of a window is none of its record. Where no other run shows that the schedule is still
  // what it was, it may have come at any time until it began anew, or in a week.
  void addEndOfCut(const Run& run) {
    const Schedule* schedule = scheduleOf(run, records_.schedules);
    const bool isSame = schedule != nullptr && isWindow(*schedule, port_) &&
                        schedule->type == run.scheduleType.kind &&
                        isMinuteOf(schedule->startTime.c_str(), *run.startedAt) &&
                        hasEndedAsItIs(*schedule);
    if (!isSame) {
      add(run, schedule, *run.completedAt, latestEndOf(run));
      return;
    }
    Schedule enabled = *schedule;
    enabled.enabled = 1;
    const auto next = nextFiring(enabled, beforeMinuteOf(*run.completedAt), zone_);
    if (next && next->isEnd && SystemTime(next->at) <= now_) {
      const SystemTime at = std::max(SystemTime(next->at), *run.completedAt);
      add(run, schedule, at, at);
    }
  }

  bool hasEndedAsItIs(const Schedule& schedule) const {
    return anyOf(schedule, [&](const Run& run) {
      return run.completedAt && isMinuteOf(schedule.startTime.c_str(), *run.startedAt) &&
             isMinuteOf(schedule.endTime.c_str(), *run.completedAt);
    });
  }

  SystemTime latestEndOf(const Run& run) const {
    SystemTime latest = std::min(now_, SystemTime(*run.completedAt + kWeekSec));
    for (const Run& other : records_.begun) {
      if (other.scheduleId == run.scheduleId &&
          other.startedAt.value_or(now_) >= *run.completedAt) {
        latest = std::min(latest, other.startedAt.value_or(now_));
      }
    }
    return latest;
  }

  bool isMinuteOf(const char* time, SystemTime at) const {
    const auto wanted = timeOfDay(time);
    const TickTime local = zone_.tickAt(at);
    return wanted && wanted->first == local.hour && wanted->second == local.minute;
  }

  // A schedule that did not act at one start and does at the next was made or enabled between them.
  void addEndsWithoutRun(const Schedule& schedule) {
    const std::vector<Firing> firings =
        firingsWithin({schedule}, SwitchTime(since()), SwitchTime(now_), zone_);
    for (auto firing = firings.begin(); firing != firings.end(); ++firing) {
      const auto start =
          std::find_if(firing, firings.end(), [](const Firing& each) { return !each.isEnd; });
      const bool isInForce = start == firings.end() || hasBegun(schedule, SystemTime(start->at));
      if (firing->isEnd && isInForce && !isRecorded(schedule, SystemTime(firing->at))) {
        Run none;
        none.unit = schedule.unit;
        none.scheduleId = schedule.scheduleId;
        none.scheduleName = schedule.name.c_str();
        none.scheduleType = scheduleTypeText(schedule.type);
        add(none, &schedule, SystemTime(firing->at), SystemTime(firing->at));
      }
    }
  }

  // The oldest run of the port that is told of, or as long as runs are kept.
  SystemTime since() const {
    std::optional<SystemTime> oldest;
    for (const Run& run : records_.runs) {
      if (run.unit == port_.unit && run.port(port_.ifNum) != nullptr) {
        const SystemTime started = run.startedAt.value_or(now_);
        oldest = std::min(oldest.value_or(started), started);
      }
    }
    return oldest.value_or(SystemTime(now_ - kKeptSec));
  }

  bool anyOf(const Schedule& schedule, const std::function<bool(const Run&)>& isSo) const {
    return std::any_of(records_.begun.begin(), records_.begun.end(), [&](const Run& run) {
      return run.unit == schedule.unit && run.scheduleId == schedule.scheduleId && run.startedAt &&
             isSo(run);
    });
  }

  bool hasBegun(const Schedule& schedule, SystemTime at) const {
    return anyOf(schedule, [at](const Run& run) {
      return *run.startedAt >= at && *run.startedAt < at + kLateSec;
    });
  }

  // By a run that was open, or as the end of one that a restart of the daemon had closed.
  bool isRecorded(const Schedule& schedule, SystemTime end) const {
    const bool wasOpen = anyOf(schedule, [end](const Run& run) {
      return *run.startedAt < end + kLateSec && (!run.completedAt || *run.completedAt >= end);
    });
    return wasOpen || std::any_of(events_.begin(), events_.end(), [&](const PortEvent& event) {
             return event.run.scheduleId == schedule.scheduleId && event.at <= end &&
                    end <= event.until;
           });
  }

  const PoePort& port_;
  const PortRecords& records_;
  SystemTime now_;
  const Zone& zone_;
  std::vector<PortEvent> events_;
};

}  // namespace

std::vector<PortEvent> unrecordedEnds(const PoePort& port, const PortRecords& records,
                                      SystemTime now, const Zone& zone) {
  return Ends(port, records, now, zone).all();
}

std::optional<SystemTime> endToCome(const Run& run, const PoePort& port, const PortRecords& records,
                                    SystemTime now, const Zone& zone) {
  const Schedule* schedule = scheduleOf(run, records.schedules);
  const bool isUnended =
      run.isOpen() || run.errorMessage == kRunInterrupted || run.errorMessage == kRunScheduleGone;
  if (!isUnended || schedule == nullptr || !isWindow(*schedule, port)) {
    return std::nullopt;
  }
  // As if the clocks were one.
  const SwitchTime closed = run.completedAt ? beforeMinuteOf(*run.completedAt) : SwitchTime(now);
  const std::optional<Firing> next = nextFiring(*schedule, closed, zone);
  return next && next->isEnd && SystemTime(next->at) > now
             ? std::make_optional(SystemTime(next->at))
             : std::nullopt;
}
