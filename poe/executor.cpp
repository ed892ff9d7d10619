#include "poe/executor.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <vector>

#include "base/detached_thread.h"
#include "base/sleep.h"
#include "history/run_lifecycle.h"
#include "log/log.h"
#include "poe/port_actions.h"
#include "poe/port_locks.h"
#include "switchos/session.h"

namespace {

constexpr const char* kBusyPort = "port busy (another run in progress)";

// Manual resets whose executors are at work.
std::atomic<int32_t> manualExecutors{0};

// The executor thread's copy of a job, with the array that its ifNums point to.
struct OwnedJob {
  PoeActionJob job;
  std::vector<uint32_t> ownedIfNums;
  bool counted = false;  // among manualExecutors

  ~OwnedJob() {
    if (counted) {
      --manualExecutors;
    }
  }
};

// Counts a manual reset's executor for as long as the job lives; false when there are too many.
// Schedules are not bounded: what fires is carried out.
bool countExecutor(OwnedJob* owned) {
  if (owned->job.trigger != RUN_TRIGGER_MANUAL) {
    return true;
  }
  owned->counted = true;
  return ++manualExecutors <= kMaxManualExecutors;
}

// One port's outcome; error is null for a success.
struct PortResult {
  PortOutcome outcome;
  const char* error;
};

constexpr PortResult kPortSuccess{PORT_SUCCESS, nullptr};

// The executor reports every failure alike, so codes are not told apart.
bool switchPort(uint32_t ifNum, int32_t enable) {
  return poePortSwitch(ifNum, enable) == OPENCLT_OK;
}

using RecordPort = int32_t (*)(int64_t runId, uint32_t ifNum, int32_t outcome, const char* error,
                               int64_t executedAt);

void recordAndCount(const PoeActionJob& job, uint32_t ifNum, PortResult result, RecordPort record,
                    PortCounts* counts) {
  record(job.runId, ifNum, result.outcome, result.error, time(nullptr));
  countOutcome(result.outcome, counts);
}

void finishRun(const PoeActionJob& job, const PortCounts& counts) {
  const RunResult result = historyResultFromCounts(counts);
  historyRunFinish(job.runId, result, nullptr, time(nullptr));
}

// Locks a port for this thread. Returns null, or why the port must be skipped.
const char* claimPort(int32_t unit, uint32_t ifNum) {
  if (poePortsCheckUnit(unit, &ifNum, 1, nullptr) != 0) {
    return kForeignPortText;
  }
  return portLockTry(unit, static_cast<int32_t>(ifNum)) != 0 ? kBusyPort : nullptr;
}

void releasePort(int32_t unit, uint32_t ifNum) {
  portLockRelease(unit, static_cast<int32_t>(ifNum));
}

// ---- all ports off, one off time, ports on one after the other ----

struct BatchPort {
  uint32_t ifNum;
  bool locked;
  bool switchedOff;
};

void claimAndSwitchOff(const PoeActionJob& job, std::vector<BatchPort>& ports, PortCounts* counts) {
  for (BatchPort& port : ports) {
    const char* whySkipped = claimPort(job.unit, port.ifNum);
    port.locked = whySkipped == nullptr;
    if (!port.locked) {
      recordAndCount(job, port.ifNum, {PORT_SKIPPED, whySkipped}, historyPortRecord, counts);
    }
  }
  for (BatchPort& port : ports) {
    port.switchedOff = port.locked && switchPort(port.ifNum, OPENCLT_ADMIN_DISABLE);
  }
}

PortResult switchOnAgain(const BatchPort& port) {
  if (!port.switchedOff) {
    return {PORT_FAILED, "power_off failed"};
  }
  return switchPort(port.ifNum, OPENCLT_ADMIN_ENABLE) ? kPortSuccess
                                                      : PortResult{PORT_FAILED, "power_on failed"};
}

void switchAllOnAgain(const PoeActionJob& job, const std::vector<BatchPort>& ports,
                      PortCounts* counts) {
  size_t stillDark = 0;
  for (const BatchPort& port : ports) {
    stillDark += port.switchedOff ? 1 : 0;
  }

  for (const BatchPort& port : ports) {
    if (!port.locked) {
      continue;
    }
    recordAndCount(job, port.ifNum, switchOnAgain(port), historyPortRecord, counts);
    stillDark -= port.switchedOff ? 1 : 0;
    if (port.switchedOff && stillDark > 0 && job.executionMode == EXECUTION_SEQUENTIAL) {
      sleepSeconds(job.interPortDelaySec);
    }
  }
}

// One entry per port of the job, none yet locked or off. Throws std::bad_alloc.
std::vector<BatchPort> batchPorts(const PoeActionJob& job) {
  std::vector<BatchPort> ports;
  ports.reserve(static_cast<size_t>(std::max(job.ifNumCount, 0)));
  for (int32_t i = 0; i < job.ifNumCount; ++i) {
    ports.push_back({job.ifNums[i], false, false});
  }
  return ports;
}

void runBatchedRestart(const PoeActionJob& job) {
  std::vector<BatchPort> ports;
  try {
    ports = batchPorts(job);
  } catch (const std::bad_alloc&) {
    historyRunForceFail(job.runId, "alloc failed");
    return;
  }

  PortCounts counts;
  claimAndSwitchOff(job, ports, &counts);
  sleepSeconds(job.offTimeSec);
  switchAllOnAgain(job, ports, &counts);
  for (const BatchPort& port : ports) {
    if (port.locked) {
      releasePort(job.unit, port.ifNum);
    }
  }

  finishRun(job, counts);
}

// ---- one port at a time ----

PortResult restartPort(const PoeActionJob& job, uint32_t ifNum) {
  if (job.offTimeSec <= 0) {
    const bool reset = rpcclt_openapiPoePsePortReset(&openApiClient, job.unit, ifNum) == OPENCLT_OK;
    return reset ? kPortSuccess : PortResult{PORT_FAILED, "reset failed"};
  }
  if (!switchPort(ifNum, OPENCLT_ADMIN_DISABLE)) {
    return {PORT_FAILED, "power_off failed"};
  }
  sleepSeconds(job.offTimeSec);
  return switchPort(ifNum, OPENCLT_ADMIN_ENABLE) ? kPortSuccess
                                                 : PortResult{PORT_FAILED, "power_on failed"};
}

PortResult actOnPort(const PoeActionJob& job, uint32_t ifNum) {
  switch (job.action) {
    case POE_ACTION_POWER_ON:
      return switchPort(ifNum, OPENCLT_ADMIN_ENABLE) ? kPortSuccess
                                                     : PortResult{PORT_FAILED, "hardware error"};
    case POE_ACTION_POWER_OFF:
      return switchPort(ifNum, OPENCLT_ADMIN_DISABLE) ? kPortSuccess
                                                      : PortResult{PORT_FAILED, "power_off failed"};
    default:
      return restartPort(job, ifNum);
  }
}

void runOnePortAtATime(const PoeActionJob& job) {
  const RecordPort record = job.keepRunOpen != 0 ? historyPortRecordWorst : historyPortRecord;
  // Ports that go dark need no spacing; only power that comes back draws an inrush.
  const bool paced =
      job.action != POE_ACTION_POWER_OFF && job.executionMode == EXECUTION_SEQUENTIAL;
  PortCounts counts;
  for (int32_t i = 0; i < job.ifNumCount; ++i) {
    const uint32_t ifNum = job.ifNums[i];
    const char* whySkipped = claimPort(job.unit, ifNum);
    if (whySkipped != nullptr) {
      recordAndCount(job, ifNum, {PORT_SKIPPED, whySkipped}, record, &counts);
      continue;
    }

    recordAndCount(job, ifNum, actOnPort(job, ifNum), record, &counts);
    releasePort(job.unit, ifNum);
    if (paced && i + 1 < job.ifNumCount) {
      sleepSeconds(job.interPortDelaySec);
    }
  }

  if (job.keepRunOpen == 0) {
    finishRun(job, counts);
  }
}

void* poeActionThread(void* argument) {
  const std::unique_ptr<OwnedJob> owned(static_cast<OwnedJob*>(argument));
  poeActionRun(&owned->job);
  return nullptr;
}

// Null when memory runs out.
std::unique_ptr<OwnedJob> copyJob(const PoeActionJob& job) try {
  auto owned = std::make_unique<OwnedJob>();
  owned->job = job;
  if (job.ifNumCount > 0 && job.ifNums != nullptr) {
    owned->ownedIfNums.assign(job.ifNums, job.ifNums + job.ifNumCount);
  }
  owned->job.ifNums = owned->ownedIfNums.empty() ? nullptr : owned->ownedIfNums.data();
  owned->job.ifNumCount = static_cast<int32_t>(owned->ownedIfNums.size());
  return owned;
} catch (const std::bad_alloc&) {
  return nullptr;
}

// 0, or an error number with the job still the caller's.
int startExecutor(OwnedJob* owned) {
  return countExecutor(owned) ? startDetachedThread(poeActionThread, owned) : EAGAIN;
}

}  // namespace

