// schedule enable, schedule disable.
#include "client/command.h"
#include "client/commands/schedule/changes.h"
#include "forecast/check.h"

namespace {

struct EnableOptions {
  std::string id;
  bool isYes = false;
};

int runScheduleEnable(const EnableOptions& given, bool isEnabled, Session& session) {
  const std::vector<Schedule> all = session.schedules();
  Schedule schedule = findSchedule(all, given.id, session.options().unit);
  const Schedule* twin = twinNamed(all, schedule);
  if ((schedule.enabled != 0) == isEnabled) {
    showChanges({"kept", schedule}, std::nullopt, session);
    return kExitDone;
  }
  if (!isEnabled) {
    confirmOpenWindows({schedule}, given.isYes, session);
  }
  schedule.enabled = isEnabled ? 1 : 0;
  const Schedule stored = updateSchedule(session.daemon(), schedule);
  if (twin != nullptr && (twin->enabled != 0) != isEnabled) {
    session.output().warn("its twin " + scheduleTitle(*twin) + " stays " +
                          (isEnabled ? "disabled." : "enabled."));
  }
  showChanges({isEnabled ? "enabled" : "disabled", stored}, std::nullopt, session);
  return kExitDone;
}

SessionAction define(Arguments& app, bool isEnabled) {
  const auto given = std::make_shared<EnableOptions>();
  app.add("ID", given->id, "number or name").required();
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
