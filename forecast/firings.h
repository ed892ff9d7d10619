// When schedules fire: the daemon's own rules (rules/due_firings.h), asked for whole days.
#ifndef QUORIN_FORECAST_FIRINGS_H
#define QUORIN_FORECAST_FIRINGS_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "api/records.h"
#include "cli/times.h"

enum class Act { off, on, restart };
const char* actText(Act act);

// What a schedule does in one minute.
struct Firing {
  int64_t at = 0;  // the instant at which the minute begins
  Act act = Act::off;
  bool isEnd = false;  // a window's end
};

// The hour and minute that the daemon reads out of a time ("7:5" is 07:05); none for what it never
// fires at, such as "25:00" and "".
std::optional<std::pair<int32_t, int32_t>> timeOfDay(const char* text);

// When the window that began at the instant ends, whether the schedule fires on that day or not; of
// an all-day schedule the end of the day, and the instant itself where no end can be read.
int64_t windowEnd(const Schedule& schedule, int64_t start, const Zone& zone);

// What the schedule does on the local day of the tick, whatever its time, in order; of a start and
// an end in one minute the start comes first. Times that the zone skips on that day are left out,
// of those that come twice the first counts. Nothing for a disabled schedule.
std::vector<Firing> firingsOn(const Schedule& schedule, const TickTime& day, const Zone& zone);

// The first firing in a minute that begins after the instant; none within kFiringYears.
std::optional<Firing> nextFiring(const Schedule& schedule, int64_t after, const Zone& zone);
constexpr int32_t kFiringYears = 9;  // 29 February may be eight years away

// Whether an all-day schedule applies on the day of the instant. The daemon then carries it out
// within a minute unless it has on that day, whatever the time; its firing counts as that of 00:00.
bool isAllDayDue(const Schedule& schedule, int64_t now, const Zone& zone);

// Why a schedule without next firing has none: "disabled", "its dates ended on 2025-12-31".
std::string whyNever(const Schedule& schedule, int64_t now, const Zone& zone);

// The local day that is so many days after the tick's, at 00:00, with its weekday.
TickTime dayAfter(const TickTime& day, int32_t days);

#endif
