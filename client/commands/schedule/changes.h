// Changing schedules: what to ask before, what to tell after.
#ifndef QUORIN_CLIENT_COMMANDS_SCHEDULE_CHANGES_H
#define QUORIN_CLIENT_COMMANDS_SCHEDULE_CHANGES_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "api/records.h"
#include "client/session.h"

// `3 "night" of unit 1`, escaped.
std::string scheduleTitle(const Schedule& schedule);

// What becomes of the ports of an open window when its schedule is changed, or when it goes: then
// nothing ends it.
enum class WindowFate { mayStay, stays };
// Where a window of one of the schedules is open, asks whether to go on (cli/confirm.h).
void confirmOpenWindows(const std::vector<Schedule>& touched, WindowFate fate, bool isYes,
                        Session& session);

// What was done to a schedule: "added", "changed", "enabled", "disabled", "deleted", "kept".
struct ScheduleChange {
  const char* verb;
  Schedule schedule;

  bool isChange() const;
};

// A schedule and its twin, if it has one, which goes along.
struct ScheduleAndTwin {
  const Schedule* schedule;
  const Schedule* twin;
};
// With each of the chosen its twin; a twin that was chosen beside its schedule comes once.
std::vector<ScheduleAndTwin> withTwins(const std::vector<const Schedule*>& chosen,
                                       const std::vector<Schedule>& all, Session& session);
// Asks about their open windows.
void confirmAll(const std::vector<ScheduleAndTwin>& chosen, bool isYes, Session& session);
// Changes each, one after the other, and shows it: {"changes": [as showChanges has it]}, or lines.
// Where one fails, the failure says what was done before.
void changeAll(const std::vector<ScheduleAndTwin>& chosen,
               const std::function<ScheduleChange(const Schedule&)>& change, Session& session);

// The twin that goes along with whatever is done to the schedule; null where there is none. One of
// the twin's name that does not fit is told of, and left alone.
const Schedule* twinToCarry(const std::vector<Schedule>& all, const Schedule& schedule,
                            Session& session);
// What `change`, which is called only if there is a twin, does to it. Where that fails, the failure
// says what was done before.
std::optional<ScheduleChange> changedTwin(bool hasTwin, const ScheduleChange& done,
                                          const std::function<ScheduleChange()>& change);

// With its name.
bool isSameSchedule(const Schedule& a, const Schedule& b);
// Throws Failure, kExitNotAsWished, where one of the schedules is not any more as it was read: who
// changes it would undo what somebody else has changed since.
void requireUnchanged(const std::vector<Schedule>& read, Session& session);

// Prints {"schedule", "twin", "changed"} or a line for each, and warns of what is wrong with
// those that may fire now.
void showChanges(const ScheduleChange& change, const std::optional<ScheduleChange>& twin,
                 Session& session);

// Warns where the window of a schedule that was added or enabled is under way.
void warnOfOpenWindow(const ScheduleChange& change, Session& session);
// Warns of what is wrong with those of the stored schedules that may fire; that one never does
// unless that is told already.
void warnOfChanged(std::vector<Schedule> changed, Session& session, bool isNeverTold = true);

#endif
