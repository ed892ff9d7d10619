#include "history/cleanup_thread.h"

#include "base/clock.h"
#include "base/sleep.h"
#include "daemon/daemon_context.h"
#include "history/history_queries.h"
#include "log/log.h"

namespace {

constexpr time_t kDaySec = 86400;
constexpr int32_t kPollSec = 10;

void purgeExpiredRuns(time_t now) {
  const int32_t removed = historyPurgeBefore(now - HISTORY_RETENTION_SEC);
  if (removed >= 1) {
    LOG_HERE(LOG_INFO, "cleanup removed %d old history rows", removed);
  }
}

}  // namespace

time_t localMidnight(time_t now) {
  tm local{};
  localtime_r(&now, &local);
  local.tm_sec = 0;
  local.tm_min = 0;
  local.tm_hour = 0;
  // By the clock's offset of now, whatever it was at midnight: a day later is then not before the
  // next midnight, also after the night in autumn.
  return mktime(&local);
}

void* cleanupThread(void*) {
  LOG_HERE(LOG_INFO, "cleanup thread starting");
  time_t now = wallSeconds();
  purgeExpiredRuns(now);
  time_t nextPurge = localMidnight(now);
  if (nextPurge <= now) {
    nextPurge += kDaySec;
  }

  while (!stopRequested()) {
    now = wallSeconds();
    if (now >= nextPurge) {
      purgeExpiredRuns(now);
      const time_t midnight = localMidnight(now);
      if (midnight <= now) {
        nextPurge = midnight + kDaySec;
      }
    }
    sleepSeconds(kPollSec);
  }

  LOG_HERE(LOG_INFO, "cleanup thread stopping");
  return nullptr;
}
