#include "client/commands/schedule/changes.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>

#include "cli/confirm.h"
#include "cli/failure.h"
#include "cli/mapped.h"
#include "cli/text.h"
#include "client/commands/schedule/check.h"
#include "client/commands/schedule/schedules.h"
#include "forecast/firings.h"

namespace {

bool isOpenWindowOf(const Run& run, const Schedule& schedule) {
  return run.scheduleId == schedule.scheduleId && run.scheduleType != ScheduleType::restart;
}

std::string openWindowText(const Run& run, const Schedule& schedule, WindowFate fate,
                           const View& view) {
  const std::string since = run.startedAt ? " since " + view.near(*run.startedAt) : "";
  const char* state = schedule.type == ScheduleType::powerOn ? "on" : "off";
  return "a window of " + scheduleTitle(schedule) + " is open" + since + " (run " +
         std::to_string(run.runId) + "): its ports " + view.names.ranges(schedule.ifNums) +
         (fate == WindowFate::stays ? " stay " : " may stay ") + state + ".";
}

std::string changeLine(const ScheduleChange& change, const View& view) {
  const Schedule& schedule = change.schedule;
  std::string line = std::string(change.verb) + " " + scheduleTitle(schedule);
  if (strcmp(change.verb, "deleted") == 0) {
    return line + "\n";
  }
  const std::optional<Firing> next = nextFiring(schedule, view.now(), view.zone);
  line += ": " + escaped(actionText(schedule)) + " " + escaped(daysText(schedule)) + ", " +
          view.names.ranges(schedule.ifNums) + "; ";
  if (isAllDayDue(schedule, view.now(), view.zone)) {
    line += std::string(schedule.type == ScheduleType::powerOn ? "on" : "off") +
            " within a minute, if it was not today; ";
  }
  return line +
         (next ? std::string("next ") + actText(next->act) + " " + view.near(next->at) + ", in " +
                     secondsText(next->at - view.now())
               : "never: " + escaped(whyNever(schedule, view.now(), view.zone))) +
         "\n";
}

// What was done to a schedule, and to its twin.
struct PairChange {
  ScheduleChange first;
  std::optional<ScheduleChange> twin;
};

JsonPtr changesJson(const PairChange& change, const View& view) {
  const std::optional<ScheduleChange>& twin = change.twin;
  const bool isTwinChanged = twin && twin->isChange();
  return jsonObject({{"schedule", scheduleDocument(change.first.schedule, view)},
                     {"twin", twin ? scheduleDocument(twin->schedule, view) : JsonValue("")},
                     {"changed", change.first.isChange() || isTwinChanged}});
}

// For a failure after them.
std::string doneText(const std::vector<PairChange>& done) {
  std::string text;
  for (const PairChange& each : done) {
    text += scheduleTitle(each.first.schedule) + " was " + each.first.verb + ". ";
  }
  return text;
}

bool isUnderWay(const Schedule& schedule, const View& view) {
  const TickTime today = view.zone.tickAt(view.now());
  for (const int32_t day : {-1, 0}) {
    for (const Firing& each : firingsOn(schedule, dayAfter(today, day), view.zone)) {
      const bool isStart = !each.isEnd && each.act != Act::restart && schedule.allDay == 0;
      if (isStart && each.at <= view.now() &&
          windowEnd(schedule, each.at, view.zone) > view.now()) {
        return true;
      }
    }
  }
  return false;
}

// The daemon begins a window in the minute of its start alone, and ends it in that of its end.
std::string openWindowNote(const ScheduleChange& change, const View& view) {
  const Schedule& schedule = change.schedule;
  const bool isBegun = strcmp(change.verb, "added") == 0 || strcmp(change.verb, "enabled") == 0;
  const std::optional<Firing> end = isBegun && isUnderWay(schedule, view)
                                        ? nextFiring(schedule, view.now(), view.zone)
                                        : std::nullopt;
  if (!end || !end->isEnd) {
    return "";
  }
  const std::optional<Firing> start = nextFiring(schedule, end->at, view.zone);
  return scheduleTitle(schedule) + ": its window is under way and is not begun now: at " +
         view.near(end->at) + " it switches its ports " + actText(end->act) + " all the same" +
         (start ? ", and its first whole window begins " + view.near(start->at) : "") + ".";
}

void warnAfter(const std::vector<Schedule>& changed, bool isNeverTold, Session& session) {
  const std::vector<Schedule> all = session.schedules();
  const std::vector<ScheduleWarnings> warnings =
      warningsOf(all, TellClashes::ofBoth, session.view(), session);
  for (size_t i = 0; i < all.size(); ++i) {
    const bool isChanged = std::any_of(changed.begin(), changed.end(), [&](const Schedule& each) {
      return each.unit == all[i].unit && strcmp(each.name.c_str(), all[i].name.c_str()) == 0;
    });
    for (const ScheduleWarning& warning : isChanged ? warnings[i] : ScheduleWarnings()) {
      if (!isNeverTold || strcmp(warning.kind, "never") != 0) {
        session.output().warn(scheduleTitle(all[i]) + ": " + escaped(warning.text) +
                              (warning.advice.empty() ? "" : "\n  " + escaped(warning.advice)));
      }
    }
  }
}

void showAll(const std::vector<PairChange>& changes, Session& session,
             const std::function<JsonPtr(const View&)>& document) {
  const View view = session.view();
  const auto text = [&] {
    std::string lines;
    for (const PairChange& each : changes) {
      lines += changeLine(each.first, view) + (each.twin ? changeLine(*each.twin, view) : "");
    }
    return wrapped(lines, view.screen.columns, 2);
  };
  session.print(text, [&] { return document(view); });

  std::vector<Schedule> changed;
  for (const PairChange& pair : changes) {
    for (const ScheduleChange& each : {pair.first, pair.twin.value_or(pair.first)}) {
      if (each.isChange()) {
        changed.push_back(each.schedule);
      }
    }
    warnOfOpenWindow(pair.first, session);
  }
  warnOfChanged(changed, session);
}

}  // namespace

