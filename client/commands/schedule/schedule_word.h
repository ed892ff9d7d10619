// The schedule that a person names on the command line, by its id or its name.
#ifndef QUORIN_CLIENT_COMMANDS_SCHEDULE_SCHEDULE_WORD_H
#define QUORIN_CLIENT_COMMANDS_SCHEDULE_SCHEDULE_WORD_H

#include <optional>
#include <string>
#include <vector>

#include "api/records.h"
#include "cli/command_line.h"

struct ScheduleWord {
  std::string text;
  bool isId = false;  // these two decide where it is the id of one and the name of another
  bool isName = false;

  bool isGiven() const { return !text.empty(); }
  // Throws as findSchedule of api/records.h does.
  const Schedule& find(const std::vector<Schedule>& all, std::optional<int32_t> unit) const;
};

// Adds ID, which the caller may require, and --id and --name.
Argument addScheduleWord(Arguments& app, ScheduleWord* word, const std::string& help);

#endif
