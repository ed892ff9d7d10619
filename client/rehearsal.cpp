#include "client/rehearsal.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <tuple>

#include "base/json.h"
#include "client/companion.h"

namespace {

constexpr int64_t kSecPerMin = 60;
constexpr int64_t kMsPerSec = 1000;
// How late an act may come that was foretold: others of its minute, with their pauses, come first.
constexpr int64_t kMaxLateSec = int64_t{15} * kSecPerMin;
// How far a dark time may be from what it was meant to be: in a lab's clock, which is in a hurry, a
// moment of this system is seconds, and each pause between ports takes such a moment too long.
constexpr int64_t kMaxJitterSec = 15;
constexpr int64_t kMaxJitterSecPerPause = 3;
constexpr const char* kSuperseded = "Superseded by a new occurrence";  // the daemon's words

using Port = std::pair<int32_t, uint32_t>;  // unit and ifNum

int64_t minuteOf(int64_t instant) {
  return instant / kSecPerMin;
}

// What must be done to one port.
struct Foretold {
  int64_t at = 0;
  Port port;
  Act act = Act::off;
  Firing firing;                       // a boot delay's is a restart
  const Schedule* schedule = nullptr;  // null: the boot delay
  bool isSecondHalf = false;           // switches on what a restart or a boot delay switched off
  int64_t pauses = 0;                  // between ports, before this one
  bool isMet = false;
};

// ---- what is foretold ----

// An all-day schedule that is due already is carried out at once.
std::vector<Upcoming> firingsOf(const Rehearsal& rehearsal, const Zone& zone) {
  std::vector<Upcoming> all;
  for (const Schedule& schedule : rehearsal.schedules) {
    if (!isAllDayDue(schedule, rehearsal.from, zone)) {
      continue;
    }
    Firing firing = firingsOn(schedule, zone.tickAt(rehearsal.from), zone).front();
    if (firing.at < rehearsal.from) {
      firing.at = rehearsal.from;
      all.push_back({firing, &schedule});
    }
  }
  const std::vector<Upcoming> later =
      firingsWithin(rehearsal.schedules, rehearsal.from - 1, rehearsal.until - 1, zone);
  all.insert(all.end(), later.begin(), later.end());
  return all;
}

// Only what brings power back is done port by port with pauses.
void foretellFiring(const Upcoming& upcoming, std::vector<Foretold>* all) {
  const Schedule& schedule = *upcoming.schedule;
  const Firing& firing = upcoming.firing;
  const bool isPaced = schedule.executionMode == EXECUTION_SEQUENTIAL;
  int64_t pauses = 0;
  for (const uint32_t ifNum : schedule.ifNums) {
    const Port port{schedule.unit, ifNum};
    const int64_t pausesSec = pauses * schedule.interPortDelaySec;
    if (firing.act == Act::off) {
      all->push_back({firing.at, port, Act::off, firing, &schedule});
    } else if (firing.act == Act::restart && schedule.offTimeSec > 0) {
      const int64_t back = firing.at + schedule.offTimeSec + pausesSec;
      all->push_back({firing.at, port, Act::off, firing, &schedule});
      all->push_back({back, port, Act::on, firing, &schedule, true, pauses});
    } else {
      all->push_back({firing.at + pausesSec, port, firing.act, firing, &schedule});
    }
    pauses += isPaced ? 1 : 0;
  }
}

void foretellBoot(const BootDelay& delay, const Rehearsal& rehearsal, std::vector<Foretold>* all) {
  const Firing firing{rehearsal.from, Act::restart, false};
  int64_t pauses = 0;
  for (const SensorPort& sensor : rehearsal.before) {
    if (sensor.unit != delay.unit || delay.delaySec <= 0 || !sensor.isOn()) {
      continue;
    }
    const Port port{sensor.unit, sensor.ifNum};
    all->push_back({rehearsal.from, port, Act::off, firing, nullptr});
    const int64_t back = rehearsal.from + delay.delaySec + pauses * delay.interPortDelaySec;
    all->push_back({back, port, Act::on, firing, nullptr, true, pauses});
    pauses += delay.sequential ? 1 : 0;
  }
}

std::vector<Foretold> foretoldBy(const std::vector<Upcoming>& firings, const Rehearsal& rehearsal) {
  std::vector<Foretold> all;
  for (const BootDelay& delay : rehearsal.bootDelays) {
    foretellBoot(delay, rehearsal, &all);
  }
  for (const Upcoming& each : firings) {
    foretellFiring(each, &all);
  }
  return all;
}

// ---- whose doing each act was ----

// For each act what it was foretold by, the nearest that no earlier act has met; null for none.
std::vector<const Foretold*> matched(const std::vector<PortAct>& acts,
                                     std::vector<Foretold>* foretold) {
  std::map<std::pair<Port, Act>, std::vector<Foretold*>> open;
  for (Foretold& each : *foretold) {
    open[{each.port, each.act}].push_back(&each);
  }
  std::vector<const Foretold*> causes;
  for (const PortAct& act : acts) {
    Foretold* nearest = nullptr;
    for (Foretold* each : open[{Port(act.unit, act.ifNum), act.act}]) {
      const int64_t late = std::abs(act.at - each->at);
      const bool isNearer = nearest == nullptr || late < std::abs(act.at - nearest->at);
      nearest = !each->isMet && late <= kMaxLateSec && isNearer ? each : nearest;
    }
    if (nearest != nullptr) {
      nearest->isMet = true;
    }
    causes.push_back(nearest);
  }
  return causes;
}

// ---- the walk through the acts ----

struct DarkStretch {
  Port port;
  int64_t from = 0;
  std::optional<int64_t> until;
  const Schedule* schedule = nullptr;
  bool wasSo = false;
};

// What a window wants of a port.
struct Window {
  const Schedule* schedule = nullptr;
  Act act = Act::off;
  int64_t from = 0;
  int64_t until = 0;
};

// Of a schedule one window is open at most: that which began last.
void noteFiring(const Upcoming& upcoming, const Zone& zone, std::vector<Window>* windows) {
  const auto& [firing, schedule] = upcoming;
  if (firing.act == Act::restart) {
    return;
  }
  const auto isSame = [each = schedule](const Window& other) { return other.schedule == each; };
  windows->erase(std::remove_if(windows->begin(), windows->end(), isSame), windows->end());
  if (!firing.isEnd) {
    windows->push_back({schedule, firing.act, firing.at, windowEnd(*schedule, firing.at, zone)});
  }
}

// That it was not so any more.
struct Undoing {
  Port port;
  int64_t at = 0;
  Window window;
  const Schedule* undoer = nullptr;  // null: the boot delay
};

// Follows the modes of all ports from act to act.
class Walk {
 public:
  Walk(const Rehearsal& rehearsal, const std::vector<Upcoming>& earlier, const Zone& zone)
      : zone_(zone) {
    std::vector<Window> windows;
    for (const Upcoming& each : earlier) {
      noteFiring(each, zone, &windows);
    }
    for (const SensorPort& sensor : rehearsal.before) {
      PortState& port = ports_[{sensor.unit, sensor.ifNum}];
      port.isOn = sensor.isOn();
      std::copy_if(windows.begin(), windows.end(), std::back_inserter(port.windows),
                   [&sensor](const Window& each) { return actsOn(*each.schedule, sensor); });
      if (!port.isOn) {
        port.dark = {{sensor.unit, sensor.ifNum}, rehearsal.from, std::nullopt, nullptr, true};
        for (const Upcoming& each : earlier) {
          const bool isOff = each.firing.act == Act::off && actsOn(*each.schedule, sensor);
          port.dark.schedule = isOff ? each.schedule : port.dark.schedule;
        }
      }
    }
  }

