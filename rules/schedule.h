// A schedule: which ports to power on, off or restart, on which days, between which dates, at which
// times.
#ifndef QUORIN_RULES_SCHEDULE_H
#define QUORIN_RULES_SCHEDULE_H

#include <cstdint>
#include <vector>

#include "base/execution_mode.h"
#include "base/fixed_text.h"

enum class ScheduleType : int32_t { unknown = 0, powerOn = 1, restart = 2, powerOff = 3 };
enum class Recurrence : int32_t { unknown = 0, daily = 1, weekly = 2, monthly = 3 };

// Dates are "2025-03-01", times "07:30" in the switch's local time; an empty text is an absent
// value. Nothing but the evaluation interprets them.
struct PoeSchedule {
  int64_t scheduleId = 0;  // 0 until the store assigns one
  int32_t unit = 0;        // filled from the database only
  FixedText<64> name;      // unique in its unit
  ScheduleType type = ScheduleType::unknown;
  FixedText<16> startDate;
  FixedText<16> endDate;
  Recurrence recurrence = Recurrence::unknown;
  FixedText<8> startTime;    // of a power_on or power_off window
  FixedText<8> endTime;      // of a power_on or power_off window
  FixedText<8> restartTime;  // of a restart
  int32_t offTimeSec = 0;    // restart: how long the ports stay dark
  ExecutionMode executionMode = EXECUTION_SIMULTANEOUS;
  int32_t interPortDelaySec = 0;  // between two ports in sequential mode
  int32_t allDay = 0;             // non-zero: the window is the whole day and needs no times
  int32_t enabled = 0;
  std::vector<int32_t> days;  // weekly: 1 Monday to 7 Sunday; monthly: 1 to 31
  std::vector<uint32_t> ifNums;
};

// Whether schedules of a type span a window, or a whole day.
constexpr bool isWindowType(ScheduleType type) {
  return type == ScheduleType::powerOn || type == ScheduleType::powerOff;
}

// Strings in the database and in JSON. Unknown values read as "unknown" and, by design, "weekly".
const char* scheduleTypeText(ScheduleType type);
const char* recurrenceText(Recurrence recurrence);
// The values of exactly these strings; unknown for any other and for null.
ScheduleType scheduleTypeOf(const char* textOrNull);
Recurrence recurrenceOf(const char* textOrNull);

#endif
