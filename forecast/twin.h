// A window over midnight ends on its own days only: the night after its last day stays as it is.
// And ports that an all-day schedule switches off stay off. The twin, "NAME (morning after)", is a
// second schedule that ends this: from 00:00 to the window's end on the days that follow, or
// all-day "on" on the first days that follow and are none of the schedule's own.
#ifndef QUORIN_FORECAST_TWIN_H
#define QUORIN_FORECAST_TWIN_H

#include <optional>
#include <string>
#include <vector>

#include "api/records.h"
#include "rules/tick_time.h"

// Whether the schedule is a window that ends on the day after its start.
bool isOverMidnight(const Schedule& schedule);
// Whether it switches ports off for days, with no end.
bool isAllDayOff(const Schedule& schedule);

// Whether something of the schedule has no end but by a twin.
bool needsTwin(const Schedule& schedule);

// Why the schedule can have no twin, or needs none: "it ends on the day on which it starts".
// Empty for one that can.
std::string whyNoTwin(const Schedule& schedule);

std::string twinName(const Schedule& schedule);
// REQUIRES: whyNoTwin(schedule) is empty.
Schedule twinOf(const Schedule& schedule);

// Whether the other ends the schedule's windows or days on the mornings after them, so that the two
// are one window: enabled, with the twin's name, times and days, and all the ports.
bool isTwin(const Schedule& other, const Schedule& schedule);
// The same, whether they are enabled or not.
bool fitsAsTwin(const Schedule& other, const Schedule& schedule);

// Which of all it is; null for none.
const Schedule* twinAmong(const std::vector<Schedule>& all, const Schedule& schedule);

// The schedule of the twin's name, which may be one no longer; null for none.
const Schedule* twinNamed(const std::vector<Schedule>& all, const Schedule& schedule);

#endif
