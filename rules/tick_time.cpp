#include "rules/tick_time.h"

int addWrapping(int number, int offset) {
  return static_cast<int>(static_cast<unsigned>(number) + static_cast<unsigned>(offset));
}

TickTime tickOf(const tm& calendar) {
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

bool isSameMinute(const TickTime& a, const TickTime& b) {
  return a.minute == b.minute && a.hour == b.hour && a.day == b.day && a.month == b.month &&
         a.year == b.year;
}
