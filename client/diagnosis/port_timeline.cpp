#include "client/diagnosis/port_timeline.h"

#include <algorithm>
#include <tuple>

#include "cli/text.h"
#include "forecast/twin.h"
#include "rules/run_words.h"

namespace {

// How far a run came with a port.
enum class Fate {
  untouched,
  half,  // its start was carried out, its end was refused
  done,
  unknown,
};

Fate fateOf(const Run& run, const RunPort& port) {
  const auto says = [&port](std::initializer_list<const char*> texts) {
    return std::any_of(texts.begin(), texts.end(),
                       [&port](const char* text) { return port.errorMessage == text; });
  };
  if (port.status == PortStatus::success) {
    return Fate::done;
  }
  // A window skips a busy port in one way at its start and at its end.
  if (port.status == PortStatus::notApplicable ||
      (port.status == PortStatus::skipped && !says({kPortBusy}))) {
    return Fate::untouched;
  }
  if (says(
          {kPortOffFailed, kPortResetFailed, kPortStartFailed, kRunNotSpawned, kRunNotAllocated})) {
    return Fate::untouched;
  }
  const bool isHalf = says({kPortBootFailed, kPortRestoreFailed, PORT_WITHOUT_OUTCOME}) ||
                      (run.scheduleType == ScheduleType::restart && says({kPortOnFailed}));
  return isHalf ? Fate::half : Fate::unknown;
}

PortCause causeOf(const Run& run) {
  if (run.triggered == Trigger::bootDelay) {
    return PortCause::bootDelay;
  }
  if (run.scheduleType == ScheduleType::restart) {
    return PortCause::restart;
  }
  return run.allDay.value_or(false) ? PortCause::allDay : PortCause::windowStart;
}

PortEffect startEffect(const Run& run, PortCause cause) {
  const bool isOn = run.scheduleType == ScheduleType::powerOn && cause != PortCause::bootDelay;
  return isOn ? PortEffect::on : PortEffect::off;
}

PortEffect opposite(PortEffect effect) {
  return effect == PortEffect::on ? PortEffect::off : PortEffect::on;
}

// One run's events for one port.
class RunEvents {
 public:
  RunEvents(const Run& run, const RunPort& port, const Schedule* schedule,
            const std::string& twinName)
      : schedule_(schedule), fate_(fateOf(run, port)), cause_(causeOf(run)) {
    event_.run = run;
    event_.run.ports = {port};
    event_.actionText = schedule != nullptr ? actionText(*schedule) : "";
    event_.twinName = twinName;
    effect_ = startEffect(run, cause_);
  }

  std::vector<PortEvent> all(const std::vector<Run>& runs, SystemTime now, const Zone& zone) {
    const PortEffect start = fate_ == Fate::untouched ? PortEffect::none
                             : fate_ == Fate::unknown ? PortEffect::unclear
                                                      : effect_;
    add(event_.run.startedAt.value_or(SystemTime()), start, cause_);
    if (cause_ == PortCause::windowStart) {
      addWindowEnd(runs, now, zone);
    } else if (cause_ != PortCause::allDay) {
      addSecondHalf(now);
    }
    return std::move(events_);
  }

 private:
  void add(SystemTime at, PortEffect effect, PortCause cause) {
    event_.at = at;
    event_.effect = effect;
    event_.cause = cause;
    events_.push_back(event_);
  }

  // A restart or a boot delay switches on what it has switched off.
  void addSecondHalf(SystemTime now) {
    if (fate_ == Fate::done || fate_ == Fate::half) {
      const PortEffect effect = fate_ == Fate::done ? PortEffect::on : PortEffect::none;
      add(event_.run.completedAt.value_or(now), effect, cause_);
    }
  }

  // A run that ends with a message of its own was closed without its window's end.
  void addWindowEnd(const std::vector<Run>& runs, SystemTime now, const Zone& zone) {
    if (event_.run.completedAt && event_.run.errorMessage.empty()) {
      const PortEffect effect = fate_ == Fate::done   ? opposite(effect_)
                                : fate_ == Fate::half ? PortEffect::none
                                                      : PortEffect::unclear;
      add(*event_.run.completedAt, effect, PortCause::windowEnd);
      return;
    }
    const std::optional<SystemTime> end = endBySchedule(runs, now, zone);
    if (end && *end > now) {
      events_.back().endsAt = end;
    } else if (end && fate_ != Fate::untouched) {
      add(*end, opposite(effect_), PortCause::lostEnd);
    }
  }

  // When the schedule as it is now ends what the run began, unless it is begun anew before.
  std::optional<SystemTime> endBySchedule(const std::vector<Run>& runs, SystemTime now,
                                          const Zone& zone) const {
    const bool hasPort =
        schedule_ != nullptr &&
        std::count(schedule_->ifNums.begin(), schedule_->ifNums.end(), event_.port().ifNum) > 0;
    const SwitchTime closed(event_.run.completedAt.value_or(now));  // as if the clocks were one
    const std::optional<Firing> next =
        hasPort ? nextFiring(*schedule_, closed, zone) : std::nullopt;
    if (!next || !next->isEnd) {
      return std::nullopt;
    }
    const SystemTime end(next->at);
    const bool isBegunAnew = std::any_of(runs.begin(), runs.end(), [&](const Run& other) {
      return other.runId > event_.run.runId && other.unit == event_.run.unit &&
             other.scheduleId == event_.run.scheduleId &&
             other.startedAt.value_or(SystemTime()) <= end;
    });
    return isBegunAnew ? std::nullopt : std::make_optional(end);
  }

