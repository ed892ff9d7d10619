// Carrying out what a schedule fires.
//
// All of it runs on the scheduler thread, which holds the schedule mutex throughout. Every
// failure is logged here, and nothing is returned: a firing that can't be carried out is not made
// up for.
#ifndef QUORIN_SCHEDULER_TRIGGERS_H
#define QUORIN_SCHEDULER_TRIGGERS_H

#include <cstdint>

#include "history/run_vocabulary.h"
#include "rules/schedule.h"

class ScheduleAccess;

// Begins a run and hands it to an executor thread. For a window the run is stamped and left open
// until the window's end.
void triggerSchedule(const ScheduleAccess& schedules, const PoeSchedule& schedule,
                     PoeActionType action, bool window);

// Begins a power_off run and switches the ports off at once, on this thread and without pauses. For
// a window the run is stamped and left open.
void fireInlineAdminSweep(const ScheduleAccess& schedules, const PoeSchedule& schedule,
                          bool window);

// Puts the ports of a window schedule back into their state outside the window, on this thread, and
// closes the window's run. A window without an open run is restored unrecorded.
void fireWindowEndSweep(const ScheduleAccess& schedules, const PoeSchedule& schedule);

#endif
