#include "forecast/check.h"

#include <algorithm>

#include "cli/mapped.h"
#include "cli/text.h"
#include "forecast/clashes.h"
#include "forecast/firings.h"
#include "rules/due_firings.h"

namespace {

constexpr int32_t kDaysAhead = 35;
constexpr int32_t kDaysOfTwoMonths = 62;  // in which every day of a month comes
constexpr int32_t kDaysOfEveryMonth = 28;
constexpr int32_t kDaysPerYear = 366;
constexpr int32_t kMinPerHour = 60;
constexpr int32_t kMinPerDay = 24 * kMinPerHour;
constexpr int64_t kSecPerMin = 60;
constexpr int64_t kSecPerDay = kMinPerDay * kSecPerMin;
constexpr uint32_t kMaxSwitchedIfNum = 128;

std::string command(const Schedule& schedule, const char* options) {
  return "quorin_poectl schedule set " + std::to_string(schedule.scheduleId) + " " + options;
}

Schedule enabledCopy(const Schedule& schedule) {
  Schedule copy = schedule;
  copy.enabled = 1;
  return copy;
}

bool isTimed(const Schedule& schedule) {
  return isWindowType(schedule.type) && schedule.allDay == 0;
}

// From a window's start to its end; 0 where a time is unreadable.
int32_t windowMinutes(const Schedule& schedule) {
  if (schedule.allDay != 0) {
    return kMinPerDay;
  }
  const auto start = timeOfDay(schedule.startTime.c_str());
  const auto end = timeOfDay(schedule.endTime.c_str());
  if (!start || !end) {
    return 0;
  }
  const int32_t minutes =
      (end->first - start->first) * kMinPerHour + end->second - start->second + kMinPerDay;
  return minutes % kMinPerDay;
}

const char* windowState(const Schedule& schedule) {
  return schedule.type == ScheduleType::powerOn ? "on" : "off";
}

// A window with one readable time of two; empty for all else.
std::string unreadableTime(const Schedule& schedule) {
  const bool isStartRead = timeOfDay(schedule.startTime.c_str()).has_value();
  const bool isEndRead = timeOfDay(schedule.endTime.c_str()).has_value();
  if (!isTimed(schedule) || isStartRead == isEndRead) {
    return "";
  }
  return inQuotes(isStartRead ? schedule.endTime.c_str() : schedule.startTime.c_str()) +
         " is not a time of day: it never " + (isStartRead ? "ends" : "starts");
}

void checkTimes(const Schedule& schedule, const CheckInput& input, ScheduleWarnings* warnings) {
  const std::string time = unreadableTime(schedule);
  if (!time.empty()) {
    warnings->push_back(
        {"badTime", time, "to correct it: " + command(schedule, "--from HH:MM --to HH:MM")});
  } else if (!nextFiring(schedule, input.view.now(), input.view.zone)) {
    warnings->push_back({"never",
                         "never fires: " + whyNever(schedule, input.view.now(), input.view.zone),
                         "to change it: " + command(schedule, "--help")});
  }
  for (const char* date : {schedule.startDate.c_str(), schedule.endDate.c_str()}) {
    if (*date != '\0' && !dateRead(date)) {
      warnings->push_back({"badDate",
                           inQuotes(date) + " is no date: the daemon goes by no such bound",
                           "to correct it: " + command(schedule, "--dates A..B")});
    }
  }
}

void checkPorts(const Schedule& schedule, const CheckInput& input, ScheduleWarnings* warnings) {
  std::vector<uint32_t> missing;
  std::vector<uint32_t> above;
  const auto& ports = input.ports;
  const bool isUnitThere = ports && unitsOf(*ports).count(schedule.unit) > 0;
  for (const uint32_t ifNum : schedule.ifNums) {
    if (ports && findPort(*ports, PoePort{schedule.unit, ifNum}) == nullptr) {
      missing.push_back(ifNum);
    }
    if (ifNum > kMaxSwitchedIfNum) {
      above.push_back(ifNum);
    }
  }

  const std::string unit = "unit " + std::to_string(schedule.unit);
  if (ports && !isUnitThere) {
    warnings->push_back({"noUnit", unit + " has no PoE ports, or is not there", ""});
  } else if (!missing.empty()) {
    warnings->push_back(
        {"noPort", input.view.names.ranges(missing) + ": no PoE port of " + unit, ""});
  }
  if (!above.empty()) {
    warnings->push_back(
        {"above128",
         input.view.names.ranges(above) + ": the daemon switches no port with an ifNum above 128",
         ""});
  }
}

// The twin of a window that ends at 00:00 begins and ends then.
bool isTwinOfAny(const Schedule& schedule, const std::vector<Schedule>& all) {
  return std::any_of(all.begin(), all.end(),
                     [&](const Schedule& other) { return fitsAsTwin(schedule, other); });
}

// The daemon fires on the days that there are.
void checkMonthDays(const Schedule& schedule, ScheduleWarnings* warnings) {
  std::vector<std::string> late;
  for (const int32_t day : schedule.days) {
    if (schedule.recurrence == Recurrence::monthly && day > kDaysOfEveryMonth) {
      late.push_back(std::to_string(day));
    }
  }
  if (!late.empty()) {
    warnings->push_back({"shortMonth",
                         "not every month has a day " + joined(late, ", ") +
                             ": it does not fire in those that lack it",
                         ""});
  }
}

void checkLength(const Schedule& schedule, const CheckInput& input, ScheduleWarnings* warnings) {
  const bool isRead = timeOfDay(schedule.startTime.c_str()) && timeOfDay(schedule.endTime.c_str());
  if (!isTimed(schedule) || !isRead) {
    return;
  }
  const int64_t length = windowMinutes(schedule) * kSecPerMin;
  const int64_t pauses =
      schedule.executionMode == EXECUTION_SEQUENTIAL
          ? static_cast<int64_t>(schedule.ifNums.size()) * std::max(schedule.interPortDelaySec, 0)
          : 0;
  if (length == 0 && isTwinOfAny(schedule, input.schedules)) {
    return;
  }
  if (length == 0) {
    warnings->push_back({"emptyWindow", "starts and ends in the same minute",
                         "to change it: " + command(schedule, "--to HH:MM")});
  } else if (length < pauses) {
    warnings->push_back({"shortWindow",
                         "its window of " + secondsText(length) +
                             " is shorter than the pauses between its " +
                             counted(schedule.ifNums.size(), "port") + ", " + secondsText(pauses),
                         "to shorten them: " + command(schedule, "--stagger TIME")});
  }
}

// The days that may hold a window without its end: some weeks from the next firing, and the last of
// its dates.
std::vector<TickTime> daysToLookAt(const Schedule& schedule, const CheckInput& input) {
  std::vector<TickTime> days;
  const std::optional<Firing> next = nextFiring(schedule, input.view.now(), input.view.zone);
  if (!next) {
    return days;
  }
  const TickTime first = input.view.zone.tickAt(next->at);
  for (int32_t i = 0; i < kDaysAhead; ++i) {
    days.push_back(dayAfter(first, i));
  }
  if (const std::optional<TickTime> last = dateRead(schedule.endDate.c_str())) {
    days.push_back(dayAfter(*last, 0));
  }
  return days;
}

std::optional<Firing> firstOf(const std::vector<Firing>& firings, bool isEnd) {
  const auto found = std::find_if(firings.begin(), firings.end(),
                                  [isEnd](const Firing& each) { return each.isEnd == isEnd; });
  return found != firings.end() ? std::make_optional(*found) : std::nullopt;
}

bool isDisabledIn(const std::vector<Schedule>& all, const Schedule& schedule) {
  return std::any_of(all.begin(), all.end(), [&schedule](const Schedule& each) {
    return each.unit == schedule.unit && each.scheduleId == schedule.scheduleId &&
           each.enabled == 0;
  });
}

// Whether another schedule of the unit does then what the window's end would; to a disabled
// schedule, which is looked at as if it were enabled, the others are, too.
bool isEndedByAnother(const Schedule& schedule, SwitchTime at, const TickTime& day,
                      const CheckInput& input) {
  const Act act = schedule.type == ScheduleType::powerOn ? Act::off : Act::on;
  const bool isDisabled = isDisabledIn(input.schedules, schedule);
  for (const Schedule& each : input.schedules) {
    const Schedule other = isDisabled ? enabledCopy(each) : each;
    const bool hasPorts =
        other.unit == schedule.unit && other.scheduleId != schedule.scheduleId &&
        std::all_of(schedule.ifNums.begin(), schedule.ifNums.end(), [&](uint32_t ifNum) {
          return std::count(other.ifNums.begin(), other.ifNums.end(), ifNum) > 0;
        });
    for (const Firing& firing :
         hasPorts ? firingsOn(other, day, input.view.zone) : std::vector<Firing>()) {
      if (firing.at == at && firing.act == act) {
        return true;
      }
    }
  }
  return false;
}

// The instant of the window's end on the day after; none where the clock skips it.
std::optional<SwitchTime> endOn(const Schedule& schedule, TickTime day, const Zone& zone) {
  const auto end = timeOfDay(schedule.endTime.c_str());
  day.hour = end->first;
  day.minute = end->second;
  const std::optional<int64_t> at = zone.existingInstantOf(day);
  return at ? std::make_optional(SwitchTime(*at)) : std::nullopt;
}

std::string stayText(const Schedule& schedule, SwitchTime start, const CheckInput& input) {
  std::string text = "from " + input.view.near(start) + " the ports stay " + windowState(schedule);
  TickTime day = dayAfter(input.view.zone.tickAt(start), 1);
  for (int32_t i = 0; i < kDaysAhead; ++i, day = dayAfter(day, 1)) {
    if (const auto end = firstOf(firingsOn(schedule, day, input.view.zone), true)) {
      return text + " until " + input.view.near(end->at);
    }
  }
  return text;
}

void warnOfMissingEnd(const Schedule& schedule, const TickTime& endDay, SwitchTime start,
                      const CheckInput& input, ScheduleWarnings* warnings) {
  Schedule undated = schedule;
  undated.startDate.assign(nullptr);
  undated.endDate.assign(nullptr);
  const std::string why = isWithinDates(schedule, endDay)
                              ? "ends on its own days only (" + daysText(undated) + ")"
                              : "its last night ends after its last date";
  const std::string advice = whyNoTwin(schedule).empty()
                                 ? "to end it each morning: " + command(schedule, "--twin")
                                 : "to end it, too: quorin_poectl schedule add --help";
  warnings->push_back({"noEnd", why + ": " + stayText(schedule, start, input), advice});
}

void checkEnd(const Schedule& schedule, const CheckInput& input, ScheduleWarnings* warnings) {
  if (!isOverMidnight(schedule)) {
    return;
  }
  for (const TickTime& day : daysToLookAt(schedule, input)) {
    const auto start = firstOf(firingsOn(schedule, day, input.view.zone), false);
    const TickTime endDay = dayAfter(day, 1);
    const auto end = endOn(schedule, endDay, input.view.zone);
    if (!start || !end || firstOf(firingsOn(schedule, endDay, input.view.zone), true) ||
        isEndedByAnother(schedule, *end, endDay, input)) {
      continue;
    }
    warnOfMissingEnd(schedule, endDay, start->at, input, warnings);
    return;
  }
}

void checkTwin(const Schedule& schedule, const CheckInput& input, ScheduleWarnings* warnings) {
  const Schedule* twin = twinNamed(input.schedules, schedule);
  if (twin == nullptr) {
    return;
  }
  const std::string title = std::to_string(twin->scheduleId) + " " + inQuotes(twin->name.c_str());
  const std::string id = std::to_string(twin->scheduleId);
  if (!needsTwin(schedule)) {
    warnings->push_back({"twin", "its twin " + title + " is needed no more: " + whyNoTwin(schedule),
                         "to delete it: quorin_poectl schedule delete " + id});
  } else if (!fitsAsTwin(*twin, schedule)) {
    warnings->push_back({"twin", "its twin " + title + " no longer fits",
                         whyNoTwin(schedule).empty() ? "to mend it: " + command(schedule, "--twin")
                                                     : "it can have none: " + whyNoTwin(schedule)});
  } else if (twin->enabled == 0 && !isDisabledIn(input.schedules, schedule)) {
    warnings->push_back({"twin", "its twin " + title + " is disabled",
                         "to enable it: quorin_poectl schedule enable " + id});
  }
}

// When an all-day schedule acts for the last time, or, without a last date, next.
std::optional<SwitchTime> lastDay(const Schedule& schedule, const CheckInput& input) {
  const std::optional<Firing> next = nextFiring(schedule, input.view.now(), input.view.zone);
  const std::optional<TickTime> end = dateRead(schedule.endDate.c_str());
  for (int32_t i = 0; end && i < kDaysOfTwoMonths; ++i) {
    const std::vector<Firing> firings = firingsOn(schedule, dayAfter(*end, -i), input.view.zone);
    if (!firings.empty()) {
      return firings.front().at;
    }
  }
  return next ? std::make_optional(next->at) : std::nullopt;
}

void checkLastingOff(const Schedule& schedule, const CheckInput& input,
                     ScheduleWarnings* warnings) {
  const auto last = isAllDayOff(schedule) ? lastDay(schedule, input) : std::nullopt;
  if (!last) {
    return;
  }
  const bool isDisabled = isDisabledIn(input.schedules, schedule);
  const std::vector<Schedule> others =
      isDisabled ? mapped(input.schedules, enabledCopy) : input.schedules;
  std::vector<uint32_t> left;
  for (const uint32_t ifNum : schedule.ifNums) {
    if (!nextOn({schedule.unit, ifNum}, others, *last, input.view.zone)) {
      left.push_back(ifNum);
    }
  }
  if (!left.empty()) {
    warnings->push_back({"staysOff",
                         "nothing switches " + input.view.names.ranges(left) + " on again",
                         whyNoTwin(schedule).empty()
                             ? "to switch them on after its days: " + command(schedule, "--twin")
                             : "to switch them on, too: quorin_poectl schedule add --help"});
  }
}

// The days of the coming year around whose night the clock goes forward.
std::vector<TickTime> daysWithGap(const Zone& zone, SwitchTime now) {
  std::vector<TickTime> days;
  TickTime noon = dayAfter(zone.tickAt(now), -1);
  noon.hour = kMinPerDay / kMinPerHour / 2;
  int64_t before = zone.instantOf(noon);
  for (int32_t i = 0; i < kDaysPerYear; ++i) {
    TickTime next = dayAfter(noon, 1);
    next.hour = noon.hour;
    const int64_t after = zone.instantOf(next);
    if (after - before < kSecPerDay) {
      days.insert(days.end(), {noon, next});
    }
    noon = next;
    before = after;
  }
  return days;
}

// In UTC, which skips no time, the schedule's firings of a day are its local times.
void checkGap(const Schedule& schedule, const Zone& zone, const std::vector<TickTime>& gapDays,
              ScheduleWarnings* warnings) {
  const Zone utc("UTC");
  for (const TickTime& day : gapDays) {
    for (const Firing& firing : firingsOn(schedule, dayAfter(day, 0), utc)) {
      if (zone.existingInstantOf(utc.tickAt(firing.at))) {
        continue;
      }
      const std::string minute = momentText(firing.at, utc);
      warnings->push_back(
          {"clockChange",
           "the clock skips " + minute.substr(0, minute.size() - 3) + ": " +
               (firing.isEnd ? "the window does not end that day" : "it does not fire that day"),
           "choose a time outside the hour that is skipped"});
      return;
    }
  }
}

// The schedule's own zone, and the one that is shown, which may be the switch's where TZ is not.
std::vector<Zone> zonesOf(const CheckInput& input) {
  return input.view.zone.name() == input.view.shownZone.name()
             ? std::vector<Zone>{input.view.zone}
             : std::vector<Zone>{input.view.zone, input.view.shownZone};
}

}  // namespace

