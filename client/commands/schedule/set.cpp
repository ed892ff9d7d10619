// schedule set: reads a schedule, changes what is given, writes the whole.
#include <cstring>

#include "cli/text.h"
#include "client/command.h"
#include "client/commands/schedule/changes.h"
#include "client/commands/schedule/schedule_options.h"
#include "forecast/check.h"

namespace {

struct SetOptions {
  std::string id;
  ScheduleWords words;
  bool isYes = false;
};

bool isSame(const Schedule& a, const Schedule& b) {
  return strcmp(a.name.c_str(), b.name.c_str()) == 0 && isSameContent(a, b);
}

// The twin as it should be, with the id of that which there is.
Schedule wantedTwin(const Schedule& schedule, const Schedule* present) {
  const std::string why = whyNoTwin(schedule);
  if (!why.empty()) {
    throw Failure(kExitUsage, "--twin is not for " + scheduleTitle(schedule) + ": " + why +
                                  ". Nothing was changed.");
  }
  Schedule wanted = twinOf(schedule);
  if (present != nullptr && present->type != wanted.type) {
    throw Failure(kExitUsage, scheduleTitle(*present) +
                                  " has the twin's name and another type: delete it, or give "
                                  "it another name. Nothing was changed.");
  }
  wanted.scheduleId = present != nullptr ? present->scheduleId : 0;
  return wanted;
}

// present: as it is now; null for none.
ScheduleChange store(const Schedule& wanted, const Schedule* present, Session& session) {
  if (present == nullptr) {
    return {"added", createSchedule(session.daemon(), wanted)};
  }
  return isSame(wanted, *present)
             ? ScheduleChange{"kept", *present}
             : ScheduleChange{"changed", updateSchedule(session.daemon(), wanted)};
}

ScheduleChange storeTwin(const Schedule& wanted, const Schedule* present,
                         const ScheduleChange& change, Session& session) try {
  return store(wanted, present, session);
} catch (const Failure& failure) {
  throw Failure(failure.status(), scheduleTitle(change.schedule) + " was " + change.verb +
                                      ", but not its twin: " + failure.what());
}

int runScheduleSet(const SetOptions& given, Session& session) {
  const ScheduleWords& words = given.words;
  if (!words.any() && !words.twin) {
    throw Failure(kExitUsage,
                  "what shall change? Nothing is given. See: quorin_poectl schedule set --help");
  }
  const std::vector<Schedule> all = session.schedules();
  const Schedule& present = findSchedule(all, given.id, session.options().unit);
  const Schedule* presentTwin = twinNamed(all, present);
  const std::vector<PoePort> ports =
      words.ports().empty() ? std::vector<PoePort>() : session.portsNamed(words.ports());
  const Schedule wanted = applied(words, present, ports, session.now(), session.zone());
  std::optional<Schedule> wantedOther;
  if (words.twin) {
    wantedOther = wantedTwin(wanted, presentTwin);
  }

  std::vector<Schedule> touched;
  if (!isSame(wanted, present)) {
    touched.push_back(present);
  }
  if (wantedOther && presentTwin != nullptr && !isSame(*wantedOther, *presentTwin)) {
    touched.push_back(*presentTwin);
  }
  confirmOpenWindows(touched, given.isYes, session);

  const ScheduleChange change = store(wanted, &present, session);
  std::optional<ScheduleChange> twin;
  if (wantedOther) {
    twin = storeTwin(*wantedOther, presentTwin, change, session);
  } else if (presentTwin != nullptr && change.isChange()) {
    session.output().warn("its twin " + scheduleTitle(*presentTwin) +
                          " stays as it was; with --twin it changes, too.");
  }
  showChanges(change, twin, session);
  return kExitDone;
}

}  // namespace

SessionAction defineScheduleSet(Arguments& app, Options&) {
  const auto given = std::make_shared<SetOptions>();
  app.add("ID", given->id, "number or name").required();
  app.add("--name", given->words.name, "another name");
  addScheduleOptions(app, &given->words);
  app.flag("-y,--yes", given->isYes, "do not ask when a window of it is open");
  return [given](Session& session) { return runScheduleSet(*given, session); };
}
