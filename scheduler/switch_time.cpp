#include "scheduler/switch_time.h"

#include <cstdio>
#include <ctime>

#include "base/clock.h"
#include "base/sleep.h"
#include "daemon/daemon_context.h"
#include "log/log.h"
#include "switchos/session.h"

namespace {

constexpr uint32_t kClockTextBytes = 20;
constexpr int32_t kTurnPollMs = 20;
constexpr int64_t kMaxTurnMs = 1200;

bool readSwitchClock(TickTime* time) {
  char text[kClockTextBytes + 1] = {};  // one more, for a switch that fills the buffer to its end
  OpenBuffDesc buffer{kClockTextBytes, text};
  int32_t zoneOffset = 0;
  return rpcclt_openapiClockGet(&openApiClient, &buffer, &zoneOffset) == OPENCLT_OK &&
         parseSwitchTime(text, time);
}

// With a warning, for a switch whose clock can't be read.
TickTime localTimeNow() {
  LOG_HERE(LOG_WARNING, "scheduler: openapiClockGet failed; using localtime_r fallback");
  const time_t now = wallSeconds();
  tm local{};
  localtime_r(&now, &local);
  return tickOf(local);
}

}  // namespace

bool parseSwitchTime(const char* text, TickTime* time) {
  int year = 0;
  int month = 0;
  tm calendar{};
  if (sscanf(text, "%d-%d-%d %d:%d:%d", &year, &month, &calendar.tm_mday, &calendar.tm_hour,
             &calendar.tm_min, &calendar.tm_sec) != 6) {
    return false;
  }
  calendar.tm_year = addWrapping(year, -kTmYearBase);
  calendar.tm_mon = addWrapping(month, -1);
  calendar.tm_isdst = -1;
  mktime(&calendar);
  *time = tickOf(calendar);
  return true;
}

TickTime switchTimeNow() {
  TickTime time;
  return readSwitchClock(&time) ? time : localTimeNow();
}

TickTime switchTimeAfter(const TickTime& before) {
  TickTime time = before;
  const int64_t endMs = monotonicMs() + kMaxTurnMs;
  bool isRead = true;
  while (isSameMinute(time, before) && monotonicMs() < endMs && !stopRequested()) {
    sleepMilliseconds(kTurnPollMs);
    isRead = readSwitchClock(&time);
  }
  return isRead ? time : localTimeNow();
}
