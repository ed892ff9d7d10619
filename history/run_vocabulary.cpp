#include "history/run_vocabulary.h"

#include <cstring>

void countOutcome(int32_t outcome, PortCounts* counts) {
  ++counts->total;
  counts->success += outcome == PORT_SUCCESS ? 1 : 0;
  counts->failed += outcome == PORT_FAILED ? 1 : 0;
  counts->skipped += outcome == PORT_SKIPPED ? 1 : 0;
}

const char* runTriggerText(int32_t trigger) {
  switch (trigger) {
    case RUN_TRIGGER_MANUAL:
      return "manual";
    case RUN_TRIGGER_BOOT_DELAY:
      return "boot-delay";
    default:
      return "scheduled";
  }
}

const char* poeActionText(int32_t action) {
  switch (action) {
    case POE_ACTION_POWER_ON:
      return "power_on";
    case POE_ACTION_RESTART:
      return "restart";
    case POE_ACTION_POWER_OFF:
      return "power_off";
    default:
      return nullptr;
  }
}

const char* runResultText(int32_t result) {
  switch (result) {
    case RUN_RESULT_PARTIAL:
      return "partial";
    case RUN_RESULT_FAILED:
      return "failed";
    case RUN_RESULT_ABORTED:
      return "aborted";
    default:
      return "success";
  }
}

const char* portOutcomeText(int32_t outcome) {
  switch (outcome) {
    case PORT_SUCCESS:
      return "success";
    case PORT_SKIPPED:
      return "skipped";
    case PORT_NOT_APPLICABLE:
      return "not-applicable";
    default:
      return "failed";
  }
}

const char* runStatusText(int32_t result) {
  return result == RUN_RESULT_ABORTED ? "aborted" : "completed";
}

int32_t portStateRank(const char* stateOrNull) {
  if (stateOrNull == nullptr || strcmp(stateOrNull, "pending") == 0) {
    return 0;
  }
  if (strcmp(stateOrNull, "skipped") == 0) {
    return 2;
  }
  return strcmp(stateOrNull, "failed") == 0 ? 3 : 1;
}

int32_t portOutcomeRank(int32_t outcome) {
  return portStateRank(portOutcomeText(outcome));
}

RunResult historyResultFromCounts(int32_t total, int32_t success, int32_t failed, int32_t skipped) {
  if (failed > 0) {
    return success > 0 ? RUN_RESULT_PARTIAL : RUN_RESULT_FAILED;
  }
  const bool everyPortSkipped = failed == 0 && success == 0 && total >= 1 && skipped == total;
  return everyPortSkipped ? RUN_RESULT_FAILED : RUN_RESULT_SUCCESS;
}

RunResult historyResultFromCounts(const PortCounts& counts) {
  return historyResultFromCounts(counts.total, counts.success, counts.failed, counts.skipped);
}
