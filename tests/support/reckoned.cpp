#include "tests/support/reckoned.h"

#include "tests/support/fixtures.h"

namespace {

constexpr const char* kTypes[] = {"power_off", "power_on", "restart"};
constexpr const char* kRecurrences[] = {"daily", "weekly", "monthly"};

}  // namespace

std::string timeText(time_t seconds, const char* format) {
  char text[32] = "";
  tm calendar{};
  return std::string(text, strftime(text, sizeof text, format, gmtime_r(&seconds, &calendar)));
}

Reckoned randomSchedule(uint32_t port, time_t firstDay, int days, std::mt19937* random) {
  const auto chance = [&](int in) { return pick(random, 1, in) == 1; };
  const auto minute = [&] { return pick(random, 0, kMinutesPerDay - 1); };
  const auto date = [&] { return chance(4) ? firstDay + kDaySec * pick(random, -1, days) : 0; };
  Reckoned schedule{port, kTypes[pick(random, 0, 2)], kRecurrences[pick(random, 0, 2)], minute()};
  schedule.end = chance(5) ? schedule.start : minute();
  if (schedule.type == "power_on" && schedule.start == schedule.end) {
    schedule.end = (schedule.start + 1) % kMinutesPerDay;  // both would contend for the ports
  }
  schedule.allDay = schedule.type != "restart" && chance(6);
  schedule.enabled = !chance(10);
  schedule.first = date();
  schedule.last = date();
  const int lastDay = schedule.recurrence == "weekly" ? 7 : 31;
  for (int i = pick(random, lastDay / 4 + 1, lastDay - 1); i > 0; --i) {
    schedule.days.insert(pick(random, 1, lastDay));
  }
  return schedule;
}

std::string membersOf(const Reckoned& schedule) {
  std::ostringstream days;
  std::copy(schedule.days.begin(), schedule.days.end(), std::ostream_iterator<int>(days, ","));
  const std::string start = timeText(schedule.start * 60, "%R");
  const auto date = [](time_t day) { return day == 0 ? "" : timeText(day, "%F"); };
  return fill(R"("scheduleType":"%","recurrence":"%","startTime":"%","restartTime":"%",)"
              R"("endTime":"%","startDate":"%","endDate":"%","allDay":%,"enabled":%,)"
              R"("recurrenceDays":[%],"ifNums":[%,%])",
              schedule.type, schedule.recurrence, start, start, timeText(schedule.end * 60, "%R"),
              date(schedule.first), date(schedule.last), schedule.allDay ? "true" : "false",
              schedule.enabled ? "true" : "false", days.str() + "0", schedule.port,
              schedule.port + 1);
}

bool appliesOn(const Reckoned& schedule, time_t now) {
  tm calendar{};
  gmtime_r(&now, &calendar);
  const time_t day = now - now % kDaySec;
  const int weekday = calendar.tm_wday == 0 ? 7 : calendar.tm_wday;
  return schedule.enabled && day >= schedule.first &&
         (schedule.last == 0 || day <= schedule.last) &&
         (schedule.recurrence == "daily" ||
          schedule.days.count(schedule.recurrence == "weekly" ? weekday : calendar.tm_mday) > 0);
}

bool startsIn(const Reckoned& schedule, time_t now) {
  return appliesOn(schedule, now) && !schedule.allDay && now % kDaySec / 60 == schedule.start;
}

bool endsIn(const Reckoned& schedule, time_t now) {
  return schedule.isWindow() && appliesOn(schedule, now) && now % kDaySec / 60 == schedule.end;
}

std::string passMinute(Reckoned* schedule, time_t now, bool isFirstOfDay) {
  const bool isOn = schedule->type == "power_on";
  std::string done;
  const bool isAllDay = schedule->allDay && isFirstOfDay && appliesOn(*schedule, now);
  if (isAllDay || startsIn(*schedule, now)) {
    done = schedule->type == "restart" ? "-+" : isOn ? "+" : "-";
    schedule->results = replaced(schedule->results, "running", "failed");
    schedule->results += schedule->isWindow() ? "running " : "success ";
  }
  if (endsIn(*schedule, now)) {
    done += isOn ? "-" : "+";
    schedule->results = replaced(schedule->results, "running", "success");
  }

  std::string text;
  for (const uint32_t port : {schedule->port, schedule->port + 1}) {
    for (const char act : done) {
      text += fill(" %%", port, act);
    }
  }
  return text;
}
