#include "scheduler/admin_sweep.h"

#include <ctime>

#include "base/clock.h"
#include "base/result_codes.h"
#include "base/sleep.h"
#include "daemon/daemon_context.h"
#include "history/run_lifecycle.h"
#include "log/log.h"
#include "poe/port_actions.h"
#include "poe/port_locks.h"
#include "rules/run_words.h"
#include "scheduler/window_run.h"
#include "switchos/openclt.h"

namespace {

constexpr int32_t kStopPollSec = 1;

const char* failureText(const AdminSweepRequest& request) {
  if (request.sweepMode == SweepMode::restore) {
    return kPortRestoreFailed;
  }
  return request.adminMode == OPENCLT_ADMIN_ENABLE ? kPortOnFailed : kPortOffFailed;
}

void recordPort(const AdminSweepRequest& request, uint32_t ifNum, PortOutcome outcome,
                const char* error, int64_t at) {
  if (request.sweepMode == SweepMode::unrecorded) {
    return;
  }
  const auto record =
      request.sweepMode == SweepMode::restore ? historyPortRecordWorst : historyPortRecord;
  record(request.runId, ifNum, outcome, error, at);
}

PortOutcome skipPort(const AdminSweepRequest& request, uint32_t ifNum, const char* why,
                     int64_t at) {
  recordPort(request, ifNum, PORT_SKIPPED, why, at);
  return PORT_SKIPPED;
}

PortOutcome sweepPort(const AdminSweepRequest& request, uint32_t ifNum) {
  const int64_t before = wallSeconds();
  if (poePortsCheckUnit(request.unit, &ifNum, 1, nullptr) != 0) {
    return skipPort(request, ifNum, kPortForeign, before);
  }
  const auto lockNumber = static_cast<int32_t>(ifNum);
  if (portLockTry(request.unit, lockNumber) != RESULT_OK) {
    return skipPort(request, ifNum, kPortBusy, before);
  }
  const bool done = poePortAdminSet(ifNum, request.adminMode) == RESULT_OK;
  const PortOutcome outcome = done ? PORT_SUCCESS : PORT_FAILED;
  recordPort(request, ifNum, outcome, done ? nullptr : failureText(request), wallSeconds());
  portLockRelease(request.unit, lockNumber);
  return outcome;
}

void pauseUnlessStopped(int32_t seconds) {
  for (int32_t left = seconds; left > 0 && !stopRequested(); left -= kStopPollSec) {
    sleepSeconds(kStopPollSec);
  }
}

PortCounts sweepPorts(const AdminSweepRequest& request) {
  PortCounts counts;
  for (size_t i = 0; i < request.ifNums.size(); ++i) {
    const PortOutcome outcome = sweepPort(request, request.ifNums[i]);
    countOutcome(outcome, &counts);
    if (outcome != PORT_SKIPPED && i + 1 < request.ifNums.size()) {
      pauseUnlessStopped(request.interPortDelaySec);
    }
  }
  return counts;
}

void finishCounted(int64_t runId, const PortCounts& counts) {
  const RunResult result = historyResultFromCounts(counts);
  if (historyRunFinish(runId, result, nullptr, wallSeconds()) != ERR_GENERAL) {
    return;
  }
  LOG_HERE(LOG_ERR, "run %lld: finish failed; retrying once", static_cast<long long>(runId));
  if (historyRunFinish(runId, result, nullptr, wallSeconds()) == ERR_GENERAL) {
    LOG_HERE(LOG_ERR, "run %lld: finish retry failed; run remains open until startup reconcile",
             static_cast<long long>(runId));
  }
}

}  // namespace

void executorAdminSweep(const AdminSweepRequest& request) {
  const PortCounts counts = sweepPorts(request);

  switch (request.sweepMode) {
    case SweepMode::restore:
      windowRunFinishRestored(request.runId);
      return;
    case SweepMode::unrecorded:
      LOG_HERE(counts.failed > 0 ? LOG_WARNING : LOG_INFO,
               "unrecorded admin sweep unit %d (admin=%d): %d ok, %d fail, %d skip", request.unit,
               request.adminMode, counts.success, counts.failed, counts.skipped);
      return;
    case SweepMode::recordOpen:
      return;
    case SweepMode::recordFinish:
      finishCounted(request.runId, counts);
      return;
  }
}
