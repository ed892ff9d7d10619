// schedule check: what of schedules will not happen as one expects.
#include "client/commands/schedule/check.h"

#include <algorithm>

#include "cli/text.h"
#include "client/command.h"
#include "client/commands/schedule/changes.h"

namespace {

// The sensors may fail where the schedules do not: the switch does not answer.
std::optional<std::vector<PoePort>> knownPorts(Session& session) try {
  return session.poePorts();
} catch (const DaemonError& error) {
  session.output().warn(std::string("the ports are not checked: ") + error.what());
  return std::nullopt;
}

std::string titleOf(const Schedule& schedule) {
  return scheduleTitle(schedule) + (schedule.enabled != 0 ? "" : ", disabled");
}

bool isWarned(const CheckedSchedule& checked) {
  return !checked.warnings.empty();
}

int runScheduleCheck(const std::string& id, Session& session) {
  const std::vector<Schedule> all = session.schedules();
  const Schedule* only = id.empty() ? nullptr : &findSchedule(all, id, session.options().unit);
  const std::vector<ScheduleWarnings> warnings = warningsOf(all, session);
  std::vector<CheckedSchedule> checked;
  for (size_t i = 0; i < all.size(); ++i) {
    if (only == nullptr || only == &all[i]) {
      checked.push_back({all[i], warnings[i]});
    }
  }

  const Output& output = session.output();
  if (session.options().json) {
    output.printJson(checkJson(checked));
  } else {
    output.print(checkText(checked, output.screen()));
  }
  return std::any_of(checked.begin(), checked.end(), isWarned) ? kExitNotAsWished : kExitDone;
}

}  // namespace

std::vector<ScheduleWarnings> warningsOf(const std::vector<Schedule>& schedules, Session& session) {
  return checkSchedules({schedules, knownPorts(session), session.names(), session.now(),
                         session.zone(), session.shownZone()});
}

std::string checkText(const std::vector<CheckedSchedule>& checked, const Screen& screen) {
  std::string text;
  for (const CheckedSchedule& each : checked) {
    text += isWarned(each) ? titleOf(each.schedule) + "\n" : "";
    for (const ScheduleWarning& warning : each.warnings) {
      text += "  " + tinted("! " + escaped(warning.text), Tint::warning, screen) + "\n";
      text += warning.advice.empty() ? "" : "    " + escaped(warning.advice) + "\n";
    }
  }
  const auto warned = std::count_if(checked.begin(), checked.end(), isWarned);
  return text + counted(checked.size(), "schedule") + " checked, " +
         (warned == 0 ? "nothing to warn of" : std::to_string(warned) + " with warnings") + "\n";
}

JsonPtr checkJson(const std::vector<CheckedSchedule>& checked) {
  const auto warningJson = [](const ScheduleWarning& warning) {
    JsonObject object;
    object.text("kind", warning.kind).text("text", warning.text.c_str());
    addTextOrNull(object, "advice", warning.advice);
    return object.take();
  };
  const auto scheduleJson = [&warningJson](const CheckedSchedule& each) {
    JsonObject object;
    object.number("unit", each.schedule.unit)
        .number("scheduleId", each.schedule.scheduleId)
        .text("scheduleName", each.schedule.name.c_str())
        .add("warnings", jsonArray(each.warnings, warningJson));
    return object.take();
  };
  JsonObject document;
  document.add("schedules", jsonArray(checked, scheduleJson));
  return document.take();
}

SessionAction defineScheduleCheck(Arguments& app, Options&) {
  const auto id = std::make_shared<std::string>();
  app.add("ID", *id, "number or name; all when none is given");
  return [id](Session& session) { return runScheduleCheck(*id, session); };
}
