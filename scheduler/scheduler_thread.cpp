#include "scheduler/scheduler_thread.h"

#include <ctime>

#include "base/clock.h"
#include "base/sleep.h"
#include "daemon/daemon_context.h"
#include "log/log.h"
#include "scheduler/boot_delay.h"
#include "scheduler/evaluation.h"
#include "scheduler/reaper.h"
#include "scheduler/switch_time.h"

namespace {

constexpr time_t kMinuteSec = 60;
constexpr int32_t kLastSecond = 59;

TickTime lastLookedAt;  // used by the scheduler thread alone

// Returns when a stop is asked for.
void tickEveryMinute() {
  SecondBeat beat;
  time_t lastMinute = 0;
  while (!stopRequested()) {
    const time_t minuteStart = wallSeconds() / kMinuteSec * kMinuteSec;
    if (minuteStart != lastMinute) {
      tickOnce();
      lastMinute = minuteStart;
    }
    beat.sleepToNext();
  }
}

void lookAt(const TickTime& minute) {
  lastLookedAt = minute;
  reapOrphanedWindowRuns();
  const ScheduleAccess schedules;
  if (schedules) {
    evaluateSchedules(schedules, minute);
  }
}

}  // namespace

void tickOnce() {
  TickTime now = switchTimeNow();
  if (now.second == kLastSecond) {
    if (!isSameMinute(now, lastLookedAt)) {
      lookAt(now);
    }
    now = switchTimeAfter(now);
  }
  lookAt(now);
}

void* schedulerThread(void*) {
  LOG_HERE(LOG_INFO, "scheduler thread starting");
  runBootDelay();
  tickEveryMinute();
  LOG_HERE(LOG_INFO, "scheduler thread stopping");
  return nullptr;
}
