// The switch's own local time.
#ifndef QUORIN_SCHEDULER_SWITCH_TIME_H
#define QUORIN_SCHEDULER_SWITCH_TIME_H

#include "scheduler/schedule_eval.h"

// Reads a text of the form YYYY-MM-DD HH:MM:SS, normalises it as a calendar time and fills in the weekday. False, with
// *time untouched, when fewer than six numbers can be read.
bool parseSwitchTime(const char* text, TickTime* time);

// The switch's time, or the daemon's own local time (with a warning) when the switch gives none that can be read. In the
// last second of a minute of the switch, waits for its next minute, at most 1.2 seconds and no longer than to a stop:
// ticks follow the daemon's clock, and of two that are close to the turn of the minute one would see the old minute
// twice, the other skip one.
TickTime switchTimeNow();

#endif
