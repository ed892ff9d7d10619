#include "client/diagnosis/port_timeline.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "client/diagnosis/run_events.h"
#include "forecast/twin.h"

namespace {

// Within a second the daemon looks at schedules by their ids.
bool isBefore(const PortEvent& a, const PortEvent& b) {
  const auto key = [](const PortEvent& event) {
    return std::tuple(event.at, event.run.scheduleId.value_or(0), event.run.runId);
  };
  return key(a) < key(b);
}

// The scheduler's own thread does what has to do with ends and with "off", one after the other; all
// else has a thread of its own.
bool isByScheduler(const PortEvent& event) {
  const bool isStart = event.cause == PortCause::windowStart || event.cause == PortCause::allDay;
  return event.cause == PortCause::windowEnd || event.cause == PortCause::lostEnd ||
         (isStart && event.isToOff);
}

MayBe only(bool isOff) {
  return {!isOff, isOff};
}

// As it was, or as the event would have made it.
MayBe orElse(const MayBe& before, bool isOff) {
  return before.isUnknown() ? MayBe{true, true} : MayBe{before.on || !isOff, before.off || isOff};
}

// Tells event by event what the port may be after it.
class Course {
 public:
  void pass(PortEvent* event) {
    const MayBe before = beforeRun_.emplace(event->run.runId, state_).first->second;
    if (event->mayHaveSwitched()) {
      state_ = event->isPerhapsPlain && !event->isToOff ? orElse(before, false) : after(*event);
      // A port that was on went off and on again, be it for a moment.
      const bool isSure = event->isPerhapsPlain ? before.isOn() : state_.isOn() || state_.isOff();
      event->effect = !isSure          ? PortEffect::unclear
                      : event->isToOff ? PortEffect::off
                                       : PortEffect::on;
      last_ = event;
    }
    if (event->until > event->at && event->cause == PortCause::lostEnd) {
      coming_.push_back(event);
    }
    for (const PortEvent* end : coming_) {
      state_ = event->at < end->until ? orElse(state_, end->isToOff) : state_;
    }
    event->after = state_;
  }

 private:
  MayBe after(const PortEvent& event) const {
    const bool isOpposite = last_ != nullptr && last_->at == event.at &&
                            last_->isToOff != event.isToOff && last_->run.runId != event.run.runId;
    const bool isRace = isOpposite && !(isByScheduler(*last_) && isByScheduler(event));
    return isRace                                ? MayBe{true, true}
           : event.effect == PortEffect::unclear ? orElse(state_, event.isToOff)
                                                 : only(event.isToOff);
  }

  MayBe state_;
  std::map<int64_t, MayBe> beforeRun_;    // by its id
  const PortEvent* last_ = nullptr;       // that may have switched
  std::vector<const PortEvent*> coming_;  // ends of windows that may have come at any time
};

void addOfRun(const Run& run, const PoePort& port, const PortRecords& records, SystemTime now,
              const Zone& zone, std::vector<PortEvent>* timeline) {
  const Schedule* schedule = scheduleOf(run, records.schedules);
  const bool isEnded = isEndedByTwin(run, records.begun, records.schedules);
  for (PortEvent& event : eventsOfRun(run, port.ifNum, records.runs)) {
    event.actionText = schedule != nullptr ? actionText(*schedule) : "";
    event.twinName = isEnded ? twinName(*schedule) : "";
    if (event.cause == PortCause::windowStart) {
      event.endsAt = endToCome(run, port, records, now, zone);
    }
    timeline->push_back(std::move(event));
  }
}

}  // namespace

std::vector<PortEvent> portTimeline(const PoePort& port, const PortRecords& records, SystemTime now,
                                    const Zone& zone) {
  std::vector<PortEvent> timeline = unrecordedEnds(port, records, now, zone);
  for (const Run& run : records.runs) {
    if (run.unit == port.unit && run.port(port.ifNum) != nullptr) {
      addOfRun(run, port, records, now, zone, &timeline);
    }
  }
  std::stable_sort(timeline.begin(), timeline.end(), isBefore);
  Course course;
  for (PortEvent& event : timeline) {
    course.pass(&event);
  }
  return timeline;
}

void confirmOn(std::vector<PortEvent>* timeline) {
  int64_t runId = 0;
  for (auto event = timeline->rbegin(); event != timeline->rend(); ++event) {
    if (event->mayHaveSwitched() && runId == 0 && event->isPerhapsPlain && !event->isToOff) {
      runId = event->run.runId;
      event->effect = PortEffect::on;
      event->after = only(false);
    } else if (event->mayHaveSwitched()) {
      event->effect = event->run.runId == runId && runId != 0 ? PortEffect::off : event->effect;
      return;
    }
  }
}

MayBe stateAt(const std::vector<PortEvent>& timeline, SystemTime at) {
  MayBe before, state;
  for (const PortEvent& event : timeline) {
    if (event.at > at) {
      break;
    }
    before = state;
    state = event.after;
    if (at < event.until && event.mayHaveSwitched()) {
      state = {before.on || state.on, before.off || state.off};
    }
  }
  return state;
}

const PortEvent* whatLeftOff(const std::vector<PortEvent>& timeline) {
  const PortEvent* off = nullptr;
  for (const PortEvent& event : timeline) {
    if (event.mayHaveSwitched() && event.isToOff) {
      off = &event;
    } else if (event.effect == PortEffect::on) {
      off = nullptr;
    }
  }
  return off;
}
