// Random schedules, and what they do in each minute, reckoned without any of the daemon's code. All
// times are seconds since 1970, as if local time were UTC.
#ifndef QUORIN_TESTS_SUPPORT_RECKONED_H
#define QUORIN_TESTS_SUPPORT_RECKONED_H

#include <ctime>
#include <random>
#include <set>
#include <string>

constexpr int kMinutesPerDay = 1440;
constexpr time_t kDaySec = 86400;

// As strftime has it, in UTC.
std::string timeText(time_t seconds, const char* format);

// A schedule of two ports, and what has become of it so far.
struct Reckoned {
  uint32_t port;  // the first
  std::string type, recurrence;
  int start, end = 0;  // minutes of the day
  bool allDay = false, enabled = true;
  time_t first = 0, last = 0;  // days, inclusive; 0: open
  std::set<int> days = {};
  std::string results = "";  // of its runs, those of open ones as "running"

  bool isWindow() const { return type != "restart" && !allDay; }
};

Reckoned randomSchedule(uint32_t port, time_t firstDay, int days, std::mt19937* random);
// As clients send it.
std::string membersOf(const Reckoned& schedule);
bool appliesOn(const Reckoned& schedule, time_t now);
// Whether a window or a restart starts, or a window's end comes, in this minute.
bool startsIn(const Reckoned& schedule, time_t now);
bool endsIn(const Reckoned& schedule, time_t now);
// What the minute does to each port, each act as in acts() and behind a blank.
std::string passMinute(Reckoned* schedule, time_t now, bool isFirstOfDay);

#endif
