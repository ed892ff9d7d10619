// Looking at every schedule in one minute and carrying out what is due.
#ifndef QUORIN_SCHEDULER_EVALUATION_H
#define QUORIN_SCHEDULER_EVALUATION_H

#include "rules/tick_time.h"

class ScheduleAccess;

// Evaluates all schedules in the order of the database. An occurrence that is still among the fired
// keys does not fire again. Once a stop is asked for restarts are not begun any more, since the end
// of the process might leave their ports dark; all else of the minute is carried out. REQUIRES: the
// scheduler thread.
void evaluateSchedules(const ScheduleAccess& schedules, const TickTime& now);

#endif
