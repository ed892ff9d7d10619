#include "client/commands/schedule/schedule_options.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <set>

#include "cli/failure.h"
#include "cli/text.h"
#include "client/command.h"
#include "forecast/check.h"
#include "forecast/firings.h"

namespace {

constexpr int32_t kDefaultOffTimeSec = 10;
constexpr int32_t kDaysPerWeek = 7;
constexpr int32_t kDaysPerMonth = 31;

[[noreturn]] void failUsage(const std::string& text) {
  throw Failure(kExitUsage, text);
}

// 1 to 7; -1 for no weekday.
int64_t weekDayNumber(const std::string& word) {
  const int named = weekdayNamed(word);
  if (named >= 0) {
    return named == 0 ? kDaysPerWeek : named;
  }
  return wholeNumber(word);
}

// "a-b,c" as days from 1 to last; a range may go over the end. what: for what is no day.
template <typename NumberOf>
std::vector<int32_t> daysOf(const std::string& text, int32_t last, const NumberOf& numberOf,
                            const char* what) {
  std::set<int32_t> days;
  for (const std::string& part : splitAt(text, ',')) {
    const std::vector<std::string> ends = splitAt(part, '-');
    const int64_t from = numberOf(ends.front());
    const int64_t to = numberOf(ends.back());
    if (ends.size() > 2 || std::min(from, to) < 1 || std::max(from, to) > last) {
      failUsage(inQuotes(part) + what);
    }
    for (int64_t day = from;; day = day % last + 1) {
      days.insert(static_cast<int32_t>(day));
      if (day == to) {
        break;
      }
    }
  }
  return {days.begin(), days.end()};
}

ScheduleType wantedType(const ScheduleWords& words) {
  return !words.off.empty()       ? ScheduleType::powerOff
         : !words.on.empty()      ? ScheduleType::powerOn
         : !words.restart.empty() ? ScheduleType::restart
                                  : ScheduleType::unknown;
}

// A new schedule gets the type and what is usual for it.
void applyType(const ScheduleWords& words, Schedule* schedule) {
  const ScheduleType wanted = wantedType(words);
  if (schedule->type == ScheduleType::unknown) {
    if (wanted == ScheduleType::unknown) {
      failUsage("what shall the schedule do? Give --off, --on or --restart with its ports.");
    }
    schedule->type = wanted;
    schedule->enabled = 1;
    schedule->recurrence = Recurrence::daily;
    schedule->offTimeSec = wanted == ScheduleType::restart ? kDefaultOffTimeSec : 0;
  } else if (wanted != ScheduleType::unknown && wanted != schedule->type) {
    failUsage("the type of schedule " + std::to_string(schedule->scheduleId) +
              " cannot change: add a new schedule, then delete this one.");
  }
}

void applyPorts(const ScheduleWords& words, const std::vector<PoePort>& ports, Schedule* schedule) {
  if (ports.empty()) {
    return;
  }
  const int32_t unit = schedule->unit > 0 ? schedule->unit : ports.front().unit;
  for (const PoePort& port : ports) {
    if (port.unit != unit) {
      failUsage(joined(words.ports(), ",") + ": ports of units " + std::to_string(unit) + " and " +
                std::to_string(port.unit) +
                " cannot be in one schedule. Make a schedule for each unit.");
    }
  }
  schedule->unit = unit;
  schedule->ifNums = ifNumsOf(ports);
}

// The daemon reads a time's beginning: "10:30pm" would be 10:30.
std::string checkedTime(const std::string& text, bool force) {
  const auto time = timeOfDay(text.c_str());
  const bool isPlain = isPlainTime(text);
  if (force && !isPlain) {
    return text;
  }
  if (!time) {
    failUsage(inQuotes(text) +
              " is not a time of day (00:00 to 23:59): the daemon would store it and never fire.");
  }
  char shown[16];
  snprintf(shown, sizeof shown, "%02d:%02d", time->first, time->second);
  if (!isPlain) {
    failUsage(inQuotes(text) + " is not a time of day (00:00 to 23:59): the daemon would read " +
              shown + ".");
  }
  return shown;
}

template <size_t kBytes>
void applyTime(const std::optional<std::string>& text, bool force, FixedText<kBytes>* time) {
  if (text) {
    time->assign(checkedTime(*text, force).c_str());
  }
}

// The daemon would never fire at 24:00.
constexpr const char* kEndOfDay = "24:00";

void applyRestart(const ScheduleWords& words, Schedule* schedule) {
  if (words.from || words.to || words.allDay) {
    failUsage("a restart has no window: give --at HH:MM and not --from, --to or --all-day.");
  }
  applyTime(words.at, words.force, &schedule->restartTime);
  if (words.offTimeMs >= 0) {
    schedule->offTimeSec = wholeSeconds("--off-time", words.offTimeMs, 1, INT32_MAX);
  }
  if (schedule->restartTime.empty()) {
    failUsage("when shall the ports restart? Give --at HH:MM.");
  }
}

void applyWindow(const ScheduleWords& words, Schedule* schedule) {
  if (words.at || words.offTimeMs >= 0) {
    failUsage(
        "--at and --off-time are for --restart: a window takes --from and --to, or --all-day.");
  }
  if (words.allDay) {
    schedule->allDay = 1;
    schedule->startTime.assign(nullptr);
    schedule->endTime.assign(nullptr);
    return;
  }
  applyTime(words.from, words.force, &schedule->startTime);
  if (words.to) {
    schedule->endTime.assign(
        (*words.to == kEndOfDay ? endTimeOf(*words.to) : checkedTime(*words.to, words.force))
            .c_str());
  }
  schedule->allDay = words.from || words.to ? 0 : schedule->allDay;
  if (schedule->allDay == 0 && (schedule->startTime.empty() || schedule->endTime.empty())) {
    failUsage("when is the window? Give --from HH:MM and --to HH:MM, or --all-day.");
  }
}

void applyDays(const ScheduleWords& words, Schedule* schedule) {
  if (words.daily) {
    schedule->recurrence = Recurrence::daily;
    schedule->days.clear();
  } else if (!words.weekly.empty()) {
    schedule->recurrence = Recurrence::weekly;
    schedule->days = weekDaysOf(joined(words.weekly, ","));
  } else if (!words.monthly.empty()) {
    schedule->recurrence = Recurrence::monthly;
    schedule->days = monthDaysOf(joined(words.monthly, ","));
  }
}

void applyDates(const ScheduleWords& words, Schedule* schedule) {
  if (!words.dates) {
    return;
  }
  const size_t dots = words.dates->find("..");
  const bool isOneDay = dots == std::string::npos;
  if (isOneDay && !isDate(*words.dates)) {
    failUsage(
        "--dates takes FIRST..LAST, such as 2026-01-01..2026-03-31, of which either may be left "
        "out, "
        "or one day.");
  }
  const std::string first = words.dates->substr(0, dots);
  const std::string last = isOneDay ? first : words.dates->substr(dots + 2);
  for (const std::string& date : {first, last}) {
    if (!date.empty() && !isDate(date) && !words.force) {
      failUsage(inQuotes(date) + " is no date of the calendar: dates are such as 2026-03-31.");
    }
  }
  schedule->startDate.assign(first.c_str());
  schedule->endDate.assign(last.c_str());
}

void applyName(const ScheduleWords& words, Schedule* schedule) {
  if (!words.name) {
    return;
  }
  const std::string fault = nameFault(*words.name);
  if (!fault.empty() && *words.name != schedule->name.c_str()) {
    failUsage(fault);
  }
  schedule->name.assign(words.name->c_str());
}

void applyRest(const ScheduleWords& words, Schedule* schedule) {
  if (words.staggerMs >= 0) {
    schedule->interPortDelaySec = wholeSeconds("--stagger", words.staggerMs, 0, INT32_MAX);
    schedule->executionMode =
        schedule->interPortDelaySec > 0 ? EXECUTION_SEQUENTIAL : EXECUTION_SIMULTANEOUS;
  }
  if (words.disabled) {
    schedule->enabled = 0;
  }
}

void addPortOptions(Arguments& app, ScheduleWords* words) {
  const Argument off = app.add("--off", words->off, "ports to switch off in a window");
  const Argument on = app.add("--on", words->on, "ports to switch on in a window");
  const Argument restart = app.add("--restart", words->restart, "ports to restart");
  off.named("PORT").excludes(on).excludes(restart);
  on.named("PORT").excludes(restart);
  restart.named("PORT");
}

void addTimeOptions(Arguments& app, ScheduleWords* words) {
  const Argument allDay = app.flag("--all-day", words->allDay, "the window is the whole day");
  app.add("--from", words->from, "when the window begins").named("HH:MM").excludes(allDay);
  app.add("--to", words->to, "when the window ends").named("HH:MM").excludes(allDay);
  app.add("--at", words->at, "when the ports restart").named("HH:MM");
  app.wholeSeconds("--off-time", &words->offTimeMs, "how long a restart keeps them dark [10s]");
}

void addDayOptions(Arguments& app, ScheduleWords* words) {
  const Argument daily = app.flag("--daily", words->daily, "on every day, as without days");
  const Argument weekly = app.add("--weekly", words->weekly, "days such as mon-fri or sat sun");
  const Argument monthly = app.add("--monthly", words->monthly, "days such as 1 15");
  weekly.named("DAYS").excludes(daily).excludes(monthly);
  monthly.named("DAYS").excludes(daily);
  app.add("--dates", words->dates, "first and last date: 2026-01-01..2026-03-31; or one day")
      .named("A..B");
}

}  // namespace

