// schedule add: a new schedule, and its companion.
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/schedule/changes.h"
#include "client/commands/schedule/words.h"
#include "forecast/check.h"

namespace {

// Before anything is stored: either both can be, or none is.
void checkCompanion(const Schedule& schedule, Session& session) {
  const std::string why = whyNoCompanion(schedule);
  if (!why.empty()) {
    throw Failure(kExitUsage,
                  "--companion is not for " + inQuotes(schedule.name.c_str()) + ": " + why + ".");
  }
  const std::vector<Schedule> all = askSchedules(session.daemon(), schedule.unit);
  if (const Schedule* taken = companionNamed(all, schedule)) {
    throw Failure(kExitUsage, "there is a schedule " + scheduleTitle(*taken) +
                                  " already, which is the companion's name: delete it, or choose "
                                  "another name. Nothing was stored.");
  }
}

Schedule createCompanion(const Schedule& added, Session& session) try {
  return createSchedule(session.daemon(), companionOf(added));
} catch (const Failure& failure) {
  throw Failure(failure.status(),
                scheduleTitle(added) + " was added, but not its companion: " + failure.what());
}

int runScheduleAdd(const ScheduleWords& words, Session& session) {
  const std::vector<PoePort> ports =
      words.ports().empty() ? std::vector<PoePort>() : session.portsNamed(words.ports());
  const Schedule wanted = applied(words, Schedule(), ports, session.now(), session.zone());
  if (words.companion) {
    checkCompanion(wanted, session);
  }

  const Schedule added = createSchedule(session.daemon(), wanted);
  std::optional<ScheduleChange> companion;
  if (words.companion) {
    companion = ScheduleChange{"added", createCompanion(added, session)};
  }
  showChanges({"added", added}, companion, session);
  return kExitDone;
}

}  // namespace

Action defineScheduleAdd(Arguments& app, Options&) {
  const auto words = std::make_shared<ScheduleWords>();
  app.add("NAME", words->name, "what it is called").required();
  addScheduleOptions(app, words.get());
  return [words](Session& session) { return runScheduleAdd(*words, session); };
}
