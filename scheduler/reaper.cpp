#include "scheduler/reaper.h"

#include <ctime>

#include "base/clock.h"
#include "config/schedule_reader.h"
#include "daemon/daemon_context.h"
#include "history/history_queries.h"
#include "log/log.h"
#include "rules/run_words.h"
#include "scheduler/open_run_stamps.h"
#include "scheduler/window_run.h"

namespace {

constexpr int32_t kMaxRunsPerPass = 64;

WindowSchedule lookUpSchedule(const OpenScheduledRun& run) {
  const ScheduleAccess schedules;
  return schedules ? scheduleCanCloseRun(schedules, run.scheduleId, run.unit)
                   : WindowSchedule::unknown;
}

// By the run's stamp, which a change of the wall clock leaves alone; by its start when there is
// none.
bool isTooOld(const OpenScheduledRun& run, time_t now) {
  const int64_t age = openRunStampAge(run.runId);
  if (age >= 0) {
    return age > kReaperAgeLimitSec;
  }
  LOG_HERE(LOG_WARNING, "reaper: run %lld missing from open-run stamps; using wall-clock age",
           static_cast<long long>(run.runId));
  return run.startedAt < now - kReaperAgeLimitSec;
}

// Why the run must be closed, or null.
const char* reapReason(const OpenScheduledRun& run, time_t now) {
  if (lookUpSchedule(run) == WindowSchedule::goneOrChanged) {
    return kRunScheduleGone;
  }
  return isTooOld(run, now) ? kRunNeverEnded : nullptr;
}

void reapRun(const OpenScheduledRun& run, const char* reason) {
  LOG_HERE(LOG_WARNING, "reaper: failing open run %lld (schedule %lld, unit %d): %s",
           static_cast<long long>(run.runId), static_cast<long long>(run.scheduleId), run.unit,
           reason);
  windowRunFail(run.runId, reason);
}

}  // namespace

void reapOrphanedWindowRuns() {
  OpenScheduledRun runs[kMaxRunsPerPass];
  bool complete = false;
  const int32_t count = historyListOpenScheduledRuns(runs, kMaxRunsPerPass, &complete);
  if (complete) {
    openRunStampKeepOnly(runs, count);
  }
  const time_t now = wallSeconds();
  for (int32_t i = 0; i < count; ++i) {
    const char* reason = reapReason(runs[i], now);
    if (reason != nullptr) {
      reapRun(runs[i], reason);
    }
  }
}
