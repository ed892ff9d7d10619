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

// What is done to a port.
enum class Act { off, on, restart };
const char* actText(Act act);

// That a schedule acts in a minute.
struct Firing {
  SwitchTime at;  // at which the minute begins
  Act act = Act::off;
  bool isEnd = false;                  // a window's end
  const Schedule* schedule = nullptr;  // one of those that were asked for
};

bool actsOn(const Schedule& schedule, const PoePort& port);

// "off"; "on (end)" for the end of a window.
std::string actWithEnd(const Firing& firing);

// The hour and minute that the daemon reads out of a time ("7:5" is 07:05); none for what it never
// fires at, such as "25:00" and "".
std::optional<std::pair<int32_t, int32_t>> timeOfDay(const char* text);

// The day of a date as the daemon reads it ("2026-3-1" is read); none for what is no bound.
std::optional<TickTime> dateRead(const char* text);
// Whether its last date is before the day.
bool areDatesOver(const Schedule& schedule, const TickTime& today);
// Both dates can be read, and the first one comes after the last.
bool hasReversedDates(const Schedule& schedule);

// Whether a time is what the daemon reads out of it, and nothing more: not "10:30pm".
bool isPlainTime(const std::string& text);

// When the window that began at the instant ends, whether the schedule fires on that day or not; of
// an all-day schedule the end of the day, and the instant itself where no end can be read.
SwitchTime windowEnd(const Schedule& schedule, SwitchTime start, const Zone& zone);

// The pauses between the schedule's ports, in seconds.
int64_t pausesSec(const Schedule& schedule);
// How long a restart has its ports, in seconds: until the last one is on again.
int64_t restartSec(const Schedule& schedule);

// What the schedule does on the local day of the tick, whatever its time, in order; of a start and
// an end in one minute the start comes first. Times that the zone skips on that day are left out,
// of those that come twice the first counts. Nothing for a disabled schedule.
std::vector<Firing> firingsOn(const Schedule& schedule, const TickTime& day, const Zone& zone);

// The first firing in a minute that begins after the instant; none within kFiringYears.
std::optional<Firing> nextFiring(const Schedule& schedule, SwitchTime after, const Zone& zone);
constexpr int32_t kFiringYears = 9;  // 29 February may be eight years away

// All firings in minutes that begin after one instant and not after another, in the order in which
// the daemon carries them out: by time, then schedule by schedule.
std::vector<Firing> firingsWithin(const std::vector<Schedule>& schedules, SwitchTime after,
                                  SwitchTime last, const Zone& zone);
// Those up to now, from so far back that each schedule's last one is among them: the day of a month
// comes within 62 days.
std::vector<Firing> pastFirings(const std::vector<Schedule>& schedules, SwitchTime now,
                                const Zone& zone);
// The first so many after the instant; fewer when no more come within kFiringYears.
std::vector<Firing> nextFirings(const std::vector<Schedule>& schedules, SwitchTime after,
                                size_t count, const Zone& zone);

// What schedules make of one port over time: those of the firings that act on it, in their order.
std::vector<Firing> courseOf(const PoePort& port, const std::vector<Firing>& firings);

// What of the schedules next switches the port on after the instant, be it a restart; none within
// kFiringYears. Points into the schedules.
std::optional<Firing> nextOn(const PoePort& port, const std::vector<Schedule>& schedules,
                             SwitchTime after, const Zone& zone);

// Whether an all-day schedule applies on the day of the instant. The daemon then carries it out
// within a minute unless it has on that day, whatever the time; its firing counts as that of 00:00.
bool isAllDayDue(const Schedule& schedule, SwitchTime now, const Zone& zone);

// Why a schedule without next firing has none: "disabled", "its dates ended on 2025-12-31".
std::string whyNever(const Schedule& schedule, SwitchTime now, const Zone& zone);

// The local day that is so many days after the tick's, at 00:00, with its weekday.
TickTime dayAfter(const TickTime& day, int32_t days);

#endif
