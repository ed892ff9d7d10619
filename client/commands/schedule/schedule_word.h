// The schedules that a person names on the command line, by their ids or their names.
#ifndef QUORIN_CLIENT_COMMANDS_SCHEDULE_SCHEDULE_WORD_H
#define QUORIN_CLIENT_COMMANDS_SCHEDULE_SCHEDULE_WORD_H

#include <optional>
#include <string>
#include <vector>

#include "api/records.h"
#include "cli/command_line.h"

// What decides where a word is the id of one and the name of another: --id or --name.
struct WordKind {
  bool isId = false;
  bool isName = false;

  WordIs meant() const;
};

struct ScheduleWord {
  std::string text;
  WordKind kind;

  bool isGiven() const { return !text.empty(); }
  // Throws as findSchedule of api/records.h does.
  const Schedule& find(const std::vector<Schedule>& all, std::optional<int32_t> unit) const;
};

struct ManyScheduleWords {
  std::vector<std::string> texts;
  WordKind kind;

  // Each once. Throws as findSchedule does: all are there, or none is found.
  std::vector<const Schedule*> find(const std::vector<Schedule>& all,
                                    std::optional<int32_t> unit) const;
};

// Add ID, which the caller may require, and --id and --name.
Argument addScheduleWord(Arguments& app, ScheduleWord* word, const std::string& help);
Argument addScheduleWords(Arguments& app, ManyScheduleWords* words);

#endif