PoeActionJob poeActionJobOf(const RunBeginRequest& begun, int64_t runId) {
  PoeActionJob job;
  job.trigger = begun.trigger;
  job.unit = begun.unit;
  job.runId = runId;
  job.scheduleName = begun.scheduleName;
  job.action = begun.action;
  job.executionMode = begun.executionMode;
  job.interPortDelaySec = begun.interPortDelaySec;
  job.allDay = begun.allDay;
  job.ifNums = begun.ifNums;
  job.ifNumCount = begun.ifCount;
  return job;
}

int32_t poeActionSpawn(const PoeActionJob* job) {
  if (job == nullptr) {
    return -1;
  }
  std::unique_ptr<OwnedJob> owned = copyJob(*job);
  const int error = owned != nullptr ? startExecutor(owned.get()) : ENOMEM;
  if (error != 0) {
    LOG_HERE(LOG_ERR, "run %lld: executor could not be started: %s",
             static_cast<long long>(job->runId), strerror(error));
    return -1;
  }
  (void)owned.release();  // the thread's now
  return 0;
}

void poeActionRun(const PoeActionJob* job) {
  if (job->action == POE_ACTION_RESTART && job->offTimeSec > 0) {
    runBatchedRestart(*job);
  } else {
    runOnePortAtATime(*job);
  }
}
