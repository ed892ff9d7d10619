#include "client/diagnosis/run_events.h"

#include <algorithm>

#include "forecast/twin.h"
#include "rules/run_words.h"

namespace {

// What became of a half of a run: of its start, or of its end.
enum class Fate { done, refused, unclear };

struct Halves {
  Fate start = Fate::unclear;
  Fate end = Fate::unclear;
};

constexpr Halves kRefused{Fate::refused, Fate::refused};

bool says(const RunPort& port, std::initializer_list<const char*> texts) {
  return std::any_of(texts.begin(), texts.end(),
                     [&port](const char* text) { return port.errorMessage == text; });
}

bool isOf(const RunPort& port, std::initializer_list<PortStatus> statuses) {
  return std::any_of(statuses.begin(), statuses.end(),
                     [&port](PortStatus status) { return port.status == status; });
}

bool anyPortSays(const Run& run, std::initializer_list<const char*> texts) {
  return std::any_of(run.ports.begin(), run.ports.end(),
                     [&](const RunPort& port) { return says(port, texts); });
}

// How many of its ports, from one to before another, the run worked at.
int64_t worked(const Run& run, size_t from, size_t to) {
  return std::count_if(run.ports.begin() + static_cast<std::ptrdiff_t>(from),
                       run.ports.begin() + static_cast<std::ptrdiff_t>(to),
                       [](const RunPort& port) { return port.status != PortStatus::skipped; });
}

int64_t delayOf(const Run& run) {
  return run.executionMode == "sequential" ? run.interPortDelaySec : 0;
}

// A manual reset's record does not hold its off time: without one the ports have the switch's own
// reset, each in a moment, and one that is off stays off.
enum class OffTime { some, none, unclear };

// The time that the run took beside its pauses between ports tells it, unless it is as short as a
// slow switch may take for them: less than half a second for each, and a pause more where the last
// port was skipped. Records have whole seconds.
OffTime offTimeOf(const Run& run) {
  if (run.scheduleId || anyPortSays(run, {kPortOffFailed, kPortOnFailed})) {
    return OffTime::some;
  }
  if (anyPortSays(run, {kPortResetFailed})) {
    return OffTime::none;
  }
  if (!run.startedAt || !run.completedAt || !run.errorMessage.empty()) {
    return OffTime::unclear;
  }
  const int64_t ports = worked(run, 0, run.ports.size());
  const int64_t pauses = delayOf(run) * std::max<int64_t>(ports - 1, 0);
  const int64_t rest = *run.completedAt - *run.startedAt - pauses;
  const bool hasSkipped = ports < static_cast<int64_t>(run.ports.size());
  const int64_t longestOfNone = 1 + ports / 2 + (hasSkipped ? delayOf(run) : 0);
  return rest <= 0 ? OffTime::none : rest > longestOfNone ? OffTime::some : OffTime::unclear;
}

class RunEvents {
 public:
  RunEvents(const Run& run, uint32_t ifNum, const std::vector<Run>& runs)
      : run_(run), port_(*run.port(ifNum)), runs_(runs) {
    index_ = static_cast<size_t>(&port_ - run.ports.data());
  }

  std::vector<PortEvent> all() {
    if (run_.triggered == Trigger::bootDelay) {
      addHold(PortCause::bootDelay, run_.ports.size() - 1 - index_);
    } else if (run_.scheduleType == ScheduleType::restart) {
      addRestart();
    } else {
      addWindow();
    }
    return std::move(events_);
  }

 private:
  SystemTime started() const { return run_.startedAt.value_or(SystemTime()); }
  SystemTime completed() const { return run_.completedAt.value_or(started()); }

  PortEvent& add(SystemTime at, bool isToOff, Fate fate, PortCause cause) {
    PortEvent event;
    event.at = event.until = at;
    event.isToOff = isToOff;
    event.effect = fate == Fate::refused   ? PortEffect::none
                   : fate == Fate::unclear ? PortEffect::unclear
                   : isToOff               ? PortEffect::off
                                           : PortEffect::on;
    event.cause = cause;
    event.run = run_;
    event.run.ports = {port_};
    events_.push_back(std::move(event));
    return events_.back();
  }

  // Of a run that switches off and on again.
  Halves halvesOfHold() const {
    if (port_.status == PortStatus::success) {
      return {Fate::done, Fate::done};
    }
    if (isOf(port_, {PortStatus::skipped, PortStatus::notApplicable}) ||
        says(port_, {kPortOffFailed, kPortResetFailed, kRunNotSpawned, kRunNotAllocated})) {
      return kRefused;
    }
    return says(port_, {kPortOnFailed, kPortBootFailed}) ? Halves{Fate::done, Fate::refused}
                                                         : Halves();
  }

  void addRestart() {
    const OffTime offTime = offTimeOf(run_);
    if (offTime == OffTime::none) {
      add(started(), true, Fate::refused, PortCause::plainReset).until = completed();
      return;
    }
    addHold(PortCause::restart, laterOn());
    if (offTime == OffTime::some) {
      return;
    }
    for (PortEvent& event : events_) {
      event.isPerhapsPlain = event.mayHaveSwitched();
      event.effect = event.isPerhapsPlain ? PortEffect::unclear : PortEffect::none;
    }
  }

  // How many ports came on after this one.
  size_t laterOn() const {
    return static_cast<size_t>(
        std::count_if(run_.ports.begin() + static_cast<std::ptrdiff_t>(index_) + 1,
                      run_.ports.end(), [](const RunPort& port) {
                        return port.status == PortStatus::success || says(port, {kPortOnFailed});
                      }));
  }

