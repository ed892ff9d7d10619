#include "scheduler/open_run_stamps.h"

#include <algorithm>
#include <ctime>

#include "base/clock.h"
#include "history/history_queries.h"
#include "log/log.h"

namespace {

struct OpenRunStamp {
  int64_t runId;     // 0: free
  int64_t openedAt;  // monotonic seconds; 0 in the clock's first second, which tells no age
};

OpenRunStamp openRunStamps[kOpenRunStamps];

int64_t monotonicSeconds() {
  return std::chrono::duration_cast<std::chrono::seconds>(monotonicTime()).count();
}

// The first slot that holds the run, or null.
OpenRunStamp* findStamp(int64_t runId) {
  for (OpenRunStamp& stamp : openRunStamps) {
    if (stamp.runId == runId) {
      return &stamp;
    }
  }
  return nullptr;
}

}  // namespace

void openRunStampAdd(int64_t runId) {
  OpenRunStamp* stamp = findStamp(0);
  if (stamp == nullptr) {
    LOG_HERE(LOG_WARNING, "open-run stamp table full; run %lld will age-reap on wall clock",
             static_cast<long long>(runId));
    return;
  }
  *stamp = {runId, monotonicSeconds()};
}

void openRunStampRemove(int64_t runId) {
  OpenRunStamp* stamp = runId > 0 ? findStamp(runId) : nullptr;
  if (stamp != nullptr) {
    stamp->runId = 0;
  }
}

void openRunStampKeepOnly(const OpenScheduledRun* runs, int32_t count) {
  for (OpenRunStamp& stamp : openRunStamps) {
    const auto isStamped = [&](const OpenScheduledRun& run) { return run.runId == stamp.runId; };
    if (std::none_of(runs, runs + count, isStamped)) {
      stamp.runId = 0;
    }
  }
}

int64_t openRunStampAge(int64_t runId) {
  const OpenRunStamp* stamp = findStamp(runId);
  if (stamp == nullptr || stamp->openedAt == 0) {
    return -1;
  }
  const int64_t age = monotonicSeconds() - stamp->openedAt;
  return age >= 0 ? age : -1;
}
