// schedule enable, schedule disable: schedules, and their twins.
#include "client/command.h"
#include "client/commands/schedule/changes.h"
#include "client/commands/schedule/schedule_word.h"

namespace {

struct EnableOptions {
  ManyScheduleWords schedules;
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
  const std::vector<ScheduleAndTwin> chosen =
      withTwins(given.schedules.find(all, session.options().unit), all, session);
  if (!isEnabled) {
    confirmAll(chosen, given.isYes, session);
  }
  const auto change = [&](const Schedule& each) { return store(each, isEnabled, session); };
  changeAll(chosen, change, session);
  return kExitDone;
}

SessionAction define(Arguments& app, bool isEnabled) {
  const auto given = std::make_shared<EnableOptions>();
  addScheduleWords(app, &given->schedules).required();
  if (!isEnabled) {
    app.flag("-y,--yes", given->isYes, "do not ask when a window of one is open");
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
