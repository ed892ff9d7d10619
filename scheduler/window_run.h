// Closing the run of a window.
//
// A run that is closed, by whomever, needs no stamp any more. One that could not be closed keeps
// its stamp: the reaper goes on trying. REQUIRES, for all: the scheduler thread, without the
// history mutex.
#ifndef QUORIN_SCHEDULER_WINDOW_RUN_H
#define QUORIN_SCHEDULER_WINDOW_RUN_H

#include <cstdint>

// Fails the run, of a scheduled action without a window, too; if that can't be stored, not again.
void windowRunFail(int64_t runId, const char* reason);

// Fails the run, trying twice. Failures are logged.
void windowRunFailRetrying(int64_t runId, const char* reason);

// Finishes the run of a window whose ports are restored with the result that its ports give, trying
// twice. Failures are logged.
void windowRunFinishRestored(int64_t runId);

#endif
