#include "forecast/twin.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "forecast/firings.h"
#include "rules/due_firings.h"

namespace {

constexpr const char* kSuffix = " (morning after)";
constexpr const char* kMidnight = "00:00";
constexpr int32_t kDaysPerWeek = 7;
constexpr int32_t kDaysPerMonth = 31;
constexpr int32_t kDaysOfEveryMonth = 28;
constexpr int32_t kDaysOfTwoMonths = 62;    // in which every day of a month comes
constexpr size_t kMaxTwinedNameBytes = 47;  // a longer one has no room for the suffix

// A text without a date in it is kept: the daemon takes it for no bound in both schedules.
std::string nextDate(const char* text) {
  const std::optional<TickTime> date = dateRead(text);
  if (!date) {
    return text;
  }
  const TickTime next = dayAfter(*date, 1);
  char shown[40];
  snprintf(shown, sizeof shown, "%04d-%02d-%02d", next.year, next.month, next.day);
  return shown;
}

template <typename Element>
bool containsAll(const std::vector<Element>& all, const std::vector<Element>& some) {
  return std::all_of(some.begin(), some.end(), [&all](const Element& each) {
    return std::find(all.begin(), all.end(), each) != all.end();
  });
}

// The days after its own; of an all-day schedule those that are not its own, too.
std::vector<int32_t> daysAfter(const Schedule& schedule) {
  const int32_t lastDay = schedule.recurrence == Recurrence::weekly ? kDaysPerWeek : kDaysPerMonth;
  std::vector<int32_t> days;
  for (const int32_t day : schedule.days) {
    const int32_t next = day % lastDay + 1;
    const bool isOwn =
        isAllDayOff(schedule) && std::count(schedule.days.begin(), schedule.days.end(), next) > 0;
    if (!isOwn) {
      days.push_back(next);
    }
  }
  std::sort(days.begin(), days.end());
  return days;
}

// Whether the last day of an all-day schedule is none that one of the twin's days follows.
bool isCutShort(const Schedule& schedule, const std::vector<int32_t>& daysAfter) {
  const std::optional<TickTime> end = dateRead(schedule.endDate.c_str());
  if (!end) {
    return false;
  }
  TickTime day = dayAfter(*end, 0);
  const auto isDay = [&](const std::vector<int32_t>& days) {
    return std::count(days.begin(), days.end(), recurrenceDay(schedule.recurrence, day)) > 0;
  };
  for (int32_t i = 0; i < kDaysOfTwoMonths && !isDay(schedule.days); ++i) {
    day = dayAfter(day, -1);
  }
  day = dayAfter(day, 1);
  return !isDay(daysAfter);
}

std::string whyNoTwinOfDays(const Schedule& schedule) {
  if (schedule.recurrence == Recurrence::daily) {
    return dateRead(schedule.endDate.c_str()) ? "" : "its days never end";
  }
  const std::vector<int32_t> days = daysAfter(schedule);
  const bool isLateInMonth = schedule.recurrence == Recurrence::monthly &&
                             std::any_of(days.begin(), days.end(), [](int32_t day) {
                               return day > kDaysOfEveryMonth || day == 1;
                             });
  return isLateInMonth  ? "the days after those of a month are not the same every month"
         : days.empty() ? "it has every day: say --daily, and --dates with a last one"
         : isCutShort(schedule, days)
             ? "its last date is not the last of days that follow each other: end it on that"
             : "";
}

std::string whyNoTwinOfNights(const Schedule& schedule) {
  if (schedule.recurrence == Recurrence::daily && schedule.endDate.empty()) {
    return "it ends every morning itself";
  }
  if (schedule.recurrence != Recurrence::weekly && schedule.recurrence != Recurrence::daily) {
    return "the days after those of a month are not the same every month";
  }
  // The twin would begin and end in one minute, where these two may come in any order.
  if (schedule.type == ScheduleType::powerOn &&
      timeOfDay(schedule.endTime.c_str()) == timeOfDay(kMidnight)) {
    return "a window that powers on cannot be ended at 00:00 by another: let it end at 00:01";
  }
  return "";
}

bool hasSameDates(const Schedule& a, const Schedule& b) {
  return strcmp(a.startDate.c_str(), b.startDate.c_str()) == 0 &&
         strcmp(a.endDate.c_str(), b.endDate.c_str()) == 0;
}

}  // namespace

