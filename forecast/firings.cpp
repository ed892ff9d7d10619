#include "forecast/firings.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <tuple>

#include "cli/mapped.h"
#include "cli/text.h"
#include "rules/due_firings.h"

namespace {

constexpr int32_t kDaysPerYear = 366;
constexpr int32_t kDaysAtFirst = 8;
constexpr int32_t kMaxDays = kFiringYears * kDaysPerYear;
constexpr int32_t kEndOfDayHour = 24;
constexpr int32_t kMaxStartsBeforeEnd = 3;  // a skipped hour may cost an end
constexpr int64_t kMemorySec = int64_t{62} * 86400;

// A day's minute that could be one of the schedule's.
TickTime minuteOf(const TickTime& day, int32_t hour, int32_t minute) {
  TickTime tick = day;
  tick.hour = hour;
  tick.minute = minute;
  tick.second = 0;
  return tick;
}

bool appliesOn(const Schedule& schedule, const TickTime& day) {
  const int32_t wanted = recurrenceDay(schedule.recurrence, day);
  return wanted == 0 ||
         std::find(schedule.days.begin(), schedule.days.end(), wanted) != schedule.days.end();
}

bool isAllDay(const Schedule& schedule) {
  return isWindowType(schedule.type) && schedule.allDay != 0;
}

// In the order of the minute's work.
std::vector<Firing> firingsOf(const Schedule& schedule, const DueFirings& due, SwitchTime at) {
  const Act start = schedule.type == ScheduleType::powerOn ? Act::on : Act::off;
  const Act end = start == Act::on ? Act::off : Act::on;
  std::vector<Firing> firings;
  if (due.windowStart || due.allDay) {
    firings.push_back({at, start, false, &schedule});
  }
  if (due.windowEnd) {
    firings.push_back({at, end, true, &schedule});
  }
  if (due.restart) {
    firings.push_back({at, Act::restart, false, &schedule});
  }
  return firings;
}

// The minutes of the day in which something may be due, without repeats.
std::vector<TickTime> candidates(const Schedule& schedule, const TickTime& day, const Zone& zone) {
  if (isAllDay(schedule)) {
    return {zone.tickAt(zone.instantOf(minuteOf(day, 0, 0)))};
  }
  std::vector<std::pair<int32_t, int32_t>> times;
  for (const char* text :
       {schedule.startTime.c_str(), schedule.endTime.c_str(), schedule.restartTime.c_str()}) {
    const auto time = timeOfDay(text);
    if (time && std::find(times.begin(), times.end(), *time) == times.end()) {
      times.push_back(*time);
    }
  }
  std::sort(times.begin(), times.end());

  return mapped(times, [&day](const auto& time) { return minuteOf(day, time.first, time.second); });
}

bool hasReadableTime(const Schedule& schedule) {
  return schedule.allDay != 0 || timeOfDay(schedule.startTime.c_str()) ||
         timeOfDay(schedule.endTime.c_str()) || timeOfDay(schedule.restartTime.c_str());
}

std::string badTime(const Schedule& schedule) {
  const bool isRestart = schedule.type == ScheduleType::restart;
  const char* text = isRestart ? schedule.restartTime.c_str() : schedule.startTime.c_str();
  return inQuotes(text) + " is not a time of day";
}

// Of dates as the daemon reads them: a day on which the end has passed is outside for good.
}  // namespace

const char* actText(Act act) {
  return act == Act::off ? "off" : act == Act::on ? "on" : "restart";
}

bool actsOn(const Schedule& schedule, const PoePort& port) {
  const std::vector<uint32_t>& ifNums = schedule.ifNums;
  return schedule.unit == port.unit &&
         std::find(ifNums.begin(), ifNums.end(), port.ifNum) != ifNums.end();
}

std::string actWithEnd(const Firing& firing) {
  return std::string(actText(firing.act)) + (firing.isEnd ? " (end)" : "");
}