  // later: the ports that come on after this one, each after a pause. The order in which a manual
  // reset took its ports is not recorded.
  void addHold(PortCause cause, size_t later) {
    const Halves halves = halvesOfHold();
    add(started(), true, halves.start, cause);
    if (halves.start != Fate::done) {
      return;
    }
    const bool isInOrder = run_.scheduleId || cause == PortCause::bootDelay;
    const auto pauses = static_cast<int64_t>(isInOrder ? later : run_.ports.size() - 1);
    PortEvent& on =
        add(SystemTime(std::max<int64_t>(completed() - delayOf(run_) * pauses, started())), false,
            halves.end, cause);
    on.until = isInOrder ? on.at : completed();
  }

  // Whether another run held the port at the instant, to the second: one that switches it off for a
  // while. (A boot delay takes ports whoever has them.)
  bool wasHeld(SystemTime at) const {
    return std::any_of(runs_.begin(), runs_.end(), [&](const Run& other) {
      const RunPort* own = other.unit == run_.unit ? other.port(port_.ifNum) : nullptr;
      return own != nullptr && other.runId != run_.runId && other.startedAt &&
             other.scheduleType == ScheduleType::restart && other.triggered != Trigger::bootDelay &&
             own->status != PortStatus::skipped && *other.startedAt <= at + 1 &&
             (!other.completedAt || *other.completedAt + 1 >= at);
    });
  }

  // The record has the worse of start and end.
  Halves halvesOfWindow() const {
    if (port_.status == PortStatus::success) {
      return {Fate::done, Fate::done};
    }
    if (port_.status == PortStatus::notApplicable ||
        says(port_, {kPortForeign, kRunNotSpawned, kRunNotAllocated})) {
      return kRefused;
    }
    const bool wasHeldAtStart = wasHeld(started());
    if (port_.status == PortStatus::skipped) {
      const bool wasHeldAtEnd = hasEnded() && wasHeld(completed());
      return wasHeldAtStart == wasHeldAtEnd ? Halves{hasEnded() ? Fate::unclear : Fate::refused}
             : wasHeldAtStart               ? Halves{Fate::refused, Fate::done}
                                            : Halves{Fate::done, Fate::refused};
    }
    if (says(port_, {kPortOffFailed, kPortStartFailed})) {
      return {Fate::refused, Fate::unclear};
    }
    if (says(port_, {kPortRestoreFailed})) {
      return {wasHeldAtStart ? Fate::unclear : Fate::done, Fate::refused};
    }
    return says(port_, {PORT_WITHOUT_OUTCOME}) ? Halves{Fate::done, Fate::unclear} : Halves();
  }

  // A run that has a message of its own was closed without its window's end.
  bool hasEnded() const {
    return run_.completedAt &&
           (run_.errorMessage.empty() || run_.errorMessage == kRunWithoutOutcomes);
  }

  void addWindow() {
    const bool isToOff = run_.scheduleType == ScheduleType::powerOff;
    const bool isAllDay = run_.allDay.value_or(false);
    const Halves halves = halvesOfWindow();
    const int64_t pauses = isToOff ? 0 : worked(run_, 0, index_);
    add(SystemTime(started() + delayOf(run_) * pauses), isToOff, halves.start,
        isAllDay ? PortCause::allDay : PortCause::windowStart);
    if (isAllDay) {
      return;
    }
    const bool wasCutInItsEnd =
        isToOff && run_.errorMessage == kRunInterrupted && anyPortSays(run_, {kRunInterrupted});
    if (hasEnded()) {
      const int64_t later = isToOff ? worked(run_, index_ + 1, run_.ports.size()) : 0;
      add(SystemTime(completed() - delayOf(run_) * later), !isToOff, halves.end,
          PortCause::windowEnd);
    } else if (wasCutInItsEnd) {
      add(started(), !isToOff, Fate::unclear, PortCause::windowEnd).until = completed();
    }
  }

  const Run& run_;
  const RunPort& port_;
  const std::vector<Run>& runs_;
  size_t index_ = 0;  // of the port in the run
  std::vector<PortEvent> events_;
};

}  // namespace

std::vector<PortEvent> eventsOfRun(const Run& run, uint32_t ifNum, const std::vector<Run>& runs) {
  return RunEvents(run, ifNum, runs).all();
}

bool hasSwitched(const Run& run, uint32_t ifNum) {
  const std::vector<PortEvent> events = eventsOfRun(run, ifNum, {});
  return std::any_of(events.begin(), events.end(), [](const PortEvent& event) {
    return event.effect == PortEffect::on || event.effect == PortEffect::off;
  });
}

bool isEndedByTwin(const Run& run, const std::vector<Run>& runs,
                   const std::vector<Schedule>& schedules) {
  const Schedule* schedule = scheduleOf(run, schedules);
  const Schedule* twin = schedule != nullptr ? twinNamed(schedules, *schedule) : nullptr;
  if (twin == nullptr || run.errorMessage != kRunNeverEnded || !run.startedAt) {
    return false;
  }
  return std::any_of(runs.begin(), runs.end(), [&](const Run& other) {
    return other.unit == run.unit && other.scheduleId == twin->scheduleId &&
           other.status == RunStatus::success && other.startedAt && other.completedAt &&
           *other.startedAt > *run.startedAt &&
           *other.completedAt <= run.completedAt.value_or(*other.completedAt);
  });
}