  const Schedule* schedule_;
  Fate fate_;
  PortCause cause_;
  PortEffect effect_ = PortEffect::off;  // of the run's start
  PortEvent event_;
  std::vector<PortEvent> events_;
};

// Within a second the daemon looks at schedules by their ids.
bool isBefore(const PortEvent& a, const PortEvent& b) {
  const auto key = [](const PortEvent& event) {
    return std::tuple(event.at, event.run.scheduleId.value_or(0), event.run.runId);
  };
  return key(a) < key(b);
}

std::string doer(const PortEvent& event) {
  const Run& run = event.run;
  if (event.cause == PortCause::bootDelay) {
    return "the boot delay";
  }
  if (!run.scheduleId) {
    return "a manual reset";
  }
  const std::string action = event.actionText.empty() ? "now gone" : event.actionText;
  return "schedule " + std::to_string(*run.scheduleId) + " " + inQuotes(run.scheduleName) + " (" +
         escaped(action) + ")";
}

std::string outcomeText(const PortEvent& event) {
  const Run& run = event.run;
  const std::string& portSays = event.port().errorMessage;
  if (run.isOpen()) {
    return "still open";
  }
  if (wasCutOff(event)) {
    return "cut off by a restart of the daemon";
  }
  if (!event.twinName.empty() && run.errorMessage == kRunNeverEnded) {
    return "whose last night " + inQuotes(event.twinName) + " ends";
  }
  const std::string& why = run.errorMessage.empty() ? portSays : run.errorMessage;
  return escaped(run.status.text + (why.empty() ? "" : ": " + why));
}

std::string runText(const PortEvent& event) {
  return doer(event) + ", run " + std::to_string(event.run.runId) + ", " + outcomeText(event);
}

std::string perhapsText(const PortEvent& event) {
  if (event.cause == PortCause::restart || event.cause == PortCause::bootDelay) {
    return "perhaps left off";
  }
  return isToOff(event) ? "perhaps switched off" : "perhaps switched on";
}

std::string endText(const PortEvent& event, const std::string& verb, bool isSameRun) {
  const std::string window = isSameRun ? "that window" : "the window of " + doer(event);
  const std::string run = "run " + std::to_string(event.run.runId);
  if (event.cause == PortCause::lostEnd) {
    return verb + " by the end of " + window + ", not recorded: " + run + " was closed before";
  }
  const std::string& error = event.port().errorMessage;
  return verb + " by the end of " + window + (isSameRun ? "" : ", " + run) +
         (error.empty() ? "" : ": " + escaped(error));
}

}  // namespace

bool isToOff(const PortEvent& event) {
  if (event.effect != PortEffect::unclear) {
    return event.effect == PortEffect::off;
  }
  const PortEffect start = startEffect(event.run, causeOf(event.run));
  const bool isEnd = event.cause == PortCause::windowEnd;
  return (isEnd ? opposite(start) : start) == PortEffect::off;
}

std::vector<PortEvent> portTimeline(const PoePort& port, const std::vector<Run>& runs,
                                    const std::vector<Schedule>& schedules, SystemTime now,
                                    const Zone& zone) {
  std::vector<PortEvent> timeline;
  for (const Run& run : runs) {
    const RunPort* own = run.unit == port.unit ? run.port(port.ifNum) : nullptr;
    if (own == nullptr) {
      continue;
    }
    const Schedule* schedule = scheduleOf(run, schedules);
    const Schedule* twin = schedule != nullptr ? twinAmong(schedules, *schedule) : nullptr;
    RunEvents ofRun(run, *own, schedule, twin != nullptr ? twin->name.c_str() : "");
    const std::vector<PortEvent> events = ofRun.all(runs, now, zone);
    timeline.insert(timeline.end(), events.begin(), events.end());
  }
  std::stable_sort(timeline.begin(), timeline.end(), isBefore);
  return timeline;
}

const PortEvent* lastSwitching(const std::vector<PortEvent>& timeline, SystemTime at) {
  const PortEvent* last = nullptr;
  for (const PortEvent& event : timeline) {
    if (event.at <= at && event.effect != PortEffect::none) {
      last = &event;
    }
  }
  return last;
}

const PortEvent* whatLeftOff(const std::vector<PortEvent>& timeline, SystemTime now) {
  const PortEvent* last = lastSwitching(timeline, now);
  return last != nullptr && last->effect != PortEffect::on ? last : nullptr;
}

bool wasCutOff(const PortEvent& event) {
  return event.run.errorMessage == kRunInterrupted || event.port().errorMessage == kRunInterrupted;
}

bool isOffBySchedule(const PortEvent& event) {
  const bool isWindow = event.cause == PortCause::windowStart && event.endsAt;
  const bool isLasting = event.cause == PortCause::allDay || event.cause == PortCause::windowEnd ||
                         event.cause == PortCause::lostEnd;
  return event.effect == PortEffect::off && (isWindow || isLasting);
}

std::string eventText(const PortEvent& event, bool isSameRun) {
  const bool isEnd = event.cause == PortCause::windowEnd || event.cause == PortCause::lostEnd;
  const bool isSecondHalf = isSameRun && !isEnd;
  const std::string error = event.port().errorMessage;
  switch (event.effect) {
    case PortEffect::none:
      return isSecondHalf ? "not switched on again: " + escaped(error)
             : isEnd      ? endText(event, "not switched", isSameRun)
                          : "left as it was by " + runText(event);
    case PortEffect::unclear:
      return isEnd ? endText(event, perhapsText(event), isSameRun)
                   : perhapsText(event) + " by " + runText(event);
    default:
      break;
  }
  const std::string verb =
      std::string("switched ") + (event.effect == PortEffect::on ? "on" : "off");
  return isEnd          ? endText(event, verb, isSameRun)
         : isSecondHalf ? verb + " again by that run"
                        : verb + " by " + runText(event);
}