const std::vector<std::string>& ScheduleWords::ports() const {
  return !off.empty() ? off : !on.empty() ? on : restart;
}

bool ScheduleWords::any() const {
  return name || !ports().empty() || from || to || at || !weekly.empty() || !monthly.empty() ||
         dates || offTimeMs >= 0 || staggerMs >= 0 || allDay || daily || disabled;
}

void addScheduleOptions(Arguments& app, ScheduleWords* words) {
  addPortOptions(app, words);
  addTimeOptions(app, words);
  addDayOptions(app, words);
  app.wholeSeconds("--stagger", &words->staggerMs, "one port after the other, so far apart");
  app.flag("--disabled", words->disabled, "store it, but do not let it fire");
  app.flag(
      "--twin", words->twin,
      "also a second schedule that ends, on the mornings after its days, a window over midnight or "
      "all-day off");
  app.flag("--force", words->force, "store it even if it would never fire");
}

Schedule applied(const ScheduleWords& words, Schedule schedule, const std::vector<PoePort>& ports,
                 SwitchTime now, const Zone& zone) {
  const bool wasUseless = schedule.scheduleId != 0 && !whyUseless(schedule, now, zone).empty();
  applyType(words, &schedule);
  applyName(words, &schedule);
  applyPorts(words, ports, &schedule);
  schedule.type == ScheduleType::restart ? applyRestart(words, &schedule)
                                         : applyWindow(words, &schedule);
  applyDays(words, &schedule);
  applyDates(words, &schedule);
  applyRest(words, &schedule);
  if (words.to == kEndOfDay && timeOfDay(schedule.startTime.c_str()) == timeOfDay("00:00")) {
    failUsage("00:00 to 24:00 would begin and end in one minute: --all-day, or --to 23:59");
  }
  if (words.to == kEndOfDay && needsTwin(schedule) && !whyNoTwin(schedule).empty()) {
    failUsage("24:00 is 00:00 of the next day, where " + whyNoTwin(schedule) +
              ". To end it on its own day: --to 23:59");
  }

  const bool isTaken = words.force || wasUseless;  // it gets no worse
  const std::string useless = isTaken ? "" : whyUseless(schedule, now, zone);
  if (!useless.empty()) {
    failUsage("the daemon would store " + inQuotes(schedule.name.c_str()) + ", but " + useless +
              ". To store it all the same: --force");
  }
  return schedule;
}

std::string endTimeOf(const std::string& text) {
  return text == kEndOfDay ? "00:00" : checkedTime(text, false);
}

std::vector<int32_t> weekDaysOf(const std::string& text) {
  return daysOf(text, kDaysPerWeek, weekDayNumber,
                " is no day of the week: days are mon-fri, sat,sun or 1-5.");
}

std::vector<int32_t> monthDaysOf(const std::string& text) {
  return daysOf(
      text, kDaysPerMonth, [](const std::string& word) { return wholeNumber(word); },
      " is no day of a month: days are 1 to 31, such as 1,15 or 28-31.");
}
