#include "scheduler/due_firings.h"

#include <cstdio>
#include <tuple>

namespace {

constexpr int32_t kSundayOfWeekly = 7;

using Date = std::tuple<int, int, int>;  // year, month, day

bool readDate(const char* text, Date* date) {
  int year = 0;
  int month = 0;
  int day = 0;
  if (sscanf(text, "%d-%d-%d", &year, &month, &day) != 3) {
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

}  // namespace

bool isTimeOfDay(const char* text, const TickTime& now) {
  int hour = 0;
  int minute = 0;
  const bool inRange = sscanf(text, "%d:%d", &hour, &minute) == 2 && hour >= 0 && hour <= 23 &&
                       minute >= 0 && minute <= 59;
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
