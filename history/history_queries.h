// Reading the history: pages of runs and single runs as JSON, the open window runs, and purging old
// runs.
//
// Every function takes the history mutex for its whole query; the caller must not hold it. Codes as
// in run_lifecycle.h.
#ifndef QUORIN_HISTORY_HISTORY_QUERIES_H
#define QUORIN_HISTORY_HISTORY_QUERIES_H

#include <cstdint>

#include "base/json.h"

// A run that the end of a schedule's window is supposed to close.
struct OpenScheduledRun {
  int64_t runId = 0;
  int32_t unit = 0;
  int64_t scheduleId = 0;
  int64_t startedAt = 0;  // Unix seconds
};

// Fills entries (at most capacity) with the running, scheduled power_on and power_off runs that are
// not all-day, oldest first. Returns how many were filled, or -1 for bad arguments or when the
// query can't be made. Reaching the capacity is logged, whether or not there is more. Sets
// *complete (which may be null) to whether it is certain that there is no more.
int32_t historyListOpenScheduledRuns(OpenScheduledRun* entries, int32_t capacity,
                                     bool* complete = nullptr);

// Sets *answer to {"runs": [...], "page", "pageSize", "total"}: the unit's runs, newest first. Page
// and size are not bounded: a negative size means no limit, an offset below 0 is 0. Returns
// RESULT_OK, or ERR_GENERAL with *answer untouched.
int32_t historyList(int32_t unit, int32_t page, int32_t pageSize, JsonPtr* answer);

// Sets *answer to one run of the unit with its ports in ascending ifNum order under "portSteps".
// Returns RESULT_OK, ERR_NOT_FOUND when the unit has no such run, or ERR_GENERAL; after a failure
// *answer is untouched.
int32_t historyDetail(int32_t unit, int64_t runId, JsonPtr* answer);

// Deletes the runs that started before cutoff (Unix seconds), running ones too, with their ports.
// Returns how many runs, 0 also on any failure; the next purge tries again.
int32_t historyPurgeBefore(int64_t cutoff);

#endif
