// schedule delete: a schedule, and its twin.
#include "client/command.h"
#include "client/commands/schedule/changes.h"
#include "client/commands/schedule/schedule_word.h"
#include "forecast/check.h"

namespace {

struct DeleteOptions {
  ScheduleWord schedule;
  bool isYes = false;
};

int runScheduleDelete(const DeleteOptions& given, Session& session) {
  const std::vector<Schedule> all = session.schedules();
  const Schedule& schedule = given.schedule.find(all, session.options().unit);
  const Schedule* twin = twinToCarry(all, schedule, session);
  confirmOpenWindows(withTwin(schedule, twin), given.isYes, session);
  deleteSchedule(session.daemon(), schedule);
  const ScheduleChange change{"deleted", schedule};
  const auto deleteTwin = [&]() -> ScheduleChange {
    deleteSchedule(session.daemon(), *twin);
    return {"deleted", *twin};
  };
  showChanges(change, changedTwin(twin != nullptr, change, deleteTwin), session);
  return kExitDone;
}

}  // namespace

SessionAction defineScheduleDelete(Arguments& app, Options&) {
  const auto given = std::make_shared<DeleteOptions>();
  addScheduleWord(app, &given->schedule, "number or name").required();
  app.flag("-y,--yes", given->isYes, "do not ask when a window of it is open");
  return [given](Session& session) { return runScheduleDelete(*given, session); };
}
