// The two clocks, zones, and times and durations as people write and read them. Instants are
// seconds since 1970 UTC. Not for several threads: a zone is the process's TZ while it is worked
// with.
#ifndef QUORIN_CLI_TIMES_H
#define QUORIN_CLI_TIMES_H

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <type_traits>

#include "rules/tick_time.h"

// An instant by one of the two clocks. It serves as a number; a number, or an instant by the other
// clock, does not serve as it.
template <typename Clock>
class InstantBy {
 public:
  constexpr InstantBy() = default;
  constexpr explicit InstantBy(int64_t seconds) : seconds_(seconds) {}
  constexpr operator int64_t() const { return seconds_; }  // NOLINT: it is a number

 private:
  int64_t seconds_ = 0;
};
template <typename A, typename B>
using IfOtherClock = std::enable_if_t<!std::is_same_v<A, B>>;
template <typename A, typename B, typename = IfOtherClock<A, B>>
bool operator<(InstantBy<A>, InstantBy<B>) = delete;
template <typename A, typename B, typename = IfOtherClock<A, B>>
bool operator>(InstantBy<A>, InstantBy<B>) = delete;
template <typename A, typename B, typename = IfOtherClock<A, B>>
bool operator==(InstantBy<A>, InstantBy<B>) = delete;
template <typename A, typename B, typename = IfOtherClock<A, B>>
int64_t operator-(InstantBy<A>, InstantBy<B>) = delete;

// The switch's clock, by which schedules act.
using SwitchTime = InstantBy<struct ClockOfSwitch>;
// This system's clock, by which the daemon dates its runs and its log; in a lab that lab's.
using SystemTime = InstantBy<struct ClockOfSystem>;

SystemTime systemNow();

class Zone {
 public:
  // The name as in TZ: "Europe/Berlin", "CET-1CEST", "UTC".
  explicit Zone(std::string name) : name_(std::move(name)) {}
  // That of TZ when the program started, else the system's.
  static Zone ofProcess();

  tm at(int64_t instant) const;
  TickTime tickAt(int64_t instant) const;
  // The instant of a local time; fields out of range count on (day 32). Of a time that comes twice
  // the first, of one that is skipped in spring that after the gap, as mktime reads it.
  int64_t instantOf(tm local) const;
  int64_t instantOf(const TickTime& local) const;
  // Of a time that comes twice that which is nearer.
  int64_t instantNear(const TickTime& local, int64_t near) const;
  // None for a time that the zone skips.
  std::optional<int64_t> existingInstantOf(const TickTime& local) const;
  std::string abbreviation(int64_t instant) const;  // "CET", "+03"
  const std::string& name() const { return name_; }

 private:
  void use() const;
  int64_t offsetAt(int64_t instant) const;  // of local time, in seconds east
  std::string name_;                        // empty: the system's zone
};

// "Tue 2026-03-03 14:07:12".
std::string momentText(int64_t instant, const Zone& zone);
// As short as it is unmistakable from now: "Tue 14:07" within six days, else
// "Tue 2026-03-03 14:07".
std::string nearText(int64_t instant, int64_t now, const Zone& zone);
// "2026-03-03T14:07:12+01:00", for JSON.
std::string rfc3339(int64_t instant, const Zone& zone);
// "500 ms", "5 s", "1 min 30 s", "7 h 52 min", "3 d 4 h": two units at most, the rest cut off.
std::string durationText(int64_t milliseconds);
std::string secondsText(int64_t seconds);

// Milliseconds of "500ms", "10s", "5m", "1h30m", "2d", "10" (seconds); none for anything else.
std::optional<int64_t> parseDurationMs(const std::string& text);

// For a weekday or a time of day alone, which of the many is meant.
enum class Toward { past, future };

// "now", "today", "yesterday", "tomorrow", "tue", "tue 14:00", "14:00", "2026-03-03",
// "2026-03-03 14:00[:12]", "2026-03-03T14:00:12[Z|+01:00]", "-2h" (ago), "+2h". A day alone begins
// at 00:00; "tue" is the last Tuesday, today included, or for future the next. None for anything
// else; kMomentForms says what there is.
std::optional<int64_t> parseMoment(const std::string& text, int64_t now, const Zone& zone,
                                   Toward toward = Toward::past);
constexpr const char* kMomentForms =
    "times are \"14:00\", \"tue 14:00\", \"yesterday\", \"2026-03-03 14:00\" or \"-2h\"";

// Whether it is a date of the calendar: "2026-03-01" or "2026-3-1".
bool isDate(const std::string& text);

// 0 Sunday to 6 Saturday of "tue" or "Tuesday"; -1 for no weekday.
int weekdayNamed(const std::string& text);

// The instant of a time of the daemon's answers, "2026-11-21T04:22:43Z"; none for null and else.
std::optional<SystemTime> parseUtc(const char* textOrNull);

#endif
