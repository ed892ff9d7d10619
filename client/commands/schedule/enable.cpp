// schedule enable, schedule disable: a schedule, and its twin.
#include "client/command.h"
#include "client/commands/schedule/changes.h"
#include "client/commands/schedule/schedule_word.h"
#include "forecast/check.h"

namespace {

struct EnableOptions {
  ScheduleWord schedule;
  bool isYes = false;
};

ScheduleChange store(Schedule schedule, bool isEnabled, Session& session) {
  if ((schedule.enabled != 0) == isEnabled) {
    return {"kept", schedule};
  }
  schedule.enabled = isEnabled ? 1 : 0;
  return {isEnabled ? "enabled" : "disabled", updateSchedule(session.daemon(), schedule)};
}

int runScheduleEnable(const EnableOptions& given, bool isEnabled, Session& session) {
  const std::vector<Schedule> all = session.schedules();
  const Schedule& schedule = given.schedule.find(all, session.options().unit);
  const Schedule* twin = twinToCarry(all, schedule, session);
  if (!isEnabled) {
    confirmOpenWindows(withTwin(schedule, twin), given.isYes, session);
  }
  const ScheduleChange change = store(schedule, isEnabled, session);
  const auto storeTwin = [&] { return store(*twin, isEnabled, session); };
  showChanges(change, changedTwin(twin != nullptr, change, storeTwin), session);
  return kExitDone;
}

SessionAction define(Arguments& app, bool isEnabled) {
  const auto given = std::make_shared<EnableOptions>();
  addScheduleWord(app, &given->schedule, "number or name").required();
  if (!isEnabled) {
    app.flag("-y,--yes", given->isYes, "do not ask when a window of it is open");
  }
  return [given, isEnabled](Session& session) {
    return runScheduleEnable(*given, isEnabled, session);
  };
}

}  // namespace

SessionAction defineScheduleEnable(Arguments& app, Options&) {
  return define(app, true);
}

SessionAction defineScheduleDisable(Arguments& app, Options&) {
  return define(app, false);
}