bool isOverMidnight(const Schedule& schedule) {
  const auto start = timeOfDay(schedule.startTime.c_str());
  const auto end = timeOfDay(schedule.endTime.c_str());
  return isWindowType(schedule.type) && schedule.allDay == 0 && start && end && *end < *start;
}

bool isAllDayOff(const Schedule& schedule) {
  return schedule.type == ScheduleType::powerOff && schedule.allDay != 0;
}

bool needsTwin(const Schedule& schedule) {
  const bool endsItself = schedule.recurrence == Recurrence::daily && schedule.endDate.empty();
  return isAllDayOff(schedule) || (isOverMidnight(schedule) && !endsItself);
}

std::string whyNoTwin(const Schedule& schedule) {
  const std::string why = isAllDayOff(schedule)      ? whyNoTwinOfDays(schedule)
                          : isOverMidnight(schedule) ? whyNoTwinOfNights(schedule)
                                                     : "it does not end on the day after its start";
  const bool isNameLong = strlen(schedule.name.c_str()) > kMaxTwinedNameBytes;
  return why.empty() && isNameLong ? "its name is longer than 47 bytes" : why;
}

std::string twinName(const Schedule& schedule) {
  return std::string(schedule.name.c_str()) + kSuffix;
}

Schedule twinOf(const Schedule& schedule) {
  Schedule twin = schedule;
  twin.scheduleId = 0;
  twin.name.assign(twinName(schedule).c_str());
  twin.startDate.assign(nextDate(schedule.startDate.c_str()).c_str());
  twin.endDate.assign(nextDate(schedule.endDate.c_str()).c_str());
  twin.days = daysAfter(schedule);
  if (!isAllDayOff(schedule)) {
    twin.startTime.assign(kMidnight);
    return twin;
  }
  twin.type = ScheduleType::powerOn;
  if (schedule.recurrence == Recurrence::daily) {
    twin.startDate = twin.endDate;
  }
  return twin;
}

bool isTwin(const Schedule& other, const Schedule& schedule) {
  return other.enabled != 0 && fitsAsTwin(other, schedule);
}

bool fitsAsTwin(const Schedule& other, const Schedule& schedule) {
  if (!whyNoTwin(schedule).empty() || other.unit != schedule.unit) {
    return false;
  }
  const Schedule wanted = twinOf(schedule);
  return strcmp(other.name.c_str(), wanted.name.c_str()) == 0 && other.type == wanted.type &&
         (other.allDay != 0) == (wanted.allDay != 0) && other.recurrence == wanted.recurrence &&
         timeOfDay(other.startTime.c_str()) == timeOfDay(wanted.startTime.c_str()) &&
         timeOfDay(other.endTime.c_str()) == timeOfDay(wanted.endTime.c_str()) &&
         containsAll(other.days, wanted.days) && containsAll(other.ifNums, wanted.ifNums) &&
         (!isAllDayOff(schedule) || hasSameDates(other, wanted));
}

const Schedule* twinAmong(const std::vector<Schedule>& all, const Schedule& schedule) {
  const Schedule* other = twinNamed(all, schedule);
  return other != nullptr && isTwin(*other, schedule) ? other : nullptr;
}

const Schedule* twinNamed(const std::vector<Schedule>& all, const Schedule& schedule) {
  for (const Schedule& other : all) {
    if (other.unit == schedule.unit && other.name.c_str() == twinName(schedule)) {
      return &other;
    }
  }
  return nullptr;
}