std::vector<ScheduleWarnings> checkSchedules(const CheckInput& input) {
  std::vector<ScheduleWarnings> all;
  const std::vector<ScheduleWarnings> clashes = clashesOf(input);
  const std::vector<Zone> zones = zonesOf(input);
  const auto gapDays =
      mapped(zones, [&input](const Zone& zone) { return daysWithGap(zone, input.view.now()); });

  for (size_t own = 0; own < input.schedules.size(); ++own) {
    const Schedule schedule = enabledCopy(input.schedules[own]);
    ScheduleWarnings warnings;
    checkTimes(schedule, input, &warnings);
    checkPorts(schedule, input, &warnings);
    checkLength(schedule, input, &warnings);
    checkMonthDays(schedule, &warnings);
    checkEnd(schedule, input, &warnings);
    checkLastingOff(schedule, input, &warnings);
    checkTwin(schedule, input, &warnings);
    for (size_t i = 0; i < zones.size(); ++i) {
      checkGap(schedule, zones[i], gapDays[i], &warnings);
    }
    warnings.insert(warnings.end(), clashes[own].begin(), clashes[own].end());
    all.push_back(std::move(warnings));
  }
  return all;
}

std::string whyUseless(const Schedule& schedule, SwitchTime now, const Zone& zone) {
  const Schedule enabled = enabledCopy(schedule);
  std::string time = unreadableTime(enabled);
  if (!time.empty()) {
    return time;
  }
  const bool acts = nextFiring(enabled, now, zone) || isAllDayDue(enabled, now, zone);
  return acts ? "" : whyNever(enabled, now, zone);
}
