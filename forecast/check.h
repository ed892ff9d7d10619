// Warnings: what a schedule will not do although its author expects it.
#ifndef QUORIN_FORECAST_CHECK_H
#define QUORIN_FORECAST_CHECK_H

#include <optional>
#include <string>
#include <vector>

#include "api/view.h"
#include "forecast/twin.h"

// The clash of two schedules is said of the first of them alone, for lists of all, or of both.
enum class TellClashes { once, ofBoth };

struct CheckInput {
  // Of whole units: each is compared with the others of its unit.
  const std::vector<Schedule>& schedules;
  std::optional<std::vector<PoePort>> ports;  // none: not known, and nothing is said about them
  const View& view;
  TellClashes tell = TellClashes::once;
};

struct ScheduleWarning {
  // "never", "badTime", "badDate", "noEnd", "staysOff", "twin", "noUnit", "noPort", "above128",
  // "shortWindow", "emptyWindow", "shortMonth", "clockChange", "fight", "overlap", "lost" or
  // "twice".
  const char* kind;
  std::string text;    // not escaped
  std::string advice;  // "to end it each morning: quorin_poectl ..."; may be empty
};
using ScheduleWarnings = std::vector<ScheduleWarning>;

// The warnings of each schedule, in the order of the schedules. A disabled schedule is checked as
// if it were enabled, but it fights with none.
std::vector<ScheduleWarnings> checkSchedules(const CheckInput& input);

// Why the schedule, were it enabled, would never do what it says: never act, or never start or end
// its window. Empty for one that does.
std::string whyUseless(const Schedule& schedule, SwitchTime now, const Zone& zone);

#endif
