#include "poe/executor.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "base/detached_thread.h"
#include "log/log.h"

namespace {

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

void* poeActionThread(void* argument) {
  const std::unique_ptr<OwnedJob> owned(static_cast<OwnedJob*>(argument));
  poeActionRun(&owned->job);
  return nullptr;
}

// Null when memory runs out.
std::unique_ptr<OwnedJob> copyJob(const PoeActionJob& job) try {
  auto owned = std::make_unique<OwnedJob>();
  owned->job = job;
  if (job.ifCount > 0 && job.ifNums != nullptr) {
    owned->ownedIfNums.assign(job.ifNums, job.ifNums + job.ifCount);
  }
  owned->job.ifNums = owned->ownedIfNums.empty() ? nullptr : owned->ownedIfNums.data();
  owned->job.ifCount = static_cast<int32_t>(owned->ownedIfNums.size());
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
  job.ifCount = begun.ifCount;
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
