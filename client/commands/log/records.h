// The daemon's log file as records. They have no line ends: each begins with its timestamp and its
// level, where the one before it ends.
#ifndef QUORIN_CLIENT_COMMANDS_LOG_RECORDS_H
#define QUORIN_CLIENT_COMMANDS_LOG_RECORDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/table.h"

struct LogRecord {
  std::string stamp;    // "2026-03-03 14:07:12.345", the daemon's local time; empty when cut off
  int32_t level = -1;   // a syslog priority; -1 when it is not told
  std::string message;  // as it was written: not escaped
};

// Cuts a stream of bytes into records.
class LogSplitter {
 public:
  // The records that are complete now. A record is complete when the next one has begun.
  std::vector<LogRecord> feed(std::string_view bytes);
  // What is left as a record, if anything; for the end of the stream, or when it has paused.
  std::optional<LogRecord> rest();

 private:
  std::string pending_;
};

// The log's levels: "error" 3, "warn" 4, "notice" 5, "info" 6, "debug" 7. Empty, and none, for
// others; case does not matter.
std::string logLevelName(int32_t level);
std::optional<int32_t> logLevelNamed(const std::string& name);
// For an option's type_name: completion offers what is in it.
constexpr const char* kLevelChoices = "{error,warn,notice,info,debug}";
// Throws Failure (kExitUsage) for a word that is no level.
int32_t levelOfWord(const std::string& word);

// "2026-03-03 14:07:12.345  warn    [function:12] message", with its line end.
std::string recordText(const LogRecord& record, const Screen& screen);

#endif
