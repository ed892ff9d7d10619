// The life of a run: begun as "running" with its ports "pending", given one outcome per port,
// finished exactly once.
//
// A run accepts writes only while it is "running", and the test and the write happen under one hold
// of the history mutex. So whoever races to close a run, the first one wins and the others are
// told. No function here takes another lock or calls out of the history while it holds the history
// mutex: callers may hold locks of their own, but never the history mutex.
//
// Codes: RESULT_OK; ERR_GENERAL for a storage failure, or for a port write refused because the run
// is not running (the caller may retry once); ERR_NOT_FOUND from a finish when the run is missing
// or closed already, which is not an error for a caller that only wants it closed. Failures are
// logged here. Times are Unix seconds.
#ifndef QUORIN_HISTORY_RUN_LIFECYCLE_H
#define QUORIN_HISTORY_RUN_LIFECYCLE_H

#include <cstdint>

#include "base/execution_mode.h"
#include "history/run_vocabulary.h"

// What a run is begun with. Only read: strings and array stay the caller's.
struct RunBeginRequest {
  int32_t unit = 0;
  int32_t trigger = RUN_TRIGGER_SCHEDULED;
  int64_t scheduleId = 0;              // 0 or less: no schedule, stored as NULL
  const char* scheduleName = nullptr;  // null is stored as NULL
  int32_t action = 0;                  // PoeActionType
  ExecutionMode executionMode = EXECUTION_SIMULTANEOUS;
  int32_t interPortDelaySec = 0;
  int32_t allDay = 0;  // stored for power_on and power_off only
  const uint32_t* ifNums = nullptr;
  int32_t ifCount = 0;
};

// Begins a run with one pending row per port. Returns its id, greater than 0, or -1. A port row
// that can't be written (a repeated ifNum) is logged and left out; a later outcome creates it.
int64_t historyRunBegin(const RunBeginRequest* request);

// Records a port's outcome over whatever it had. error may be null.
int32_t historyPortRecord(int64_t runId, uint32_t ifNum, int32_t outcome, const char* error,
                          int64_t executedAt);

// Records a port's outcome only if it is worse than the stored one: the first failure keeps its
// message and time. Returns RESULT_OK also when nothing had to be written, whether or not the run
// is still running.
int32_t historyPortRecordWorst(int64_t runId, uint32_t ifNum, int32_t outcome, const char* error,
                               int64_t executedAt);

// Makes the run's successful ports pending again, so that a restore's outcomes are recorded afresh.
int32_t historyPortsResetSuccessToPending(int64_t runId);

// Finishes a run with the given result.
int32_t historyRunFinish(int64_t runId, int32_t result, const char* error, int64_t completedAt);

// Finishes a run with the result that its port rows give. Ports without an outcome are failed.
// Not-applicable ports count as failed here, unlike in historyResultFromCounts.
int32_t historyRunFinishDerived(int64_t runId, const char* error, int64_t completedAt);

// Finishes a run as failed, now, and its pending ports with it, in one transaction. Changes nothing
// when the run is closed.
int32_t historyRunForceFail(int64_t runId, const char* error);

// Sets *runId to the newest running run of a schedule, or to 0 when there is none.
int32_t historyFindOpenRun(int32_t unit, int64_t scheduleId, int64_t* runId);

#endif