std::string scheduleTitle(const Schedule& schedule) {
  return std::to_string(schedule.scheduleId) + " " + inQuotes(schedule.name.c_str()) + " of unit " +
         std::to_string(schedule.unit);
}

void confirmOpenWindows(const std::vector<Schedule>& touched, WindowFate fate, bool isYes,
                        Session& session) {
  std::map<int32_t, std::vector<Run>> openRuns;  // by unit, each asked once
  std::vector<std::string> reasons;
  for (const Schedule& schedule : touched) {
    if (openRuns.count(schedule.unit) == 0) {
      openRuns[schedule.unit] = askOpenRuns(session.daemon(), schedule.unit);
    }
    for (const Run& run : openRuns[schedule.unit]) {
      if (isOpenWindowOf(run, schedule)) {
        reasons.push_back(openWindowText(run, schedule, fate, session.view()));
      }
    }
  }
  if (!reasons.empty()) {
    isYes ? session.output().warn(joined(reasons, "\n")) : confirm(joined(reasons, "\n"), isYes);
  }
}

bool ScheduleChange::isChange() const {
  return strcmp(verb, "kept") != 0;
}

const Schedule* twinToCarry(const std::vector<Schedule>& all, const Schedule& schedule,
                            Session& session) {
  const Schedule* twin = twinNamed(all, schedule);
  if (twin == nullptr || fitsAsTwin(*twin, schedule)) {
    return twin;
  }
  session.output().warn(scheduleTitle(*twin) +
                        " has its twin's name, but does not end it: it stays as it is.");
  return nullptr;
}

