// The backstop for window runs that no window end will close.
#ifndef QUORIN_SCHEDULER_REAPER_H
#define QUORIN_SCHEDULER_REAPER_H

#include <cstdint>

constexpr int64_t kReaperAgeLimitSec = 90000;  // 25 hours

// One pass: fails every open window run whose schedule is gone or changed, or that is older than
// the age limit. The ports stay as they are. REQUIRES: the scheduler thread; the caller holds
// neither the schedule mutex nor the history mutex.
void reapOrphanedWindowRuns();

#endif
