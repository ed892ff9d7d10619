// The words of the history: what started a run, what it does, how it ended. The numbers travel
// between modules, the strings are stored in the database and shown in answers. Enumerations hold
// what comes from outside: any 32-bit value may occur.
#ifndef QUORIN_HISTORY_RUN_VOCABULARY_H
#define QUORIN_HISTORY_RUN_VOCABULARY_H

#include <cstdint>

enum RunTrigger : int32_t {
  RUN_TRIGGER_SCHEDULED = 0,
  RUN_TRIGGER_MANUAL = 1,
  RUN_TRIGGER_BOOT_DELAY = 2,
};

enum PoeActionType : int32_t {
  POE_ACTION_POWER_ON = 1,
  POE_ACTION_RESTART = 2,
  POE_ACTION_POWER_OFF = 3,
};

enum RunResult : int32_t {
  RUN_RESULT_SUCCESS = 1,
  RUN_RESULT_PARTIAL = 2,
  RUN_RESULT_FAILED = 3,
  RUN_RESULT_ABORTED = 4,
};

enum PortOutcome : int32_t {
  PORT_SUCCESS = 0,
  PORT_FAILED = 1,
  PORT_SKIPPED = 2,
  PORT_NOT_APPLICABLE = 3,
};

// Ports of one run, counted by state; total counts those in every other state, too.
struct PortCounts {
  int32_t total = 0;
  int32_t success = 0;
  int32_t failed = 0;
  int32_t skipped = 0;
};

// Adds one port with its outcome to the counts.
void countOutcome(int32_t outcome, PortCounts* counts);

// Strings for values; all are constants. Values outside the enumerations read as "scheduled", null,
// "success" and "failed".
const char* runTriggerText(int32_t trigger);
const char* poeActionText(int32_t action);  // null when there is none
const char* runResultText(int32_t result);
const char* portOutcomeText(int32_t outcome);

// The run status that goes with a result: "aborted" or "completed".
const char* runStatusText(int32_t result);

// How bad an outcome is, for keeping the worst of several: 1 success and not-applicable, 2 skipped,
// 3 failed. Skipped ranks worse than success so that a port that was skipped once in a run shows
// it.
int32_t portOutcomeRank(int32_t outcome);
// The rank of a stored state: 0 for null and "pending", 1 for any text without a rank of its own.
int32_t portStateRank(const char* stateOrNull);

// The overall result of a run of total ports: partial when some failed and some succeeded, failed
// when some failed and none succeeded or when every port was skipped, success otherwise, for a run
// without ports too.
RunResult historyResultFromCounts(int32_t total, int32_t success, int32_t failed, int32_t skipped);
RunResult historyResultFromCounts(const PortCounts& counts);

#endif
