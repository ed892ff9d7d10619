// Changing schedules: what to ask before, what to tell after.
#ifndef QUORIN_CLIENT_COMMANDS_SCHEDULE_CHANGES_H
#define QUORIN_CLIENT_COMMANDS_SCHEDULE_CHANGES_H

#include <optional>
#include <string>
#include <vector>

#include "api/records.h"
#include "client/session.h"

// `3 "night" of unit 1`, escaped.
std::string scheduleTitle(const Schedule& schedule);

// Where a window of one of the schedules is open, asks whether to go on (cli/confirm.h).
void confirmOpenWindows(const std::vector<Schedule>& touched, bool isYes, Session& session);

// What was done to a schedule: "added", "changed", "enabled", "disabled", "deleted", "kept".
struct ScheduleChange {
  const char* verb;
  Schedule schedule;

  bool isChange() const;
};

// Prints {"schedule", "twin", "changed"} or a line for each, and warns of what is wrong with
// those that may fire now.
void showChanges(const ScheduleChange& change, const std::optional<ScheduleChange>& twin,
                 Session& session);

// Warns of what is wrong with those of the stored schedules that may fire.
void warnOfChanged(std::vector<Schedule> changed, Session& session);

#endif
