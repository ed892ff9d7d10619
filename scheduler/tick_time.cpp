#include "scheduler/tick_time.h"

bool isSameMinute(const TickTime& a, const TickTime& b) {
  return a.minute == b.minute && a.hour == b.hour && a.day == b.day && a.month == b.month &&
         a.year == b.year;
}