std::vector<ScheduleAndTwin> withTwins(const std::vector<const Schedule*>& chosen,
                                       const std::vector<Schedule>& all, Session& session) {
  const auto pairs = mapped(chosen, [&](const Schedule* schedule) {
    return ScheduleAndTwin{schedule, twinToCarry(all, *schedule, session)};
  });
  const auto goesAlong = [&](const ScheduleAndTwin& each) {
    return std::any_of(pairs.begin(), pairs.end(),
                       [&](const ScheduleAndTwin& other) { return other.twin == each.schedule; });
  };
  std::vector<ScheduleAndTwin> once;
  std::copy_if(pairs.begin(), pairs.end(), std::back_inserter(once),
               [&](const ScheduleAndTwin& each) { return !goesAlong(each); });
  return once;
}

void confirmAll(const std::vector<ScheduleAndTwin>& chosen, bool isYes, Session& session) {
  std::vector<Schedule> touched;
  for (const ScheduleAndTwin& each : chosen) {
    touched.push_back(*each.schedule);
    if (each.twin != nullptr) {
      touched.push_back(*each.twin);
    }
  }
  confirmOpenWindows(touched, WindowFate::stays, isYes, session);
}

void changeAll(const std::vector<ScheduleAndTwin>& chosen,
               const std::function<ScheduleChange(const Schedule&)>& change, Session& session) {
  std::vector<PairChange> done;
  for (const ScheduleAndTwin& each : chosen) {
    try {
      const ScheduleChange first = change(*each.schedule);
      const auto changeTwin = [&] { return change(*each.twin); };
      done.push_back({first, changedTwin(each.twin != nullptr, first, changeTwin)});
    } catch (const Failure& failure) {
      throw failure.retold(doneText(done) + failure.what());
    }
  }
  showAll(done, session, [&](const View& view) {
    return jsonObject({{"changes", jsonArray(done, [&](const PairChange& each) {
                          return changesJson(each, view);
                        })}});
  });
}

std::optional<ScheduleChange> changedTwin(bool hasTwin, const ScheduleChange& done,
                                          const std::function<ScheduleChange()>& change) try {
  return hasTwin ? std::make_optional(change()) : std::nullopt;
} catch (const Failure& failure) {
  throw failure.retold(scheduleTitle(done.schedule) + " was " + done.verb +
                       ", but not its twin: " + failure.what());
}

bool isSameSchedule(const Schedule& a, const Schedule& b) {
  return strcmp(a.name.c_str(), b.name.c_str()) == 0 && isSameContent(a, b);
}

void requireUnchanged(const std::vector<Schedule>& read, Session& session) {
  const std::vector<Schedule> all = read.empty() ? read : session.schedules();
  for (const Schedule& schedule : read) {
    const bool isUnchanged = std::any_of(all.begin(), all.end(), [&](const Schedule& now) {
      return now.unit == schedule.unit && now.scheduleId == schedule.scheduleId &&
             isSameSchedule(now, schedule);
    });
    if (!isUnchanged) {
      throw Failure(kExitNotAsWished, scheduleTitle(schedule) +
                                          " was changed by somebody else meanwhile. Nothing was "
                                          "changed here: look at it again.");
    }
  }
}

void showChanges(const ScheduleChange& change, const std::optional<ScheduleChange>& twin,
                 Session& session) {
  const PairChange both{change, twin};
  showAll({both}, session, [&](const View& view) { return changesJson(both, view); });
}

void warnOfOpenWindow(const ScheduleChange& change, Session& session) {
  const std::string note = openWindowNote(change, session.view());
  if (!note.empty()) {
    session.output().warn(note);
  }
}

void warnOfChanged(std::vector<Schedule> changed, Session& session, bool isNeverTold) {
  changed.erase(std::remove_if(changed.begin(), changed.end(),
                               [](const Schedule& each) { return each.enabled == 0; }),
                changed.end());
  if (changed.empty()) {
    return;
  }
  try {
    warnAfter(changed, isNeverTold, session);
  } catch (const Failure& failure) {
    session.output().warn(std::string("it is done, but could not be checked: ") + failure.what());
  }
}