std::optional<std::pair<int32_t, int32_t>> timeOfDay(const char* text) {
  TickTime tick;
  const bool isRead = sscanf(text, "%d:%d", &tick.hour, &tick.minute) == 2;
  if (!isRead || !isTimeOfDay(text, tick)) {
    return std::nullopt;
  }
  return std::pair(tick.hour, tick.minute);
}

bool isPlainTime(const std::string& text) {
  return text.find_first_not_of("0123456789:") == std::string::npos &&
         std::count(text.begin(), text.end(), ':') == 1 && timeOfDay(text.c_str());
}

SwitchTime windowEnd(const Schedule& schedule, SwitchTime start, const Zone& zone) {
  const TickTime day = zone.tickAt(start);
  if (isAllDay(schedule)) {
    return SwitchTime(zone.instantOf(dayAfter(day, 1)));
  }
  const auto end = timeOfDay(schedule.endTime.c_str());
  if (!end) {
    return start;
  }
  const bool isNextDay = *end < std::pair(day.hour, day.minute);
  const TickTime last = minuteOf(dayAfter(day, isNextDay ? 1 : 0), end->first, end->second);
  return SwitchTime(zone.instantOf(last));
}

int64_t pausesSec(const Schedule& schedule) {
  const int64_t pauseSec =
      schedule.executionMode == EXECUTION_SEQUENTIAL ? std::max(schedule.interPortDelaySec, 0) : 0;
  return pauseSec * std::max<int64_t>(static_cast<int64_t>(schedule.ifNums.size()) - 1, 0);
}

int64_t restartSec(const Schedule& schedule) {
  return std::max(schedule.offTimeSec, 0) + pausesSec(schedule);
}

std::vector<Firing> firingsOn(const Schedule& schedule, const TickTime& day, const Zone& zone) {
  std::vector<Firing> firings;
  if (!appliesOn(schedule, day)) {
    return firings;
  }
  for (const TickTime& minute : candidates(schedule, day, zone)) {
    const DueFirings due = scheduleDue(schedule, minute);
    const std::optional<int64_t> at = due.any() ? zone.existingInstantOf(minute) : std::nullopt;
    if (at) {
      const std::vector<Firing> ofMinute = firingsOf(schedule, due, SwitchTime(*at));
      firings.insert(firings.end(), ofMinute.begin(), ofMinute.end());
    }
  }
  return firings;
}

std::optional<Firing> nextFiring(const Schedule& schedule, SwitchTime after, const Zone& zone) {
  if (schedule.enabled == 0 || !hasReadableTime(schedule)) {
    return std::nullopt;
  }
  TickTime day = dayAfter(zone.tickAt(after), 0);
  for (int32_t i = 0; i < kMaxDays && !areDatesOver(schedule, day); ++i) {
    for (const Firing& firing : firingsOn(schedule, day, zone)) {
      if (firing.at > after) {
        return firing;
      }
    }
    day = dayAfter(day, 1);
  }
  return std::nullopt;
}

std::vector<Firing> firingsWithin(const std::vector<Schedule>& schedules, SwitchTime after,
                                  SwitchTime last, const Zone& zone) {
  std::vector<Firing> all;
  TickTime day = dayAfter(zone.tickAt(after), 0);
  for (; zone.instantOf(day) <= last; day = dayAfter(day, 1)) {
    for (const Schedule& schedule : schedules) {
      for (const Firing& firing : firingsOn(schedule, day, zone)) {
        if (firing.at > after && firing.at <= last) {
          all.push_back(firing);
        }
      }
    }
  }
  const auto isEarlier = [](const Firing& a, const Firing& b) { return a.at < b.at; };
  std::stable_sort(all.begin(), all.end(), isEarlier);
  return all;
}

std::vector<Firing> pastFirings(const std::vector<Schedule>& schedules, SwitchTime now,
                                const Zone& zone) {
  return firingsWithin(schedules, SwitchTime(now - kMemorySec), now, zone);
}

