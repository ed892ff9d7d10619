#include "rules/due_firings.h"

#include <cstdio>
#include <cstring>
#include <tuple>

namespace {

constexpr int32_t kSundayOfWeekly = 7;

using Date = std::tuple<int, int, int>;  // year, month, day

bool readDate(const char* text, Date* date) {
  int year = 0;
  int month = 0;
  int day = 0;
  if (*text == '\0' || sscanf(text, "%d-%d-%d", &year, &month, &day) != 3) {
    return false;
  }
  *date = {year, month, day};
  return true;
}

// The firings that the schedule's type and times give, whatever the day.
DueFirings dueByTime(const PoeSchedule& schedule, const TickTime& now) {
  DueFirings due;
  if (isWindowType(schedule.type) && schedule.allDay != 0) {
    due.allDay = true;
  } else if (isWindowType(schedule.type)) {
    due.windowStart = isTimeOfDay(schedule.startTime.c_str(), now);
    due.windowEnd = isTimeOfDay(schedule.endTime.c_str(), now);
  } else if (schedule.type == ScheduleType::restart) {
    due.restart = isTimeOfDay(schedule.restartTime.c_str(), now);
  }
  return due;
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

int numberOfDigits(const char* twoDigits) {
  return 10 * (twoDigits[0] - '0') + twoDigits[1] - '0';
}

// Reads "07:30", as times are written, by hand, since a tick reads two of each schedule; any other
// text goes to sscanf.
bool readTime(const char* text, int* hour, int* minute) {
  const bool isUsual = strlen(text) == 5 && isDigit(text[0]) && isDigit(text[1]) &&
                       text[2] == ':' && isDigit(text[3]) && isDigit(text[4]);
  if (!isUsual) {
    return sscanf(text, "%d:%d", hour, minute) == 2;
  }
  *hour = numberOfDigits(text);
  *minute = numberOfDigits(text + 3);
  return true;
}

}  // namespace

bool isTimeOfDay(const char* text, const TickTime& now) {
  int hour = 0;
  int minute = 0;
  const bool inRange =
      readTime(text, &hour, &minute) && hour >= 0 && hour <= 23 && minute >= 0 && minute <= 59;
  return inRange && hour == now.hour && minute == now.minute;
}

bool isWithinDates(const PoeSchedule& schedule, const TickTime& now) {
  const Date today{now.year, now.month, now.day};
  Date bound;
  if (readDate(schedule.startDate.c_str(), &bound) && today < bound) {
    return false;
  }
  return !readDate(schedule.endDate.c_str(), &bound) || today <= bound;
}

int32_t recurrenceDay(Recurrence recurrence, const TickTime& now) {
  switch (recurrence) {
    case Recurrence::weekly:
      return now.weekday == 0 ? kSundayOfWeekly : now.weekday;
    case Recurrence::monthly:
      return now.day;
    default:
      return 0;
  }
}

DueFirings scheduleDue(const PoeSchedule& schedule, const TickTime& now) {
  if (schedule.enabled == 0 || schedule.recurrence == Recurrence::unknown) {
    return {};
  }
  const DueFirings due = dueByTime(schedule, now);
  return due.any() && isWithinDates(schedule, now) ? due : DueFirings{};
}
