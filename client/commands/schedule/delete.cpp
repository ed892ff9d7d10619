// schedule delete: schedules, and their twins; or all whose dates are over.
#include "client/command.h"
#include "client/commands/schedule/changes.h"
#include "client/commands/schedule/schedule_word.h"
#include "forecast/firings.h"
#include "forecast/twin.h"

namespace {

struct DeleteOptions {
  ManyScheduleWords schedules;
  bool isEnded = false;
  bool isYes = false;
};

// The last night of a schedule goes on in its twin: the two go when both are over.
std::vector<const Schedule*> endedOf(const std::vector<Schedule>& all, Session& session) {
  const TickTime today = session.zone().tickAt(session.now());
  std::vector<const Schedule*> ended;
  for (const Schedule& schedule : all) {
    const Schedule* twin = twinNamed(all, schedule);
    if (areDatesOver(schedule, today) && (twin == nullptr || areDatesOver(*twin, today))) {
      ended.push_back(&schedule);
    }
  }
  return ended;
}

int runScheduleDelete(const DeleteOptions& given, Session& session) {
  const std::vector<Schedule> all = session.schedules();
  const std::vector<const Schedule*> meant =
      given.isEnded ? endedOf(all, session) : given.schedules.find(all, session.options().unit);
  if (given.isEnded && meant.empty()) {
    session.output().say("there is no schedule whose dates are over");
  }
  const std::vector<ScheduleAndTwin> chosen = withTwins(meant, all, session);
  confirmAll(chosen, given.isYes, session);
  const auto change = [&](const Schedule& each) -> ScheduleChange {
    deleteSchedule(session.daemon(), each);
    return {"deleted", each};
  };
  changeAll(chosen, change, session);
  return kExitDone;
}

}  // namespace

SessionAction defineScheduleDelete(Arguments& app, Options&) {
  const auto given = std::make_shared<DeleteOptions>();
  addScheduleWords(app, &given->schedules);
  app.flag("--ended", given->isEnded, "all whose last date is past");
  app.flag("-y,--yes", given->isYes, "do not ask when a window of one is open");
  app.refuse([given] {
    return given->isEnded == given->schedules.texts.empty()
               ? ""
               : "which schedules? Name some, or those whose dates are over with --ended";
  });
  return [given](Session& session) { return runScheduleDelete(*given, session); };
}
