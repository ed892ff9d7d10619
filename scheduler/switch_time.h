// The switch's own local time.
#ifndef QUORIN_SCHEDULER_SWITCH_TIME_H
#define QUORIN_SCHEDULER_SWITCH_TIME_H

#include "rules/tick_time.h"

// Reads a string of the form YYYY-MM-DD HH:MM:SS, normalises it as a calendar time and fills in the
// weekday. False, with *time untouched, when fewer than six numbers can be read.
bool parseSwitchTime(const char* text, TickTime* time);

// The switch's time, or the daemon's own local time (with a warning) when the switch gives none
// that can be read.
TickTime switchTimeNow();

// The same as soon as it is no longer in the minute of `before`, a time just read; after 1.2
// seconds and once a stop is asked for also if it still is.
TickTime switchTimeAfter(const TickTime& before);

#endif
