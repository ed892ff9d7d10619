#include "scheduler/scheduler_thread.h"

#include <ctime>

#include "base/sleep.h"
#include "base/sqlite_guard.h"
#include "config/schedule_store.h"
#include "daemon/daemon_context.h"
#include "log/log.h"
#include "scheduler/boot_delay.h"
#include "scheduler/evaluation.h"
#include "scheduler/reaper.h"
#include "scheduler/switch_time.h"

namespace {

constexpr time_t kMinuteSec = 60;

// Returns when a stop is asked for.
void tickEveryMinute() {
  SecondBeat beat;
  time_t lastMinute = 0;
  while (!stopRequested()) {
    const time_t minuteStart = time(nullptr) / kMinuteSec * kMinuteSec;
    if (minuteStart != lastMinute) {
      tickOnce();
      lastMinute = minuteStart;
    }
    beat.sleepToNext();
  }
}

}  // namespace

void tickOnce() {
  const TickTime now = switchTimeNow();
  reapOrphanedWindowRuns();
  const ScheduleAccess access;
  if (access) {
    evaluateSchedules(access.db(), now);
  }
}

void* schedulerThread(void*) {
  logMessage(LOG_INFO, "[%s:%d] scheduler thread starting", __func__, __LINE__);
  runBootDelay();
  tickEveryMinute();
  logMessage(LOG_INFO, "[%s:%d] scheduler thread stopping", __func__, __LINE__);
  return nullptr;
}
