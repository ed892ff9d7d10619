#include "poe/action_run.h"

#include <algorithm>
#include <ctime>
#include <new>
#include <vector>

#include "base/clock.h"
#include "base/sleep.h"
#include "poe/port_actions.h"
#include "poe/port_locks.h"
#include "rules/run_words.h"
#include "switchos/session.h"

namespace {

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
  record(job.runId, ifNum, result.outcome, result.error, wallSeconds());
  countOutcome(result.outcome, counts);
}

void finishRun(const PoeActionJob& job, const PortCounts& counts) {
  const RunResult result = historyResultFromCounts(counts);
  historyRunFinish(job.runId, result, nullptr, wallSeconds());
}

// Locks a port for this thread. Returns null, or why the port must be skipped.
const char* claimPort(int32_t unit, uint32_t ifNum) {
  if (poePortsCheckUnit(unit, &ifNum, 1, nullptr) != 0) {
    return kPortForeign;
  }
  return portLockTry(unit, static_cast<int32_t>(ifNum)) != 0 ? kPortBusyWithRun : nullptr;
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
    return {PORT_FAILED, kPortOffFailed};
  }
  return switchPort(port.ifNum, OPENCLT_ADMIN_ENABLE) ? kPortSuccess
                                                      : PortResult{PORT_FAILED, kPortOnFailed};
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
  ports.reserve(static_cast<size_t>(std::max(job.ifCount, 0)));
  for (int32_t i = 0; i < job.ifCount; ++i) {
    ports.push_back({job.ifNums[i], false, false});
  }
  return ports;
}

void runBatchedRestart(const PoeActionJob& job) {
  std::vector<BatchPort> ports;
  try {
    ports = batchPorts(job);
  } catch (const std::bad_alloc&) {
    historyRunForceFail(job.runId, kRunNotAllocated);
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
    return reset ? kPortSuccess : PortResult{PORT_FAILED, kPortResetFailed};
  }
  if (!switchPort(ifNum, OPENCLT_ADMIN_DISABLE)) {
    return {PORT_FAILED, kPortOffFailed};
  }
  sleepSeconds(job.offTimeSec);
  return switchPort(ifNum, OPENCLT_ADMIN_ENABLE) ? kPortSuccess
                                                 : PortResult{PORT_FAILED, kPortOnFailed};
}

PortResult actOnPort(const PoeActionJob& job, uint32_t ifNum) {
  switch (job.action) {
    case POE_ACTION_POWER_ON:
      return switchPort(ifNum, OPENCLT_ADMIN_ENABLE) ? kPortSuccess
                                                     : PortResult{PORT_FAILED, kPortStartFailed};
    case POE_ACTION_POWER_OFF:
      return switchPort(ifNum, OPENCLT_ADMIN_DISABLE) ? kPortSuccess
                                                      : PortResult{PORT_FAILED, kPortOffFailed};
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
  for (int32_t i = 0; i < job.ifCount; ++i) {
    const uint32_t ifNum = job.ifNums[i];
    const char* whySkipped = claimPort(job.unit, ifNum);
    if (whySkipped != nullptr) {
      recordAndCount(job, ifNum, {PORT_SKIPPED, whySkipped}, record, &counts);
      continue;
    }

    recordAndCount(job, ifNum, actOnPort(job, ifNum), record, &counts);
    releasePort(job.unit, ifNum);
    if (paced && i + 1 < job.ifCount) {
      sleepSeconds(job.interPortDelaySec);
    }
  }

  if (job.keepRunOpen == 0) {
    finishRun(job, counts);
  }
}

}  // namespace

void poeActionRun(const PoeActionJob* job) {
  if (job->action == POE_ACTION_RESTART && job->offTimeSec > 0) {
    runBatchedRestart(*job);
  } else {
    runOnePortAtATime(*job);
  }
}
