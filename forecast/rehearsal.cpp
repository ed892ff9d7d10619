#include "forecast/rehearsal.h"

#include <algorithm>
#include <cstdlib>

#include "cli/json.h"
#include "forecast/mode_walk.h"
#include "forecast/planned_acts.h"
#include "forecast/twin.h"
#include "rules/run_words.h"

namespace {

// Findings of one kind: those that differ in their ports only become one, and then those that
// differ in their time only.
class Findings {
 public:
  explicit Findings(FindingKind kind) : kind_(kind) {}

  void add(const PoePort& port, Finding finding) {
    finding.kind = kind_;
    finding.unit = port.unit;
    const auto isSame = [&finding](const Finding& other) {
      return other.unit == finding.unit && minuteOf(other.from) == minuteOf(finding.from) &&
             other.until.has_value() == finding.until.has_value() &&
             minuteOf(other.until.value_or(SwitchTime())) ==
                 minuteOf(finding.until.value_or(SwitchTime())) &&
             isAlike(other, finding);
    };
    const auto same = std::find_if(all_.begin(), all_.end(), isSame);
    Finding& place = same != all_.end() ? *same : all_.emplace_back(finding);
    place.ifNums.push_back(port.ifNum);
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
  return std::any_of(schedules.begin(), schedules.end(), [&stretch](const Schedule& schedule) {
    return schedule.enabled != 0 && actsOn(schedule, stretch.port);
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
const Schedule* lastChangedBy(const PoePort& port, const std::vector<PortChange>& changes) {
  const auto has = [&port](const PortChange& change) {
    const auto& ifNums = change.ifNums;
    return change.unit == port.unit &&
           std::find(ifNums.begin(), ifNums.end(), port.ifNum) != ifNums.end();
  };
  const auto last = std::find_if(changes.rbegin(), changes.rend(), has);
  return last != changes.rend() ? last->schedule : nullptr;
}

Findings endFindings(const Rehearsal& rehearsal, const ModeWalk& walk) {
  Findings findings(FindingKind::otherEnd);
  const std::vector<PortChange>& changes = walk.changes();
  for (const SensorPort& before : rehearsal.before) {
    if (walk.isOnInTheEnd(before) == before.isOn() || walk.isInWindow(before)) {
      continue;
    }
    Finding finding;
    finding.from = rehearsal.until;
    finding.act = before.isOn() ? Act::off : Act::on;
    finding.schedule = lastChangedBy(before, changes);
    findings.add(before, finding);
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
  return port.status == PortStatus::failed || port.status == PortStatus::skipped;
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
      finding.from = SwitchTime(run.startedAt.value_or(SystemTime()));  // a lab has one clock
      finding.schedule = scheduleOf(run, rehearsal.schedules);
      finding.detail = isWhole                     ? run.errorMessage
                       : port.errorMessage.empty() ? port.status.text
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
bool isReportedByRun(const PlannedAct& planned, const std::vector<Run>& runs) {
  const auto isNear = [&planned](std::optional<SystemTime> at) {
    return at && std::abs(int64_t{*at} - int64_t{planned.at}) <= kMaxLateSec;
  };
  return std::any_of(runs.begin(), runs.end(), [&](const Run& run) {
    const Schedule* schedule = planned.schedule();
    const RunPort* port = run.port(planned.port.ifNum);
    return schedule != nullptr && run.unit == schedule->unit &&
           run.scheduleId == schedule->scheduleId && port != nullptr && wentWrong(*port) &&
           (isNear(run.startedAt) || isNear(run.completedAt));
  });
}

Findings notDoneFindings(const Rehearsal& rehearsal, const std::vector<PlannedAct>& planned) {
  Findings findings(FindingKind::notDone);
  for (const PlannedAct& each : planned) {
    if (each.isMet || each.isReported || each.at >= rehearsal.until) {
      continue;
    }
    Finding finding;
    finding.from = each.at;
    finding.act = each.act;
    finding.schedule = each.schedule();
    findings.add(each.port, finding);
  }
  return findings;
}

// After the end the lab goes on until restarts have ended.
bool isTooLate(const JournalAct& act, const PlannedAct* cause, const Rehearsal& rehearsal) {
  return act.at >= rehearsal.until && (cause == nullptr || !cause->isSecondHalf);
}

Findings unplannedFindings(const Rehearsal& rehearsal,
                           const std::vector<const PlannedAct*>& causes) {
  Findings findings(FindingKind::unplanned);
  const std::vector<JournalAct>& acts = rehearsal.acts;
  for (size_t i = 0; i < acts.size(); ++i) {
    if (causes[i] != nullptr || isTooLate(acts[i], nullptr, rehearsal)) {
      continue;
    }
    Finding finding;
    finding.from = acts[i].at;
    finding.act = acts[i].act;
    findings.add(acts[i].port, finding);
  }
  return findings;
}

// Whether the run has switched the port off and is going to switch it on.
bool holdsBack(const Run& run, const SensorPort& sensor) {
  const RunPort* port = run.unit == sensor.unit ? run.port(sensor.ifNum) : nullptr;
  return run.switchesBack() && run.isOpen() && port != nullptr &&
         port->status == PortStatus::pending;
}

}  // namespace

std::vector<SensorPort> portsAfter(std::vector<SensorPort> ports,
                                   const std::vector<Run>& openRuns) {
  for (SensorPort& port : ports) {
    const auto holdsPort = [&port](const Run& run) { return holdsBack(run, port); };
    if (std::any_of(openRuns.begin(), openRuns.end(), holdsPort)) {
      port.adminMode = modeWord(true);
    }
  }
  return ports;
}

RehearsalReport judgeRehearsal(const Rehearsal& rehearsal, const Zone& zone) {
  std::vector<PlannedAct> planned = plannedActs(rehearsal, zone);
  for (PlannedAct& each : planned) {
    each.isReported = isReportedByRun(each, rehearsal.runs);
  }
  const std::vector<const PlannedAct*> causes = matched(rehearsal.acts, &planned);
  ModeWalk walk(rehearsal, zone);
  for (size_t i = 0; i < rehearsal.acts.size(); ++i) {
    if (!isTooLate(rehearsal.acts[i], causes[i], rehearsal)) {
      walk.pass(rehearsal.acts[i], causes[i]);
    }
  }

  RehearsalReport report{walk.changes(), {}};
  darkFindings(rehearsal, walk).appendTo(&report.findings);
  endFindings(rehearsal, walk).appendTo(&report.findings);
  runFindings(rehearsal).appendTo(&report.findings);
  undoneFindings(rehearsal, walk).appendTo(&report.findings);
  notDoneFindings(rehearsal, planned).appendTo(&report.findings);
  unplannedFindings(rehearsal, causes).appendTo(&report.findings);
  return report;
}
