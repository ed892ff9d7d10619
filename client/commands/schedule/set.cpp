// schedule set: reads a schedule, changes what is given, writes the whole.
#include <cstring>

#include "cli/text.h"
#include "client/command.h"
#include "client/commands/schedule/changes.h"
#include "client/commands/schedule/schedule_options.h"
#include "client/commands/schedule/schedule_word.h"
#include "forecast/check.h"

namespace {

struct SetOptions {
  ScheduleWord schedule;
  ScheduleWords words;
  bool isYes = false;
};

// The twin as it should be, with the id of that which there is. isOwn: that one is a twin already.
Schedule wantedTwin(const Schedule& schedule, const Schedule* present, bool isOwn) {
  const std::string why = whyNoTwin(schedule);
  if (!why.empty()) {
    throw Failure(kExitUsage, "no twin is for " + scheduleTitle(schedule) + ": " + why +
                                  ". Nothing was changed." +
                                  (isOwn ? " It has one: delete that first." : ""));
  }
  Schedule wanted = twinOf(schedule);
  if (present != nullptr && present->type != wanted.type && !isOwn) {
    throw Failure(kExitUsage, scheduleTitle(*present) +
                                  " has the twin's name and another type: delete it, or give "
                                  "it another name. Nothing was changed.");
  }
  wanted.scheduleId = present != nullptr ? present->scheduleId : 0;
  return wanted;
}

// present: as it is now; null for none. wanted: none for one that is needed no more. The daemon
// changes no schedule's type.
ScheduleChange store(const std::optional<Schedule>& wanted, const Schedule* present,
                     Session& session) {
  if (present != nullptr && (!wanted || wanted->type != present->type)) {
    deleteSchedule(session.daemon(), *present);
    return wanted ? ScheduleChange{"changed", createSchedule(session.daemon(), *wanted)}
                  : ScheduleChange{"deleted", *present};
  }
  if (present == nullptr) {
    return {"added", createSchedule(session.daemon(), *wanted)};
  }
  return isSameSchedule(*wanted, *present)
             ? ScheduleChange{"kept", *present}
             : ScheduleChange{"changed", updateSchedule(session.daemon(), *wanted)};
}

// A twin goes along. It is deleted where nothing needs it any more; where it could be none, nothing
// is changed.
int runScheduleSet(const SetOptions& given, Session& session) {
  const ScheduleWords& words = given.words;
  if (!words.any() && !words.twin) {
    throw Failure(kExitUsage,
                  "what shall change? Nothing is given. See: quorin_poectl schedule set --help");
  }
  const std::vector<Schedule> all = session.schedules();
  const Schedule& present = given.schedule.find(all, session.options().unit);
  const std::vector<PoePort> ports =
      words.ports().empty() ? std::vector<PoePort>() : session.portsNamed(words.ports());
  const Schedule wanted = applied(words, present, ports, session.now(), session.zone());

  const Schedule* presentTwin =
      words.twin ? twinNamed(all, present) : twinToCarry(all, present, session);
  const bool isOwn = presentTwin != nullptr && fitsAsTwin(*presentTwin, present);
  const bool isTwinWanted = words.twin || (presentTwin != nullptr && needsTwin(wanted));
  std::optional<Schedule> wantedOther;
  if (isTwinWanted) {
    wantedOther = wantedTwin(wanted, presentTwin, isOwn);
    const bool staysAsItWas = presentTwin != nullptr && !words.twin && !words.disabled;
    wantedOther->enabled = staysAsItWas ? presentTwin->enabled : wanted.enabled;
  }
  const bool hasTwin = wantedOther || presentTwin != nullptr;

  std::vector<Schedule> touched;
  if (!isSameSchedule(wanted, present)) {
    touched.push_back(present);
  }
  if (presentTwin != nullptr && (!wantedOther || !isSameSchedule(*wantedOther, *presentTwin))) {
    touched.push_back(*presentTwin);
  }
  confirmOpenWindows(touched, WindowFate::mayStay, given.isYes, session);
  requireUnchanged(touched, session);

  const ScheduleChange change = store(wanted, &present, session);
  const auto storeTwin = [&] { return store(wantedOther, presentTwin, session); };
  showChanges(change, changedTwin(hasTwin, change, storeTwin), session);
  return kExitDone;
}

}  // namespace

SessionAction defineScheduleSet(Arguments& app, Options&) {
  const auto given = std::make_shared<SetOptions>();
  addScheduleWord(app, &given->schedule, "number or name").required();
  addScheduleOptions(app, &given->words);
  app.flag("-y,--yes", given->isYes, "do not ask when a window of it is open");
  return [given](Session& session) { return runScheduleSet(*given, session); };
}

SessionAction defineScheduleRename(Arguments& app, Options&) {
  const auto given = std::make_shared<SetOptions>();
  given->isYes = true;  // a window goes on under another name
  addScheduleWord(app, &given->schedule, "number or name").required();
  app.add("NAME", given->words.name, "another name").required();
  return [given](Session& session) { return runScheduleSet(*given, session); };
}
