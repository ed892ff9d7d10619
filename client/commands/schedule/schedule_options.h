// The options that make a schedule, as a person writes them.
#ifndef QUORIN_CLIENT_COMMANDS_SCHEDULE_SCHEDULE_OPTIONS_H
#define QUORIN_CLIENT_COMMANDS_SCHEDULE_SCHEDULE_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "api/records.h"
#include "cli/command_line.h"
#include "cli/times.h"

// What was given; the rest is empty, none or false.
struct ScheduleWords {
  std::optional<std::string> name;
  std::vector<std::string> off;  // ports
  std::vector<std::string> on;
  std::vector<std::string> restart;
  std::vector<std::string> weekly;  // days
  std::vector<std::string> monthly;
  std::optional<std::string> from;
  std::optional<std::string> to;
  std::optional<std::string> at;
  std::optional<std::string> dates;
  int64_t offTimeMs = -1;
  int64_t staggerMs = -1;
  bool allDay = false;
  bool daily = false;
  bool disabled = false;
  bool twin = false;
  bool force = false;

  // Those of --off, --on or --restart.
  const std::vector<std::string>& ports() const;
  // Whether something of the schedule itself is given.
  bool any() const;
};

// The options of add and set; name is not among them.
void addScheduleOptions(Arguments& app, ScheduleWords* words);

// The schedule as the words change it, ports being those of words.ports(). A schedule without a
// type is a new one. Throws Failure, kExitUsage, for what makes no schedule, and, unless
// words.force is set, for what the daemon would store but never do.
Schedule applied(const ScheduleWords& words, Schedule schedule, const std::vector<PoePort>& ports,
                 SwitchTime now, const Zone& zone);

// "22:00" of a time of day as a person writes it; "00:00" of the end "24:00". Throws Failure,
// kExitUsage.
std::string endTimeOf(const std::string& text);

// 1 Monday to 7 Sunday of "mon-fri", "sat,sun" or "1-5"; 1 to 31 of "1,15" or "28-31"; ascending.
// Throw Failure, kExitUsage.
std::vector<int32_t> weekDaysOf(const std::string& text);
std::vector<int32_t> monthDaysOf(const std::string& text);

#endif
