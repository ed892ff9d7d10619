#include "scheduler/reaper.h"

#include <sqlite3.h>

#include <ctime>

#include "base/database.h"
#include "base/result_codes.h"
#include "config/schedule.h"
#include "daemon/daemon_context.h"
#include "history/history_queries.h"
#include "log/log.h"
#include "scheduler/open_run_stamps.h"
#include "scheduler/window_run.h"

namespace {

constexpr int32_t kMaxRunsPerPass = 64;

bool isStandingWindow(sqlite3_stmt* row) {
  const ScheduleType type = scheduleTypeOf(columnText(row, 0));
  const bool allDay = sqlite3_column_int(row, 1) != 0;
  const bool enabled = sqlite3_column_int(row, 2) != 0;
  return enabled && !allDay && isWindowType(type);
}

// By the run's stamp, which a change of the wall clock leaves alone; by its start when there is none.
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
  if (scheduleCanCloseRun(run.scheduleId, run.unit) == WindowSchedule::goneOrChanged) {
    return "Schedule removed or modified mid-window";
  }
  return isTooOld(run, now) ? "Window end never fired" : nullptr;
}

void reapRun(const OpenScheduledRun& run, const char* reason) {
  LOG_HERE(LOG_WARNING, "reaper: failing open run %lld (schedule %lld, unit %d): %s", static_cast<long long>(run.runId),
           static_cast<long long>(run.scheduleId), run.unit, reason);
  windowRunFail(run.runId, reason);
}

}  // namespace

WindowSchedule scheduleCanCloseRun(int64_t scheduleId, int32_t unit) {
  const ScheduleAccess access;
  if (!access) {
    return WindowSchedule::unknown;
  }
  const StatementPtr statement = prepareStatement(
      access.db(), "SELECT schedule_type, all_day, enabled FROM poe_schedule WHERE schedule_id=? AND unit=?;");
  if (statement == nullptr) {
    LOG_HERE(LOG_ERR, "reaper schedule lookup prepare failed: %s", sqlite3_errmsg(access.db()));
    return WindowSchedule::unknown;
  }
  sqlite3_bind_int64(statement.get(), 1, scheduleId);
  sqlite3_bind_int(statement.get(), 2, unit);
  switch (sqlite3_step(statement.get())) {
    case SQLITE_ROW:
      return isStandingWindow(statement.get()) ? WindowSchedule::valid : WindowSchedule::goneOrChanged;
    case SQLITE_DONE:
      return WindowSchedule::goneOrChanged;
    default:
      LOG_HERE(LOG_ERR, "reaper schedule lookup step failed: %s", sqlite3_errmsg(access.db()));
      return WindowSchedule::unknown;
  }
}

void reapOrphanedWindowRuns() {
  OpenScheduledRun runs[kMaxRunsPerPass];
  bool complete = false;
  const int32_t count = historyListOpenScheduledRuns(runs, kMaxRunsPerPass, &complete);
  if (complete) {
    openRunStampKeepOnly(runs, count);
  }
  const time_t now = time(nullptr);
  for (int32_t i = 0; i < count; ++i) {
    const char* reason = reapReason(runs[i], now);
    if (reason != nullptr) {
      reapRun(runs[i], reason);
    }
  }
}
