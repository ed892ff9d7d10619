// The time that one tick of the scheduler goes by.
#ifndef QUORIN_RULES_TICK_TIME_H
#define QUORIN_RULES_TICK_TIME_H

#include <cstdint>
#include <ctime>

// A broken-down local time of the switch.
struct TickTime {
  int32_t year = 0;     // full, such as 2024
  int32_t month = 0;    // 1 to 12
  int32_t day = 0;      // of the month, 1 to 31
  int32_t hour = 0;     // 0 to 23
  int32_t minute = 0;   // 0 to 59
  int32_t second = 0;   // 0 to 60
  int32_t weekday = 0;  // 0 Sunday to 6 Saturday
};

constexpr int kTmYearBase = 1900;  // of tm_year (POSIX)

// A sum without overflow: a string may hold any number, and mktime leaves the fields as they are
// when it can't normalise them.
int addWrapping(int number, int offset);

TickTime tickOf(const tm& calendar);

bool isSameMinute(const TickTime& a, const TickTime& b);

#endif
