#include "cli/times.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cli/lab_clock.h"
#include "cli/text.h"

namespace {

constexpr int64_t kMsPerSec = 1000;
constexpr int64_t kMaxMsShown = 10000;
constexpr int64_t kSecPerMin = 60;
constexpr int64_t kSecPerHour = 3600;
constexpr int64_t kSecPerDay = 86400;
constexpr int64_t kMaxSec = kSecPerDay * 366 * 100;
constexpr int kDaysPerWeek = 7;
constexpr std::array<const char*, kDaysPerWeek> kWeekdays{"Sun", "Mon", "Tue", "Wed",
                                                          "Thu", "Fri", "Sat"};

std::string environmentZone() {
  const char* zone = getenv("TZ");
  return zone != nullptr ? zone : "";
}

// Of TZ when the program started, before any zone was used.
const std::string kStartZone = environmentZone();

tm calendarOf(const TickTime& local) {
  tm calendar{};
  calendar.tm_year = local.year - kTmYearBase;
  calendar.tm_mon = local.month - 1;
  calendar.tm_mday = local.day;
  calendar.tm_hour = local.hour;
  calendar.tm_min = local.minute;
  calendar.tm_sec = local.second;
  return calendar;
}

std::string formatted(const tm& calendar, const char* format) {
  char text[64];
  return std::string(text, strftime(text, sizeof text, format, &calendar));
}

const char* weekdayOf(const tm& calendar) {
  return kWeekdays[static_cast<size_t>(calendar.tm_wday) % kDaysPerWeek];
}

// The days from one local date to another.
int64_t daysBetween(const tm& from, const tm& to) {
  const auto dayNumber = [](const tm& calendar) {
    tm date{};
    date.tm_year = calendar.tm_year;
    date.tm_mon = calendar.tm_mon;
    date.tm_mday = calendar.tm_mday;
    return timegm(&date) / kSecPerDay;
  };
  return dayNumber(to) - dayNumber(from);
}

struct DurationUnit {
  const char* name;
  int64_t ms;
};

const DurationUnit* unitOf(const std::string& name) {
  static constexpr DurationUnit kUnits[] = {{"ms", 1},
                                            {"s", kMsPerSec},
                                            {"m", kMsPerSec * kSecPerMin},
                                            {"min", kMsPerSec * kSecPerMin},
                                            {"h", kMsPerSec * kSecPerHour},
                                            {"d", kMsPerSec * kSecPerDay},
                                            {"w", kMsPerSec * 7 * kSecPerDay}};
  for (const DurationUnit& unit : kUnits) {
    if (name == unit.name) {
      return &unit;
    }
  }
  return nullptr;
}

// "14:00" or "14:00:12" into the fields.
bool readTimeOfDay(const std::string& text, tm* calendar) {
  int second = 0;
  int end = 0;
  int hour = 0;
  int minute = 0;
  if (sscanf(text.c_str(), "%2d:%2d%n", &hour, &minute, &end) != 2 || text[0] == '+' ||
      text[0] == '-') {
    return false;
  }
  std::string rest = text.substr(static_cast<size_t>(end));
  if (rest.size() == 3 && rest[0] == ':') {
    second = static_cast<int>(wholeNumber(rest.substr(1)));
    rest.clear();
  }
  calendar->tm_hour = hour;
  calendar->tm_min = minute;
  calendar->tm_sec = second;
  return rest.empty() && hour >= 0 && hour <= 23 && minute >= 0 && minute <= 59 && second >= 0 &&
         second <= 59;
}

// "2026-03-03" of a real day into the fields.
bool readDate(const std::string& text, tm* calendar) {
  const std::vector<std::string> parts = splitAt(text, '-');
  if (parts.size() != 3 || parts[0].size() != 4 || parts[1].size() > 2 || parts[2].size() > 2) {
    return false;
  }
  tm date{};
  date.tm_year = static_cast<int>(wholeNumber(parts[0])) - kTmYearBase;
  date.tm_mon = static_cast<int>(wholeNumber(parts[1])) - 1;
  date.tm_mday = static_cast<int>(wholeNumber(parts[2]));
  tm real = date;
  timegm(&real);
  calendar->tm_year = date.tm_year;
  calendar->tm_mon = date.tm_mon;
  calendar->tm_mday = date.tm_mday;
  return wholeNumber(parts[0]) > 0 && real.tm_mday == date.tm_mday && real.tm_mon == date.tm_mon;
}

// The day that a word names, into the date of *calendar, which is today's. Whether it could be
// another week's, too, is told by *isWeekday.
bool readDay(const std::string& word, Toward toward, tm* calendar, bool* isWeekday) {
  const int weekday = weekdayNamed(word);
  *isWeekday = weekday >= 0;
  if (*isWeekday) {
    const int ago = (calendar->tm_wday - weekday + kDaysPerWeek) % kDaysPerWeek;
    calendar->tm_mday -= toward == Toward::past || ago == 0 ? ago : ago - kDaysPerWeek;
    return true;
  }
  if (word == "today" || word == "yesterday" || word == "tomorrow") {
    calendar->tm_mday += word == "today" ? 0 : word == "yesterday" ? -1 : 1;
    return true;
  }
  return readDate(word, calendar);
}

// A zone behind a time: "Z", "+01:00". Takes it off the text.
std::optional<int64_t> takeOffset(std::string* text) {
  if (!text->empty() && text->back() == 'Z') {
    text->pop_back();
    return 0;
  }
  int hours = 0;
  int minutes = 0;
  char sign = 0;
  constexpr size_t kOffsetChars = 6;
  if (text->size() < kOffsetChars + 5 ||
      sscanf(text->c_str() + text->size() - kOffsetChars, "%c%2d:%2d", &sign, &hours, &minutes) !=
          3 ||
      (sign != '+' && sign != '-')) {
    return std::nullopt;
  }
  text->resize(text->size() - kOffsetChars);
  const int64_t offset = hours * kSecPerHour + minutes * kSecPerMin;
  return sign == '+' ? offset : -offset;
}

// "2026-03-03T14:00:12Z".
std::optional<int64_t> parseIsoMoment(std::string text, const Zone& zone) {
  const std::optional<int64_t> offset = takeOffset(&text);
  const size_t middle = text.find('T');
  tm calendar{};
  if (middle == std::string::npos || !readDate(text.substr(0, middle), &calendar) ||
      !readTimeOfDay(text.substr(middle + 1), &calendar)) {
    return std::nullopt;
  }
  return offset ? int64_t{timegm(&calendar)} - *offset : zone.instantOf(calendar);
}

// "DAY", "TIME" or "DAY TIME".
std::optional<int64_t> parseDayMoment(const std::string& text, int64_t now, const Zone& zone,
                                      Toward toward) {
  tm calendar = zone.at(now);
  calendar.tm_hour = calendar.tm_min = calendar.tm_sec = 0;
  const size_t blank = text.find(' ');
  const std::string first = text.substr(0, blank);
  const bool isTimeAlone = blank == std::string::npos && readTimeOfDay(first, &calendar);
  bool isWeekday = false;
  if (!isTimeAlone && !readDay(first, toward, &calendar, &isWeekday)) {
    return std::nullopt;
  }
  if (blank != std::string::npos && !readTimeOfDay(text.substr(blank + 1), &calendar)) {
    return std::nullopt;
  }

  const int period = isTimeAlone ? 1 : isWeekday ? kDaysPerWeek : 0;
  const int64_t instant = zone.instantOf(calendar);
  if (toward == Toward::past && instant > now) {
    calendar.tm_mday -= period;
  } else if (toward == Toward::future && instant < now && (isTimeAlone || blank != text.npos)) {
    calendar.tm_mday += period;
  }
  return zone.instantOf(calendar);
}

}  // namespace

