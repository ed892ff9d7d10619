// schedule add: a new schedule, and its twin.
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/schedule/changes.h"
#include "client/commands/schedule/schedule_options.h"
#include "forecast/check.h"

namespace {

// Before anything is stored: either both can be, or none is.
void checkTwin(const Schedule& schedule, Session& session) {
  const std::string why = whyNoTwin(schedule);
  if (!why.empty()) {
    throw Failure(kExitUsage,
                  "--twin is not for " + inQuotes(schedule.name.c_str()) + ": " + why + ".");
  }
  const std::vector<Schedule> all = askSchedules(session.daemon(), schedule.unit);
  if (const Schedule* taken = twinNamed(all, schedule)) {
    throw Failure(kExitUsage, "there is a schedule " + scheduleTitle(*taken) +
                                  " already, which is the twin's name: delete it, or choose "
                                  "another name. Nothing was stored.");
  }
}

Schedule createTwin(const Schedule& added, Session& session) try {
  return createSchedule(session.daemon(), twinOf(added));
} catch (const Failure& failure) {
  throw failure.retold(scheduleTitle(added) + " was added, but not its twin: " + failure.what());
}

int runScheduleAdd(const ScheduleWords& words, Session& session) {
  const std::vector<PoePort> ports =
      words.ports().empty() ? std::vector<PoePort>() : session.portsNamed(words.ports());
  const Schedule wanted = applied(words, Schedule(), ports, session.now(), session.zone());
  if (words.twin) {
    checkTwin(wanted, session);
  }

  const Schedule added = createSchedule(session.daemon(), wanted);
  std::optional<ScheduleChange> twin;
  if (words.twin) {
    twin = ScheduleChange{"added", createTwin(added, session)};
  }
  showChanges({"added", added}, twin, session);
  return kExitDone;
}

}  // namespace

SessionAction defineScheduleAdd(Arguments& app, Options&) {
  const auto words = std::make_shared<ScheduleWords>();
  app.add("NAME", words->name, "what it is called").required();
  addScheduleOptions(app, words.get());
  return [words](Session& session) { return runScheduleAdd(*words, session); };
}
