#include "forecast/mode_walk.h"

#include <algorithm>

#include "forecast/twin.h"

namespace {

constexpr int64_t kSecPerMin = 60;
// Whether the window that the firing begins ends by itself, or by a twin.
bool isEnded(const Firing& start, SwitchTime end, const std::vector<Schedule>& all,
             const Zone& zone) {
  const std::optional<Firing> next = nextFiring(*start.schedule, start.at, zone);
  return (next && next->isEnd && next->at == int64_t{end}) ||
         twinAmong(all, *start.schedule) != nullptr;
}

// Of a schedule one window is open at most: that which began last.
void noteFiring(const Firing& firing, const std::vector<Schedule>& all, const Zone& zone,
                std::vector<Window>* windows) {
  if (firing.act == Act::restart) {
    return;
  }
  const Schedule* schedule = firing.schedule;
  const auto isSame = [schedule](const Window& other) { return other.schedule == schedule; };
  windows->erase(std::remove_if(windows->begin(), windows->end(), isSame), windows->end());
  if (!firing.isEnd) {
    const SwitchTime end = windowEnd(*schedule, firing.at, zone);
    windows->push_back({schedule, firing.act, firing.at, end, isEnded(firing, end, all, zone)});
  }
}

// Whether a window that is open at the instant, and is going to end, wants the port on, or off.
bool isWanted(const std::vector<Window>& windows, bool isOn, SwitchTime at) {
  return std::any_of(windows.begin(), windows.end(), [isOn, at](const Window& each) {
    return (each.act == Act::on) == isOn && each.isEnded && each.until > at;
  });
}

}  // namespace

int64_t minuteOf(int64_t instant) {
  return instant / kSecPerMin;
}

ModeWalk::ModeWalk(const Rehearsal& rehearsal, const Zone& zone)
    : zone_(zone), schedules_(rehearsal.schedules), until_(rehearsal.until) {
  const std::vector<Firing> earlier =
      pastFirings(rehearsal.schedules, SwitchTime(rehearsal.from - 1), zone);
  for (const SensorPort& sensor : rehearsal.before) {
    PortState& port = ports_[sensor];
    port.isOn = sensor.isOn();
    port.dark = {sensor, rehearsal.from, std::nullopt, nullptr, true};
    for (const Firing& each : courseOf(sensor, earlier)) {
      noteFiring(each, schedules_, zone_, &port.windows);
      port.dark.schedule = each.act == Act::off ? each.schedule : port.dark.schedule;
    }
    port.beganInWindow = isWanted(port.windows, port.isOn, rehearsal.from);
  }
}

void ModeWalk::pass(const JournalAct& act, const PlannedAct* cause) {
  const auto found = ports_.find(act.port);
  if (act.isRefused || found == ports_.end()) {
    return;
  }
  PortState& port = found->second;
  if (cause != nullptr && cause->schedule() != nullptr) {
    noteFiring(cause->firing, schedules_, zone_, &port.windows);
  }
  if (act.act == Act::restart && port.isOn) {
    changes_[changeOf(act, cause, Act::restart)].darkSec = 0;
  } else if (act.act == Act::off && port.isOn) {
    noteUndoing(act, cause, &port);
    switchOff(act, cause, &port);
  } else if (act.act == Act::on && !port.isOn) {
    noteUndoing(act, cause, &port);
    switchOn(act, cause, &port);
  }
}

bool ModeWalk::isInWindow(const PoePort& port) const {
  const PortState& state = ports_.at(port);
  return state.beganInWindow || isWanted(state.windows, state.isOn, until_);
}

std::vector<Undoing> ModeWalk::undoings() const {
  std::vector<Undoing> all;
  for (const auto& [where, port] : ports_) {
    all.insert(all.end(), port.undoings.begin(), port.undoings.end());
  }
  return all;
}

std::vector<DarkStretch> ModeWalk::darkStretches() const {
  std::vector<DarkStretch> all = dark_;
  for (const auto& [where, port] : ports_) {
    if (!port.isOn) {
      all.push_back(port.dark);
    }
  }
  return all;
}

// Whether the act switches the port on after the restart that switched it off.
bool ModeWalk::endsRestart(const PlannedAct* cause, const PortState& port) {
  return cause != nullptr && cause->isSecondHalf && port.restart != nullptr &&
         port.restart->schedule() == cause->schedule() &&
         port.restart->firing.at == cause->firing.at;
}

// The act changes the port's mode: does it work against an open window? The first half of a restart
// does not, for it lasts a moment only. Its second half does so only against windows that have
// begun in between. A schedule that worked against a window may put it right again: a window within
// that window does, when it ends.
void ModeWalk::noteUndoing(const JournalAct& act, const PlannedAct* cause, PortState* port) {
  const bool isMomentary =
      cause != nullptr && cause->firing.act == Act::restart && !cause->isSecondHalf;
  if (cause == nullptr || isMomentary) {
    return;
  }
  std::vector<Undoing>& undoings = port->undoings;
  const auto isPutBack = [&act, cause](const Undoing& each) {
    return each.undoer == cause->schedule() && each.window.act == act.act &&
           act.at < each.window.until;
  };
  undoings.erase(std::remove_if(undoings.begin(), undoings.end(), isPutBack), undoings.end());

  // Several windows may want the same: the one that lasts longest stands for all.
  const int64_t since = endsRestart(cause, *port) ? minuteOf(port->dark.from) : 0;
  const Window* undone = nullptr;
  for (const Window& window : port->windows) {
    const bool isOpen = minuteOf(window.from) >= since && act.at < window.until;
    const bool isLonger = undone == nullptr || window.until > undone->until;
    undone = isOpen && isLonger && window.act != act.act ? &window : undone;
  }
  if (undone != nullptr) {
    undoings.push_back({act.port, act.at, *undone, cause->schedule()});
  }
}

void ModeWalk::switchOff(const JournalAct& act, const PlannedAct* cause, PortState* port) {
  port->isOn = false;
  port->dark = {act.port, act.at, std::nullopt, cause != nullptr ? cause->schedule() : nullptr,
                false};
  const bool isRestart = cause != nullptr && cause->firing.act == Act::restart;
  port->change = changeOf(act, cause, isRestart ? Act::restart : Act::off);
  port->restart = isRestart ? cause : nullptr;
}

// A restart that switches on what it has switched off is one change.
void ModeWalk::switchOn(const JournalAct& act, const PlannedAct* cause, PortState* port) {
  port->isOn = true;
  port->dark.until = act.at;
  dark_.push_back(port->dark);
  if (endsRestart(cause, *port)) {
    std::optional<int64_t>& darkSec = changes_[port->change].darkSec;
    darkSec = std::max(darkSec.value_or(0), act.at - port->dark.from);
  } else {
    changeOf(act, cause, Act::on);
  }
  port->restart = nullptr;
}

// The change that the act belongs to, which has its port now.
size_t ModeWalk::changeOf(const JournalAct& act, const PlannedAct* cause, Act shown) {
  const Schedule* schedule = cause != nullptr ? cause->schedule() : nullptr;
  const bool isBootDelay = cause != nullptr && schedule == nullptr;
  const bool isEnd = cause != nullptr && cause->firing.isEnd;
  const std::tuple key(minuteOf(act.at), act.port.unit, schedule, isBootDelay, isEnd, shown);
  const auto [place, isNew] = places_.emplace(key, changes_.size());
  if (isNew) {
    changes_.push_back(
        {act.at, shown, isEnd, act.port.unit, {}, schedule, isBootDelay, std::nullopt});
  }
  changes_[place->second].ifNums.push_back(act.port.ifNum);
  return place->second;
}