SystemTime systemNow() {
  return SystemTime(systemMs() / kMsPerSec);
}

Zone Zone::ofProcess() {
  return Zone(kStartZone);
}

// Changing TZ is slow: only when another zone was used last.
void Zone::use() const {
  if (environmentZone() == name_) {
    return;
  }
  if (name_.empty()) {
    unsetenv("TZ");
  } else {
    setenv("TZ", name_.c_str(), 1);
  }
  tzset();
}

int weekdayNamed(const std::string& text) {
  static constexpr std::array<const char*, kDaysPerWeek> kNames{
      "sunday", "monday", "tuesday", "wednesday", "thursday", "friday", "saturday"};
  for (size_t i = 0; i < kNames.size(); ++i) {
    const bool isShort = text.size() == 3 && strncasecmp(text.c_str(), kNames[i], 3) == 0;
    if (isShort || strcasecmp(text.c_str(), kNames[i]) == 0) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

tm Zone::at(int64_t instant) const {
  use();
  const time_t seconds = static_cast<time_t>(instant);
  tm calendar{};
  localtime_r(&seconds, &calendar);
  return calendar;
}

TickTime Zone::tickAt(int64_t instant) const {
  return tickOf(at(instant));
}

// Of a time that comes twice mktime may take either, and which of them counts as summer time is the
// zone's affair: the first one is that by the offset of the day before.
int64_t Zone::instantOf(tm local) const {
  use();
  tm asUtc = local;
  const int64_t utc = timegm(&asUtc);
  local.tm_isdst = -1;
  const int64_t instant = mktime(&local);
  const int64_t first = utc - offsetAt(instant - kSecPerDay);
  return first < instant && first + offsetAt(first) == utc ? first : instant;
}

int64_t Zone::instantOf(const TickTime& local) const {
  return instantOf(calendarOf(local));
}

int64_t Zone::instantNear(const TickTime& local, int64_t near) const {
  const int64_t first = instantOf(local);
  const int64_t second = first + offsetAt(first) - offsetAt(first + kSecPerDay);
  const bool comesTwice = second > first && isSameMinute(tickAt(first), tickAt(second));
  return comesTwice && std::abs(second - near) < std::abs(first - near) ? second : first;
}

int64_t Zone::offsetAt(int64_t instant) const {
  return at(instant).tm_gmtoff;
}

std::optional<int64_t> Zone::existingInstantOf(const TickTime& local) const {
  const int64_t instant = instantOf(local);
  return isSameMinute(tickAt(instant), local) ? std::make_optional(instant) : std::nullopt;
}

std::string Zone::abbreviation(int64_t instant) const {
  return formatted(at(instant), "%Z");
}

std::string momentText(int64_t instant, const Zone& zone) {
  const tm calendar = zone.at(instant);
  return std::string(weekdayOf(calendar)) + formatted(calendar, " %Y-%m-%d %H:%M:%S");
}

std::string nearText(int64_t instant, int64_t now, const Zone& zone) {
  const tm calendar = zone.at(instant);
  const int64_t days = daysBetween(zone.at(now), calendar);
  const bool isNear = days > -kDaysPerWeek && days < kDaysPerWeek;
  return std::string(weekdayOf(calendar)) +
         formatted(calendar, isNear ? " %H:%M" : " %Y-%m-%d %H:%M");
}

std::string rfc3339(int64_t instant, const Zone& zone) {
  std::string text = formatted(zone.at(instant), "%Y-%m-%dT%H:%M:%S%z");
  return text.insert(text.size() - 2, ":");
}

std::string durationText(int64_t milliseconds) {
  if (milliseconds % kMsPerSec != 0 && milliseconds < kMaxMsShown) {
    return std::to_string(milliseconds) + " ms";
  }
  return secondsText(milliseconds / kMsPerSec);
}

std::string secondsText(int64_t seconds) {
  struct Unit {
    const char* name;
    int64_t sec;
  };
  constexpr Unit kUnits[] = {
      {" d", kSecPerDay}, {" h", kSecPerHour}, {" min", kSecPerMin}, {" s", 1}};
  for (const Unit* unit = kUnits; unit->sec > 1; ++unit) {
    if (seconds >= unit->sec) {
      const Unit& next = unit[1];
      const int64_t rest = seconds % unit->sec / next.sec;
      const std::string whole = std::to_string(seconds / unit->sec) + unit->name;
      return rest == 0 ? whole : whole + " " + std::to_string(rest) + next.name;
    }
  }
  return std::to_string(seconds) + " s";
}

std::optional<int64_t> parseDurationMs(const std::string& text) {
  int64_t total = 0;
  size_t at = 0;
  while (at < text.size()) {
    const size_t unitAt = text.find_first_not_of("0123456789", at);
    const int64_t count = wholeNumber(text.substr(at, unitAt - at));
    const size_t end = std::min(text.find_first_of("0123456789", unitAt), text.size());
    const bool isPlain = unitAt == std::string::npos && at == 0;
    const DurationUnit* unit =
        unitOf(isPlain ? "s" : text.substr(std::min(unitAt, text.size()), end - unitAt));
    if (count < 0 || unit == nullptr) {
      return std::nullopt;
    }
    total += count * unit->ms;
    if (total > kMaxSec * kMsPerSec) {
      return std::nullopt;
    }
    at = end;
  }
  return text.empty() ? std::nullopt : std::make_optional(total);
}

std::optional<int64_t> parseMoment(const std::string& text, int64_t now, const Zone& zone,
                                   Toward toward) {
  if (text == "now") {
    return now;
  }
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    const std::optional<int64_t> ms = parseDurationMs(text.substr(1));
    const int64_t sec = ms.value_or(0) / kMsPerSec;
    return ms ? std::make_optional(now + (text[0] == '-' ? -sec : sec)) : std::nullopt;
  }
  const std::optional<int64_t> iso = parseIsoMoment(text, zone);
  return iso ? iso : parseDayMoment(text, now, zone, toward);
}

bool isDate(const std::string& text) {
  tm calendar{};
  return readDate(text, &calendar);
}

std::optional<SystemTime> parseUtc(const char* textOrNull) {
  const auto at = textOrNull != nullptr ? parseIsoMoment(textOrNull, Zone("UTC")) : std::nullopt;
  return at ? std::make_optional(SystemTime(*at)) : std::nullopt;
}
