#include "scheduler/switch_time.h"

#include <cstdio>
#include <ctime>

#include "base/sleep.h"
#include "daemon/daemon_context.h"
#include "log/log.h"
#include "switchos/session.h"

namespace {

constexpr uint32_t kClockTextBytes = 20;
constexpr int kTmYearBase = 1900;
constexpr int32_t kLastSecond = 59;
constexpr int32_t kTurnPollMs = 20;
constexpr int32_t kTurnPolls = 60;  // 1.2 s in all

// A sum without overflow: a text may hold any number, and mktime leaves the fields as they are when it can't normalise
// them.
int addWrapping(int number, int offset) {
  return static_cast<int>(static_cast<unsigned>(number) + static_cast<unsigned>(offset));
}

TickTime fromCalendar(const tm& calendar) {
  TickTime tick;
  tick.year = addWrapping(calendar.tm_year, kTmYearBase);
  tick.month = addWrapping(calendar.tm_mon, 1);
  tick.day = calendar.tm_mday;
  tick.hour = calendar.tm_hour;
  tick.minute = calendar.tm_min;
  tick.second = calendar.tm_sec;
  tick.weekday = calendar.tm_wday;
  return tick;
}

bool readSwitchClock(TickTime* time) {
  char text[kClockTextBytes + 1] = {};  // one more, for a switch that fills the buffer to its end
  OpenBuffDesc buffer{kClockTextBytes, text};
  int32_t zoneOffset = 0;
  return rpcclt_openapiClockGet(&openApiClient, &buffer, &zoneOffset) == OPENCLT_OK && parseSwitchTime(text, time);
}

// The switch's time as soon as its minute turns; the one that was read before when that does not come, from a clock
// that stands or can't be read any more, and once a stop is asked for.
TickTime awaitTurn(const TickTime& read) {
  for (int32_t poll = 0; poll < kTurnPolls && !stopRequested(); ++poll) {
    sleepMilliseconds(kTurnPollMs);
    TickTime time;
    if (!readSwitchClock(&time)) {
      return read;
    }
    if (time.minute != read.minute) {
      return time;
    }
  }
  return read;
}

}  // namespace

bool parseSwitchTime(const char* text, TickTime* time) {
  int year = 0;
  int month = 0;
  tm calendar{};
  if (sscanf(text, "%d-%d-%d %d:%d:%d", &year, &month, &calendar.tm_mday, &calendar.tm_hour, &calendar.tm_min,
             &calendar.tm_sec) != 6) {
    return false;
  }
  calendar.tm_year = addWrapping(year, -kTmYearBase);
  calendar.tm_mon = addWrapping(month, -1);
  calendar.tm_isdst = -1;
  mktime(&calendar);
  *time = fromCalendar(calendar);
  return true;
}

TickTime switchTimeNow() {
  TickTime time;
  if (readSwitchClock(&time)) {
    // A switch whose clock is a moment behind is still in the minute that has just been looked at.
    return time.second == kLastSecond ? awaitTurn(time) : time;
  }
  logMessage(LOG_WARNING, "[%s:%d] scheduler: openapiClockGet failed; using localtime_r fallback", __func__, __LINE__);
  const time_t now = ::time(nullptr);
  tm local{};
  localtime_r(&now, &local);
  return fromCalendar(local);
}
