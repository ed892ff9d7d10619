// schedule delete.
#include "client/command.h"
#include "client/commands/schedule/changes.h"
#include "forecast/check.h"

namespace {

struct DeleteOptions {
  std::string id;
  bool isYes = false;
};

int runScheduleDelete(const DeleteOptions& given, Session& session) {
  const std::vector<Schedule> all = session.schedules();
  const Schedule& schedule = findSchedule(all, given.id, session.options().unit);
  confirmOpenWindows({schedule}, given.isYes, session);
  deleteSchedule(session.daemon(), schedule);
  if (const Schedule* twin = twinNamed(all, schedule)) {
    session.output().warn("its twin stays. To delete it, too: quorin_poectl schedule delete " +
                          std::to_string(twin->scheduleId));
  }
  showChanges({"deleted", schedule}, std::nullopt, session);
  return kExitDone;
}

}  // namespace

SessionAction defineScheduleDelete(Arguments& app, Options&) {
  const auto given = std::make_shared<DeleteOptions>();
  app.add("ID", given->id, "number or name").required();
  app.flag("-y,--yes", given->isYes, "do not ask when a window of it is open");
  return [given](Session& session) { return runScheduleDelete(*given, session); };
}
