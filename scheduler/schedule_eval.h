// Whether and what a schedule fires in a given minute: plain functions of their arguments.
#ifndef QUORIN_SCHEDULER_SCHEDULE_EVAL_H
#define QUORIN_SCHEDULER_SCHEDULE_EVAL_H

#include <cstdint>

#include "config/schedule.h"

// A broken-down local time of the switch.
struct TickTime {
  int32_t year = 0;     // full, such as 2024
  int32_t month = 0;    // 1 to 12
  int32_t day = 0;      // of the month, 1 to 31
  int32_t hour = 0;     // 0 to 23
  int32_t minute = 0;   // 0 to 59
  int32_t second = 0;   // 0 to 60
  int32_t weekday = 0;  // 0 Sunday to 6 Saturday
};

// What of a schedule falls into a minute. A window's start and end may both do.
struct DueFirings {
  bool windowStart = false;
  bool windowEnd = false;
  bool restart = false;
  bool allDay = false;  // due in every minute of the day; that it acts once a day is left to the fired keys

  bool any() const { return windowStart || windowEnd || restart || allDay; }
};

// Whether a text reads as "%d:%d", a time of day, and is the tick's hour and minute: "7:5" is 07:05.
bool isTimeOfDay(const char* text, const TickTime& now);

// Whether the tick's day lies within the schedule's dates, bounds included. A date that does not read as three numbers
// is no bound.
bool isWithinDates(const PoeSchedule& schedule, const TickTime& now);

// The day that a schedule's days must hold for it to apply: the weekday (1 Monday to 7 Sunday) for weekly, the day of
// the month for monthly; 0 for daily, which asks for no day (and for unknown, which scheduleDue never lets fire).
int32_t recurrenceDay(Recurrence recurrence, const TickTime& now);

// What of an enabled schedule falls into the tick's minute, all conditions but the recurrence days applied: those the
// caller looks up, and only when anything is due.
DueFirings scheduleDue(const PoeSchedule& schedule, const TickTime& now);

#endif