  void pass(const PortAct& act, const Foretold* cause) {
    const auto found = ports_.find({act.unit, act.ifNum});
    if (act.isRefused || found == ports_.end()) {
      return;
    }
    PortState& port = found->second;
    if (cause != nullptr && cause->schedule != nullptr) {
      noteFiring({cause->firing, cause->schedule}, zone_, &port.windows);
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

  std::vector<PortChange> changes() const { return changes_; }
  bool isOnInTheEnd(const Port& port) const { return ports_.at(port).isOn; }
  std::vector<Undoing> undoings() const {
    std::vector<Undoing> all;
    for (const auto& [where, port] : ports_) {
      all.insert(all.end(), port.undoings.begin(), port.undoings.end());
    }
    return all;
  }
  // Those that have ended, and those that last.
  std::vector<DarkStretch> darkStretches() const {
    std::vector<DarkStretch> all = dark_;
    for (const auto& [where, port] : ports_) {
      if (!port.isOn) {
        all.push_back(port.dark);
      }
    }
    return all;
  }

 private:
  struct PortState {
    bool isOn = true;
    DarkStretch dark;                   // while it is off
    const Foretold* restart = nullptr;  // that switched it off
    size_t change = 0;                  // of that restart
    std::vector<Window> windows;        // that are open
    std::vector<Undoing> undoings;
  };

  // Whether the act switches the port on after the restart that switched it off.
  static bool endsRestart(const Foretold* cause, const PortState& port) {
    return cause != nullptr && cause->isSecondHalf && port.restart != nullptr &&
           port.restart->schedule == cause->schedule && port.restart->firing.at == cause->firing.at;
  }

  // The port changes its mode. Before a window's end it can be put back to what the window wants; a
  // restart in it does that for a moment only. Of a port that was on a restart undoes nothing but
  // windows that have begun meanwhile.
  static void noteUndoing(const PortAct& act, const Foretold* cause, PortState* port) {
    std::vector<Undoing>& undoings = port->undoings;
    const bool isMomentary =
        act.act == Act::off && cause != nullptr && cause->firing.act == Act::restart;
    const auto isPutBack = [&act, isMomentary](const Undoing& each) {
      return !isMomentary && each.window.act == act.act && act.at < each.window.until;
    };
    undoings.erase(std::remove_if(undoings.begin(), undoings.end(), isPutBack), undoings.end());
    const int64_t since = endsRestart(cause, *port) ? minuteOf(port->dark.from) : 0;
    for (const Window& window : port->windows) {
      const bool isOpen = minuteOf(window.from) >= since && act.at < window.until;
      if (cause != nullptr && isOpen && window.act != act.act) {
        undoings.push_back({{act.unit, act.ifNum}, act.at, window, cause->schedule});
      }
    }
  }

  void switchOff(const PortAct& act, const Foretold* cause, PortState* port) {
    port->isOn = false;
    port->dark = {{act.unit, act.ifNum},
                  act.at,
                  std::nullopt,
                  cause != nullptr ? cause->schedule : nullptr,
                  false};
    const bool isRestart = cause != nullptr && cause->firing.act == Act::restart;
    port->change = changeOf(act, cause, isRestart ? Act::restart : Act::off);
    port->restart = isRestart ? cause : nullptr;
  }

  // As it was meant, where a lab's clock makes the difference.
  static int64_t darkOf(const PortState& port, const PortAct& back, const Foretold& cause) {
    const int64_t meant = cause.at - cause.firing.at;
    const int64_t was = back.at - port.dark.from;
    const int64_t maxJitter = kMaxJitterSec + kMaxJitterSecPerPause * cause.pauses;
    return std::abs(was - meant) <= maxJitter ? meant : was;
  }

  // A restart that switches on what it has switched off is one change.
  void switchOn(const PortAct& act, const Foretold* cause, PortState* port) {
    port->isOn = true;
    port->dark.until = act.at;
    dark_.push_back(port->dark);
    if (endsRestart(cause, *port)) {
      std::optional<int64_t>& darkSec = changes_[port->change].darkSec;
      darkSec = std::max(darkSec.value_or(0), darkOf(*port, act, *cause));
    } else {
      changeOf(act, cause, Act::on);
    }
    port->restart = nullptr;
  }

  // The change that the act belongs to, which has its port now.
  size_t changeOf(const PortAct& act, const Foretold* cause, Act shown) {
    const Schedule* schedule = cause != nullptr ? cause->schedule : nullptr;
    const bool isBootDelay = cause != nullptr && schedule == nullptr;
    const bool isEnd = cause != nullptr && cause->firing.isEnd;
    const std::tuple key(minuteOf(act.at), act.unit, schedule, isBootDelay, isEnd, shown);
    const auto [place, isNew] = places_.emplace(key, changes_.size());
    if (isNew) {
      changes_.push_back({act.at, shown, isEnd, act.unit, {}, schedule, isBootDelay, std::nullopt});
    }
    changes_[place->second].ifNums.push_back(act.ifNum);
    return place->second;
  }

  const Zone& zone_;
  std::map<Port, PortState> ports_;
  std::vector<PortChange> changes_;
  std::map<std::tuple<int64_t, int32_t, const Schedule*, bool, bool, Act>, size_t> places_;
  std::vector<DarkStretch> dark_;
};

// ---- what deserves a look ----

// Findings of one kind: those that differ in their ports only become one, and then those that
// differ in their time only.
class Findings {
 public:
  explicit Findings(FindingKind kind) : kind_(kind) {}

  void add(const Port& port, Finding finding) {
    finding.kind = kind_;
    finding.unit = port.first;
    const auto isSame = [&finding](const Finding& other) {
      return other.unit == finding.unit && minuteOf(other.from) == minuteOf(finding.from) &&
             other.until.has_value() == finding.until.has_value() &&
             minuteOf(other.until.value_or(0)) == minuteOf(finding.until.value_or(0)) &&
             isAlike(other, finding);
    };
    const auto same = std::find_if(all_.begin(), all_.end(), isSame);
    Finding& place = same != all_.end() ? *same : all_.emplace_back(finding);
    place.ifNums.push_back(port.second);
  }

  void appendTo(std::vector<Finding>* findings) {
    const auto isEarlier = [](const Finding& a, const Finding& b) { return a.from < b.from; };
    std::stable_sort(all_.begin(), all_.end(), isEarlier);
    const auto first = static_cast<std::ptrdiff_t>(findings->size());
    for (const Finding& each : all_) {
      const auto same =
          std::find_if(findings->begin() + first, findings->end(), [&each](const Finding& other) {
            return other.unit == each.unit && other.ifNums == each.ifNums && isAlike(other, each);
          });
      if (same != findings->end()) {
        ++same->times;
      } else {
        findings->push_back(each);
      }
    }
  }

 private:
  static bool isAlike(const Finding& a, const Finding& b) {
    return a.schedule == b.schedule && a.undoer == b.undoer && a.act == b.act &&
           a.wasSo == b.wasSo && a.detail == b.detail;
  }

  FindingKind kind_;
  std::vector<Finding> all_;
};

// What was dark all along is no finding unless a schedule has to do with it.
bool isNoticed(const DarkStretch& stretch, const std::vector<Schedule>& schedules) {
  if (!stretch.wasSo || stretch.until) {
    return true;
  }
  SensorPort port;
  std::tie(port.unit, port.ifNum) = stretch.port;
  return std::any_of(schedules.begin(), schedules.end(), [&port](const Schedule& schedule) {
    return schedule.enabled != 0 && actsOn(schedule, port);
  });
}

Findings darkFindings(const Rehearsal& rehearsal, const Walk& walk) {
  Findings findings(FindingKind::dark);
  for (const DarkStretch& stretch : walk.darkStretches()) {
    const int64_t darkSec = stretch.until.value_or(rehearsal.until) - stretch.from;
    if (minuteOf(darkSec) <= minuteOf(kLongDarkSec) || !isNoticed(stretch, rehearsal.schedules)) {
      continue;
    }
    Finding finding;
    finding.from = stretch.from;
    finding.until = stretch.until;
    finding.schedule = stretch.schedule;
    finding.wasSo = stretch.wasSo;
    findings.add(stretch.port, finding);
  }
  return findings;
}

// The schedule whose doing the port's last change was.
const Schedule* lastChangedBy(const Port& port, const std::vector<PortChange>& changes) {
  const auto has = [&port](const PortChange& change) {
    const auto& ifNums = change.ifNums;
    return change.unit == port.first &&
           std::find(ifNums.begin(), ifNums.end(), port.second) != ifNums.end();
  };
  const auto last = std::find_if(changes.rbegin(), changes.rend(), has);
  return last != changes.rend() ? last->schedule : nullptr;
}

Findings endFindings(const Rehearsal& rehearsal, const Walk& walk) {
  Findings findings(FindingKind::otherEnd);
  const std::vector<PortChange> changes = walk.changes();
  for (const SensorPort& before : rehearsal.before) {
    const Port port{before.unit, before.ifNum};
    if (walk.isOnInTheEnd(port) == before.isOn()) {
      continue;
    }
    Finding finding;
    finding.from = rehearsal.until;
    finding.act = before.isOn() ? Act::off : Act::on;
    finding.schedule = lastChangedBy(port, changes);
    findings.add(port, finding);
  }
  return findings;
}

// A window over midnight whose last night another schedule ends is as it should be.
bool isEndedByCompanion(const Run& run, const std::vector<Schedule>& schedules) {
  const Schedule* schedule = scheduleOf(run, schedules);
  return (run.errorMessage == kNeverEnded || run.errorMessage == kSuperseded) &&
         schedule != nullptr && companionAmong(schedules, *schedule) != nullptr;
}

bool wentWrong(const RunPort& port) {
  return port.status == "failed" || port.status == "skipped";
}

Findings runFindings(const Rehearsal& rehearsal) {
  Findings findings(FindingKind::run);
  for (const Run& run : rehearsal.runs) {
    if (isEndedByCompanion(run, rehearsal.schedules)) {
      continue;
    }
    const bool isWhole = !run.errorMessage.empty();
    for (const RunPort& port : run.ports) {
      if (!isWhole && !wentWrong(port)) {
        continue;
      }
      Finding finding;
      finding.from = run.startedAt.value_or(0);
      finding.schedule = scheduleOf(run, rehearsal.schedules);
      finding.detail = isWhole                     ? run.errorMessage
                       : port.errorMessage.empty() ? port.status
                                                   : port.errorMessage;
      findings.add({run.unit, port.ifNum}, finding);
    }
  }
  return findings;
}

// A window that lasts beyond the rehearsal may get its way again.
Findings undoneFindings(const Rehearsal& rehearsal, const Walk& walk) {
  Findings findings(FindingKind::undone);
  for (const Undoing& undoing : walk.undoings()) {
    if (undoing.window.until > rehearsal.until) {
      continue;
    }
    Finding finding;
    finding.from = undoing.at;
    finding.until = undoing.window.until;
    finding.schedule = undoing.window.schedule;
    finding.undoer = undoing.undoer;
    finding.act = undoing.window.act == Act::on ? Act::off : Act::on;
    findings.add(undoing.port, finding);
  }
  return findings;
}

// Whether a run tells already that this was not done.
bool isToldByRun(const Foretold& foretold, const std::vector<Run>& runs) {
  const auto isNear = [&foretold](std::optional<int64_t> at) {
    return at && std::abs(*at - foretold.at) <= kMaxLateSec;
  };
  return std::any_of(runs.begin(), runs.end(), [&](const Run& run) {
    const bool isOfSchedule = foretold.schedule != nullptr && run.unit == foretold.schedule->unit &&
                              run.scheduleId == foretold.schedule->scheduleId;
    return isOfSchedule && (isNear(run.startedAt) || isNear(run.completedAt)) &&
           std::any_of(run.ports.begin(), run.ports.end(), [&foretold](const RunPort& port) {
             return port.ifNum == foretold.port.second && wentWrong(port);
           });
  });
}

Findings notDoneFindings(const Rehearsal& rehearsal, const std::vector<Foretold>& foretold) {
  Findings findings(FindingKind::notDone);
  for (const Foretold& each : foretold) {
    if (each.isMet || each.at >= rehearsal.until || isToldByRun(each, rehearsal.runs)) {
      continue;
    }
    Finding finding;
    finding.from = each.at;
    finding.act = each.act;
    finding.schedule = each.schedule;
    findings.add(each.port, finding);
  }
  return findings;
}

// A lab may come a moment too far.
bool isTooLate(const PortAct& act, const Foretold* cause, const Rehearsal& rehearsal) {
  return act.at >= rehearsal.until && (cause == nullptr || !cause->isSecondHalf);
}

Findings notForetoldFindings(const Rehearsal& rehearsal,
                             const std::vector<const Foretold*>& causes) {
  Findings findings(FindingKind::notForetold);
  const std::vector<PortAct>& acts = rehearsal.acts;
  for (size_t i = 0; i < acts.size(); ++i) {
    if (causes[i] != nullptr || isTooLate(acts[i], nullptr, rehearsal)) {
      continue;
    }
    Finding finding;
    finding.from = acts[i].at;
    finding.act = acts[i].act;
    findings.add({acts[i].unit, acts[i].ifNum}, finding);
  }
  return findings;
}

// Whether the run has switched the port off and is going to switch it on.
bool holdsBack(const Run& run, const SensorPort& sensor) {
  const auto waits = [&sensor](const RunPort& port) {
    return port.ifNum == sensor.ifNum && port.status == "pending";
  };
  return run.switchesBack() && run.isOpen() && run.unit == sensor.unit &&
         std::any_of(run.ports.begin(), run.ports.end(), waits);
}

PortAct readAct(const cJSON* entry) {
  PortAct act;
  act.at = jsonInt64Member(entry, "timeMs", 0) / kMsPerSec;
  act.unit = jsonInt32Member(entry, "unit", 0);
  act.ifNum = static_cast<uint32_t>(jsonInt32Member(entry, "ifNum", 0));
  act.act = jsonInt32Member(entry, "value", 0) != 0 ? Act::on : Act::off;
  act.isRefused = jsonInt32Member(entry, "result", 0) != 0;
  return act;
}

}  // namespace

std::vector<SensorPort> portsAfter(std::vector<SensorPort> ports, const std::vector<Run>& openRuns,
                                   const std::vector<Upcoming>& firings) {
  for (SensorPort& port : ports) {
    const auto holdsPort = [&port](const Run& run) { return holdsBack(run, port); };
    if (std::any_of(openRuns.begin(), openRuns.end(), holdsPort)) {
      port.adminMode = kAdminOn;
    }
    for (const auto& [firing, schedule] : firings) {
      if (firing.act != Act::restart && actsOn(*schedule, port)) {
        port.adminMode = firing.act == Act::on ? kAdminOn : kAdminOff;
      }
    }
  }
  return ports;
}

std::vector<PortAct> readActs(const cJSON* journal, int64_t* last) {
  std::vector<PortAct> acts;
  const cJSON* entry = nullptr;
  cJSON_ArrayForEach(entry, jsonMember(journal, "entries")) {
    const char* operation = jsonTextMember(entry, "op");
    acts.push_back(readAct(entry));
    if (operation != nullptr && strcmp(operation, "openapiPoePsePortReset") == 0) {
      acts.back().act = Act::restart;
    }
    *last = std::max(*last, jsonInt64Member(entry, "seq", 0));
  }
  return acts;
}

Rehearsed judgeRehearsal(const Rehearsal& rehearsal, const Zone& zone) {
  std::vector<Foretold> foretold = foretoldBy(firingsOf(rehearsal, zone), rehearsal);
  const std::vector<const Foretold*> causes = matched(rehearsal.acts, &foretold);
  Walk walk(rehearsal,
            firingsWithin(rehearsal.schedules, rehearsal.from - kFiringMemorySec,
                          rehearsal.from - 1, zone),
            zone);
  for (size_t i = 0; i < rehearsal.acts.size(); ++i) {
    if (!isTooLate(rehearsal.acts[i], causes[i], rehearsal)) {
      walk.pass(rehearsal.acts[i], causes[i]);
    }
  }

  Rehearsed rehearsed{walk.changes(), {}};
  darkFindings(rehearsal, walk).appendTo(&rehearsed.findings);
  endFindings(rehearsal, walk).appendTo(&rehearsed.findings);
  runFindings(rehearsal).appendTo(&rehearsed.findings);
  undoneFindings(rehearsal, walk).appendTo(&rehearsed.findings);
  notDoneFindings(rehearsal, foretold).appendTo(&rehearsed.findings);
  notForetoldFindings(rehearsal, causes).appendTo(&rehearsed.findings);
  return rehearsed;
}
