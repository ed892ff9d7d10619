// What of a schedule is due in a given minute: plain functions of their arguments.
#ifndef QUORIN_RULES_DUE_FIRINGS_H
#define QUORIN_RULES_DUE_FIRINGS_H

#include <cstdint>

#include "rules/schedule.h"
#include "rules/tick_time.h"

// What of a schedule falls into a minute. A window's start and end may both do.
struct DueFirings {
  bool windowStart = false;
  bool windowEnd = false;
  bool restart = false;
  bool allDay =
      false;  // due in every minute of the day; that it acts once a day is left to the fired keys

  bool any() const { return windowStart || windowEnd || restart || allDay; }
};

// Whether a string reads as "%d:%d", a time of day, and is the tick's hour and minute: "7:5" is
// 07:05.
bool isTimeOfDay(const char* text, const TickTime& now);

// Whether the tick's day lies within the schedule's dates, bounds included. A date that does not
// read as three numbers is not a bound.
bool isWithinDates(const PoeSchedule& schedule, const TickTime& now);

// The day that a schedule's days must hold for it to apply: the weekday (1 Monday to 7 Sunday) for
// weekly, the day of the month for monthly; 0 for daily, which asks for no day (and for unknown,
// which scheduleDue never lets fire).
int32_t recurrenceDay(Recurrence recurrence, const TickTime& now);

// What of an enabled schedule falls into the tick's minute, all conditions but the recurrence days
// applied: those the caller looks up, and only when anything is due.
DueFirings scheduleDue(const PoeSchedule& schedule, const TickTime& now);

#endif
