// schedule check: what of schedules will not happen as one expects.
#include "client/commands/schedule/check.h"

#include <algorithm>

#include "cli/text.h"
#include "client/command.h"
#include "client/commands/schedule/changes.h"
#include "client/commands/schedule/schedule_word.h"

namespace {

// The sensors may fail where the schedules do not: the switch does not answer.
std::optional<std::vector<PoePort>> knownPorts(Session& session) try {
  return session.poePorts();
} catch (const DaemonError& error) {
  session.output().warn(std::string("the ports are not checked: ") + error.what());
  return std::nullopt;
}

// A schedule and what is said of it.
struct CheckedSchedule {
  Schedule schedule;
  ScheduleWarnings warnings;
};

std::string titleOf(const Schedule& schedule) {
  return scheduleTitle(schedule) + (schedule.enabled != 0 ? "" : ", disabled");
}

bool isWarned(const CheckedSchedule& checked) {
  return !checked.warnings.empty();
}

std::string checkText(const std::vector<CheckedSchedule>& checked, const Screen& screen) {
  std::string text;
  for (const CheckedSchedule& each : checked) {
    text += isWarned(each) ? titleOf(each.schedule) + "\n" : "";
    for (const ScheduleWarning& warning : each.warnings) {
      const std::string line = wrapped("  ! " + escaped(warning.text), screen.columns, 2);
      text += tinted(line, Tint::warning, screen) + "\n";
      text += warning.advice.empty()
                  ? ""
                  : wrapped("    " + escaped(warning.advice), screen.columns, 2) + "\n";
    }
  }
  const auto warned = std::count_if(checked.begin(), checked.end(), isWarned);
  return text + counted(checked.size(), "schedule") + " checked, " +
         (warned == 0 ? "nothing to warn of" : std::to_string(warned) + " with warnings") + "\n";
}

JsonPtr checkJson(const std::vector<CheckedSchedule>& checked) {
  const auto ofWarning = [](const ScheduleWarning& warning) {
    return jsonObject({{"kind", warning.kind}, {"text", warning.text}, {"advice", warning.advice}});
  };
  const auto ofSchedule = [&](const CheckedSchedule& each) {
    return jsonObject({{"unit", each.schedule.unit},
                       {"scheduleId", each.schedule.scheduleId},
                       {"scheduleName", each.schedule.name.c_str()},
                       {"warnings", jsonArray(each.warnings, ofWarning)}});
  };
  return jsonObject({{"schedules", jsonArray(checked, ofSchedule)}});
}

int runScheduleCheck(const ScheduleWord& word, Session& session) {
  const std::vector<Schedule> all = session.schedules();
  const Schedule* only = word.isGiven() ? &word.find(all, session.options().unit) : nullptr;
  const std::vector<ScheduleWarnings> warnings = warningsOf(
      all, only == nullptr ? TellClashes::once : TellClashes::ofBoth, session.view(), session);
  std::vector<CheckedSchedule> checked;
  for (size_t i = 0; i < all.size(); ++i) {
    if (only == nullptr || only == &all[i]) {
      checked.push_back({all[i], warnings[i]});
    }
  }

  session.print([&] { return checkText(checked, session.output().screen()); },
                [&] { return checkJson(checked); });
  return std::any_of(checked.begin(), checked.end(), isWarned) ? kExitNotAsWished : kExitDone;
}

}  // namespace

std::vector<ScheduleWarnings> warningsOf(const std::vector<Schedule>& schedules, TellClashes tell,
                                         const View& view, Session& session) {
  return checkSchedules({schedules, knownPorts(session), view, tell});
}

SessionAction defineScheduleCheck(Arguments& app, Options&) {
  const auto word = std::make_shared<ScheduleWord>();
  addScheduleWord(app, word.get(), "number or name; all when none is given");
  return [word](Session& session) { return runScheduleCheck(*word, session); };
}
