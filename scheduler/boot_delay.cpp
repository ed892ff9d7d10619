#include "scheduler/boot_delay.h"

#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <vector>

#include "base/clock.h"
#include "base/detached_thread.h"
#include "base/result_codes.h"
#include "base/sleep.h"
#include "config/boot_delay_config.h"
#include "daemon/daemon_context.h"
#include "history/run_lifecycle.h"
#include "log/log.h"
#include "poe/port_actions.h"
#include "poe/port_locks.h"
#include "rules/run_words.h"
#include "switchos/openclt.h"

namespace {

constexpr int32_t kMaxBootDelayPorts = 128;

struct BootDelayJob {
  int32_t unit = 0;
  int32_t delaySec = 0;
  ExecutionMode executionMode = EXECUTION_SIMULTANEOUS;
  int32_t interPortDelaySec = 0;
  int64_t runId = 0;
  std::vector<uint32_t> ifNums;
};

void switchAll(const std::vector<uint32_t>& ifNums, int32_t adminMode) {
  for (const uint32_t ifNum : ifNums) {
    poePortAdminSet(ifNum, adminMode);
  }
}

PortOutcome reenablePort(const BootDelayJob& job, uint32_t ifNum) {
  const bool enabled = poePortAdminSet(ifNum, OPENCLT_ADMIN_ENABLE) == RESULT_OK;
  const PortOutcome outcome = enabled ? PORT_SUCCESS : PORT_FAILED;
  historyPortRecord(job.runId, ifNum, outcome, enabled ? nullptr : kPortBootFailed, wallSeconds());
  return outcome;
}

void* bootDelayThread(void* argument) {
  const std::unique_ptr<BootDelayJob> job(static_cast<BootDelayJob*>(argument));
  sleepSeconds(job->delaySec);
  PortCounts counts;
  for (size_t i = 0; i < job->ifNums.size(); ++i) {
    countOutcome(reenablePort(*job, job->ifNums[i]), &counts);
    if (job->executionMode == EXECUTION_SEQUENTIAL && i + 1 < job->ifNums.size()) {
      sleepSeconds(job->interPortDelaySec);
    }
  }
  historyRunFinish(job->runId, historyResultFromCounts(counts), nullptr, wallSeconds());
  LOG_HERE(LOG_INFO, "boot delay unit %d finished: %d ok, %d fail (mode=%s, ipd=%d)", job->unit,
           counts.success, counts.failed, executionModeText(job->executionMode),
           job->interPortDelaySec);
  return nullptr;
}

int64_t beginBootDelayRun(const BootDelayJob& job) {
  RunBeginRequest request;
  request.unit = job.unit;
  request.trigger = RUN_TRIGGER_BOOT_DELAY;
  request.action = POE_ACTION_POWER_ON;
  request.executionMode = job.executionMode;
  request.interPortDelaySec = job.interPortDelaySec;
  request.ifNums = job.ifNums.data();
  request.ifCount = static_cast<int32_t>(job.ifNums.size());
  return historyRunBegin(&request);
}

// The job of a unit that has a delay and enabled ports, else null.
std::unique_ptr<BootDelayJob> makeJob(int32_t unit) {
  BootDelayConfig config;
  const bool configured =
      bootDelayConfigGet(unit, &config) == RESULT_OK && static_cast<int32_t>(config.delaySec) > 0;
  if (!configured) {
    return nullptr;
  }

  auto job = std::make_unique<BootDelayJob>();
  job->unit = unit;
  job->delaySec = static_cast<int32_t>(config.delaySec);
  job->executionMode = config.executionMode;
  job->interPortDelaySec = static_cast<int32_t>(config.interPortDelaySec);
  job->ifNums = poeUnitEnabledPortsGet(unit, kMaxBootDelayPorts);
  if (job->ifNums.empty()) {
    LOG_HERE(LOG_INFO, "boot delay %ds on unit %d: no enabled PoE ports, skip", job->delaySec,
             unit);
    return nullptr;
  }

  return job;
}

void startUnit(int32_t unit) {
  // All memory is had before the first port goes dark.
  std::unique_ptr<BootDelayJob> job = makeJob(unit);
  if (job == nullptr) {
    return;
  }

  switchAll(job->ifNums, OPENCLT_ADMIN_DISABLE);
  job->runId = beginBootDelayRun(*job);
  if (job->runId < 1) {
    switchAll(job->ifNums, OPENCLT_ADMIN_ENABLE);
    return;
  }

  const int64_t runId = job->runId;
  const int32_t delaySec = job->delaySec;
  const auto count = static_cast<int>(job->ifNums.size());
  const char* mode = executionModeText(job->executionMode);
  const int32_t interPortDelaySec = job->interPortDelaySec;
  const int error = startDetachedThread(bootDelayThread, job.get());
  if (error != 0) {
    LOG_HERE(LOG_ERR, "boot delay on unit %d: worker could not be started: %s", unit,
             strerror(error));
    historyRunForceFail(runId, kRunNotSpawned);
    switchAll(job->ifNums, OPENCLT_ADMIN_ENABLE);
    return;
  }

  (void)job.release();  // the worker's now
  LOG_HERE(LOG_INFO, "boot delay %ds on unit %d (%d ports, runId=%lld, mode=%s, ipd=%d)", delaySec,
           unit, count, static_cast<long long>(runId), mode, interPortDelaySec);
}

}  // namespace

void runBootDelay() {
  for (int32_t unit = 1; unit <= kMaxUnits && !stopRequested(); ++unit) {
    try {
      startUnit(unit);
    } catch (const std::bad_alloc&) {
      // Thrown before any port was switched.
      LOG_HERE(LOG_ERR, "boot delay on unit %d skipped: no memory", unit);
    }
  }
}
