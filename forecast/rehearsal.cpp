#include "forecast/rehearsal.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <tuple>

#include "base/json.h"
#include "forecast/planned_acts.h"
#include "forecast/port_course.h"
#include "forecast/twin.h"
#include "rules/run_words.h"

namespace {

constexpr int64_t kMsPerSec = 1000;

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

Findings darkFindings(const Rehearsal& rehearsal, const ModeWalk& walk) {
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

Findings endFindings(const Rehearsal& rehearsal, const ModeWalk& walk) {
  Findings findings(FindingKind::otherEnd);
  const std::vector<PortChange>& changes = walk.changes();
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
bool isEndedByTwin(const Run& run, const std::vector<Schedule>& schedules) {
  const Schedule* schedule = scheduleOf(run, schedules);
  return (run.errorMessage == kRunNeverEnded || run.errorMessage == kRunSuperseded) &&
         schedule != nullptr && twinAmong(schedules, *schedule) != nullptr;
}

bool wentWrong(const RunPort& port) {
  return port.status == "failed" || port.status == "skipped";
}

Findings runFindings(const Rehearsal& rehearsal) {
  Findings findings(FindingKind::run);
  for (const Run& run : rehearsal.runs) {
    if (isEndedByTwin(run, rehearsal.schedules)) {
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
Findings undoneFindings(const Rehearsal& rehearsal, const ModeWalk& walk) {
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
    if (each.isMet || each.isTold || each.at >= rehearsal.until) {
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
  std::vector<Foretold> foretold = foretoldBy(rehearsal, zone);
  for (Foretold& each : foretold) {
    each.isTold = isToldByRun(each, rehearsal.runs);
  }
  const std::vector<const Foretold*> causes = matched(rehearsal.acts, &foretold);
  ModeWalk walk(rehearsal, zone);
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
