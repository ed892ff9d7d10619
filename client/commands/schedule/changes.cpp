#include "client/commands/schedule/changes.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <map>

#include "cli/confirm.h"
#include "cli/failure.h"
#include "cli/text.h"
#include "client/commands/schedule/check.h"
#include "client/commands/schedule/schedules.h"
#include "rules/schedule_json.h"

namespace {

JsonPtr paramsOf(const Schedule& schedule, bool withId, bool withContent) {
  JsonObject params;
  params.number("unit", schedule.unit);
  if (withId) {
    params.number("scheduleId", schedule.scheduleId);
  }
  if (withContent) {
    params.add("schedule", scheduleToJson(schedule));
  }
  return params.take();
}

bool isOpenWindowOf(const Run& run, const Schedule& schedule) {
  return run.scheduleId == schedule.scheduleId && run.scheduleType != "restart";
}

std::string openWindowText(const Run& run, const Schedule& schedule, Session& session) {
  const std::string since =
      run.startedAt ? " since " + nearText(*run.startedAt, systemNow(), session.shownZone()) : "";
  const char* state = schedule.type == ScheduleType::powerOn ? "on" : "off";
  return "a window of " + scheduleTitle(schedule) + " is open" + since + " (run " +
         std::to_string(run.runId) + "): its ports " + session.names().ranges(schedule.ifNums) +
         " may stay " + state + ".";
}

std::string changeLine(const ScheduleChange& change, Session& session) {
  const Schedule& schedule = change.schedule;
  std::string line = std::string(change.verb) + " " + scheduleTitle(schedule);
  if (strcmp(change.verb, "deleted") == 0) {
    return line + "\n";
  }
  const int64_t now = session.now();
  const std::optional<Firing> next = nextFiring(schedule, now, session.zone());
  line += ": " + escaped(actionText(schedule)) + " " + escaped(daysText(schedule)) + ", " +
          session.names().ranges(schedule.ifNums) + "; ";
  if (isAllDayDue(schedule, now, session.zone())) {
    line += std::string(schedule.type == ScheduleType::powerOn ? "on" : "off") +
            " within a minute, if it was not today; ";
  }
  return line +
         (next ? std::string("next ") + actText(next->act) + " " +
                     nearText(next->at, now, session.shownZone()) + ", in " +
                     secondsText(next->at - now)
               : "never: " + escaped(whyNever(schedule, now, session.zone()))) +
         "\n";
}

JsonPtr changesJson(const ScheduleChange& change, const std::optional<ScheduleChange>& twin,
                    Session& session) {
  const ShownAt at{session.now(), session.zone(), session.shownZone(), ""};
  const bool isTwinChanged = twin && twin->isChange();
  JsonObject document;
  document.add("schedule", scheduleDocument(change.schedule, session.names(), at));
  twin ? document.add("twin", scheduleDocument(twin->schedule, session.names(), at))
       : document.null("twin");
  document.boolean("changed", change.isChange() || isTwinChanged);
  return document.take();
}

// That it never fires stands in its line.
void warnAfter(const std::vector<Schedule>& changed, Session& session) {
  if (changed.empty()) {
    return;
  }
  const std::vector<Schedule> all = session.schedules();
  const std::vector<ScheduleWarnings> warnings = warningsOf(all, session);
  for (size_t i = 0; i < all.size(); ++i) {
    const bool isChanged = std::any_of(changed.begin(), changed.end(), [&](const Schedule& each) {
      return each.scheduleId == all[i].scheduleId;
    });
    for (const ScheduleWarning& warning : isChanged ? warnings[i] : ScheduleWarnings()) {
      if (strcmp(warning.kind, "never") != 0) {
        session.output().warn(scheduleTitle(all[i]) + ": " + escaped(warning.text) +
                              (warning.advice.empty() ? "" : "\n  " + escaped(warning.advice)));
      }
    }
  }
}

}  // namespace

Schedule createSchedule(Daemon& daemon, const Schedule& schedule) {
  const JsonPtr result = daemon.ask("schedule.create", paramsOf(schedule, false, true));
  return readSchedule(result.get(), schedule.unit);
}

Schedule updateSchedule(Daemon& daemon, const Schedule& schedule) {
  const JsonPtr result = daemon.ask("schedule.update", paramsOf(schedule, true, true));
  return readSchedule(result.get(), schedule.unit);
}

void deleteSchedule(Daemon& daemon, const Schedule& schedule) {
  (void)daemon.ask("schedule.delete", paramsOf(schedule, true, false));
}

std::string scheduleTitle(const Schedule& schedule) {
  return std::to_string(schedule.scheduleId) + " " + inQuotes(schedule.name.c_str()) + " of unit " +
         std::to_string(schedule.unit);
}

void confirmOpenWindows(const std::vector<Schedule>& touched, bool isYes, Session& session) {
  std::map<int32_t, std::vector<Run>> openRuns;  // by unit, each asked once
  std::vector<std::string> reasons;
  for (const Schedule& schedule : touched) {
    if (openRuns.count(schedule.unit) == 0) {
      openRuns[schedule.unit] = askOpenRuns(session.daemon(), schedule.unit, systemNow());
    }
    for (const Run& run : openRuns[schedule.unit]) {
      if (isOpenWindowOf(run, schedule)) {
        reasons.push_back(openWindowText(run, schedule, session));
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

void showChanges(const ScheduleChange& change, const std::optional<ScheduleChange>& twin,
                 Session& session) {
  const Output& output = session.output();
  if (session.options().json) {
    output.printJson(changesJson(change, twin, session));
  } else {
    output.print(changeLine(change, session) + (twin ? changeLine(*twin, session) : ""));
  }
  output.flush();

  std::vector<Schedule> changed;
  for (const ScheduleChange& each : {change, twin.value_or(change)}) {
    if (each.isChange() && each.schedule.enabled != 0) {
      changed.push_back(each.schedule);
    }
  }
  try {
    warnAfter(changed, session);
  } catch (const Failure& failure) {
    session.output().warn(std::string("it is done, but could not be checked: ") + failure.what());
  }
}