// Most want those of the next days; few schedules act once in years.
std::vector<Firing> nextFirings(const std::vector<Schedule>& schedules, SwitchTime after,
                                size_t count, const Zone& zone) {
  std::vector<Firing> all;
  for (int32_t days = kDaysAtFirst; all.size() < count; days *= 4) {
    TickTime end = dayAfter(zone.tickAt(after), std::min(days, kMaxDays));
    end.hour = kEndOfDayHour;
    all = firingsWithin(schedules, after, SwitchTime(zone.instantOf(end) - 1), zone);
    if (days >= kMaxDays) {
      break;
    }
  }
  all.resize(std::min(all.size(), count));
  return all;
}

std::vector<Firing> courseOf(const PoePort& port, const std::vector<Firing>& firings) {
  std::vector<Firing> course;
  std::copy_if(firings.begin(), firings.end(), std::back_inserter(course),
               [&port](const Firing& firing) { return actsOn(*firing.schedule, port); });
  return course;
}

std::string whyNever(const Schedule& schedule, SwitchTime now, const Zone& zone) {
  if (schedule.enabled == 0) {
    return "disabled";
  }
  if (schedule.recurrence != Recurrence::daily && schedule.days.empty()) {
    return "it has no days";
  }
  if (!hasReadableTime(schedule)) {
    return badTime(schedule);
  }
  if (hasReversedDates(schedule)) {
    return std::string("its dates are reversed: ") + schedule.endDate.c_str() + " is before " +
           schedule.startDate.c_str();
  }
  if (areDatesOver(schedule, zone.tickAt(now))) {
    return std::string("its dates ended on ") + schedule.endDate.c_str();
  }
  const std::vector<Firing> today = firingsOn(schedule, zone.tickAt(now), zone);
  if (!today.empty()) {
    const TickTime last = zone.tickAt(today.back().at);
    char text[64];
    snprintf(text, sizeof text, "its last time was today at %02d:%02d", last.hour, last.minute);
    return isAllDay(schedule) ? "today is its last day" : text;
  }
  return "no day of its dates is one of its days";
}

std::optional<Firing> nextOn(const PoePort& port, const std::vector<Schedule>& schedules,
                             SwitchTime after, const Zone& zone) {
  std::optional<Firing> first;
  for (const Schedule& schedule : schedules) {
    const bool neverOn = schedule.type == ScheduleType::powerOff && schedule.allDay != 0;
    std::optional<Firing> next =
        actsOn(schedule, port) && !neverOn ? nextFiring(schedule, after, zone) : std::nullopt;
    for (int32_t i = 0; next && next->act == Act::off && i < kMaxStartsBeforeEnd; ++i) {
      next = nextFiring(schedule, next->at, zone);
    }
    if (next && next->act != Act::off) {
      first = !first || next->at < first->at ? next : first;
    }
  }
  return first;
}

bool isAllDayDue(const Schedule& schedule, SwitchTime now, const Zone& zone) {
  return isAllDay(schedule) && !firingsOn(schedule, zone.tickAt(now), zone).empty();
}

std::optional<TickTime> dateRead(const char* text) {
  TickTime date;
  if (sscanf(text, "%d-%d-%d", &date.year, &date.month, &date.day) != 3) {
    return std::nullopt;
  }
  return date;
}

bool areDatesOver(const Schedule& schedule, const TickTime& today) {
  Schedule endOnly = schedule;
  endOnly.startDate.assign(nullptr);
  return !isWithinDates(endOnly, today);
}

bool hasReversedDates(const Schedule& schedule) {
  const std::optional<TickTime> first = dateRead(schedule.startDate.c_str());
  const std::optional<TickTime> last = dateRead(schedule.endDate.c_str());
  return first && last &&
         std::tie(last->year, last->month, last->day) <
             std::tie(first->year, first->month, first->day);
}

TickTime dayAfter(const TickTime& day, int32_t days) {
  tm calendar{};
  calendar.tm_year = day.year - 1900;
  calendar.tm_mon = day.month - 1;
  calendar.tm_mday = day.day + days;
  timegm(&calendar);
  TickTime other;
  other.year = calendar.tm_year + 1900;
  other.month = calendar.tm_mon + 1;
  other.day = calendar.tm_mday;
  other.weekday = calendar.tm_wday;
  return other;
}
