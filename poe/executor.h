// Carrying out PoE actions on threads of their own.
#ifndef QUORIN_POE_EXECUTOR_H
#define QUORIN_POE_EXECUTOR_H

#include <cstdint>

#include "history/run_lifecycle.h"
#include "poe/action_run.h"

// The job of a run that was begun so; what only an executor needs (offTimeSec, keepRunOpen) is left
// for the caller to add. Borrows the name and the ports that begun points to.
PoeActionJob poeActionJobOf(const RunBeginRequest& begun, int64_t runId);

// How many manual resets are carried out at a time: each takes a thread, however long it leaves its
// ports dark.
constexpr int32_t kMaxManualExecutors = 256;

// Starts the job on a detached thread, which works on a copy of its own: job and array may go at
// once. Returns 0, or -1 for a null job, when memory or the thread is unavailable, and for a manual
// reset beyond kMaxManualExecutors; then nothing was done and the caller force-fails its run.
int32_t poeActionSpawn(const PoeActionJob* job);

#endif
