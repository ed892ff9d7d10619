#include "client/commands/log/records.h"

#include <strings.h>

#include <array>
#include <cctype>

#include "cli/failure.h"
#include "cli/text.h"

namespace {

constexpr std::string_view kStampForm = "0000-00-00 00:00:00.000 (";
constexpr size_t kStampBytes = 23;
constexpr size_t kMaxLevelBytes = 6;

struct Level {
  const char* name;
  const char* written;  // in the file
  int32_t number;
  Tint tint;
};
constexpr std::array<Level, 5> kLevels{{{"error", "ERROR", 3, Tint::bad},
                                        {"warn", "WARN", 4, Tint::warning},
                                        {"notice", "NOTICE", 5, Tint::good},
                                        {"info", "INFO", 6, Tint::plain},
                                        {"debug", "DEBUG", 7, Tint::faint}}};

bool isStampAt(std::string_view text) {
  if (text.size() < kStampForm.size()) {
    return false;
  }
  for (size_t i = 0; i < kStampForm.size(); ++i) {
    const char found = isdigit(static_cast<unsigned char>(text[i])) != 0 ? '0' : text[i];
    if (found != kStampForm[i]) {
      return false;
    }
  }
  return true;
}

// The bytes of a record's beginning, "STAMP (LEVEL): "; 0 where none begins. Of a text that ends
// too early to tell, none begins yet.
size_t beginningAt(std::string_view text) {
  if (!isStampAt(text)) {
    return 0;
  }
  const size_t close = text.find("): ", kStampForm.size());
  if (close > kStampForm.size() + kMaxLevelBytes) {  // npos, too
    return 0;
  }
  for (size_t i = kStampForm.size(); i < close; ++i) {
    if (isupper(static_cast<unsigned char>(text[i])) == 0) {
      return 0;
    }
  }
  return close + 3;
}

// Where the next record begins, from a place on.
size_t nextBeginning(std::string_view text, size_t from) {
  for (size_t at = from; at + kStampForm.size() <= text.size(); ++at) {
    if (beginningAt(text.substr(at)) > 0) {
      return at;
    }
  }
  return std::string_view::npos;
}

LogRecord recordOf(std::string_view text) {
  LogRecord record;
  const size_t head = beginningAt(text);
  if (head > 0) {
    record.stamp = text.substr(0, kStampBytes);
    const std::string_view level = text.substr(kStampForm.size(), head - kStampForm.size() - 3);
    for (const Level& each : kLevels) {
      record.level = level == each.written ? each.number : record.level;
    }
    text.remove_prefix(head);
    const size_t colon = text.find(": ");
    text.remove_prefix(colon != std::string_view::npos ? colon + 2 : 0);
  }
  while (!text.empty() && text.back() == '\n') {
    text.remove_suffix(1);
  }
  record.message = text;
  return record;
}

}  // namespace

std::vector<LogRecord> LogSplitter::feed(std::string_view bytes) {
  pending_ += bytes;
  std::vector<LogRecord> records;
  size_t begin = 0;
  for (size_t next = nextBeginning(pending_, 1); next != std::string::npos;
       next = nextBeginning(pending_, begin + 1)) {
    records.push_back(recordOf(std::string_view(pending_).substr(begin, next - begin)));
    begin = next;
  }
  pending_.erase(0, begin);
  return records;
}

std::optional<LogRecord> LogSplitter::rest() {
  if (pending_.empty()) {
    return std::nullopt;
  }
  const LogRecord record = recordOf(pending_);
  pending_.clear();
  return record;
}

std::string logLevelName(int32_t level) {
  for (const Level& each : kLevels) {
    if (each.number == level) {
      return each.name;
    }
  }
  return "";
}

std::optional<int32_t> logLevelNamed(const std::string& name) {
  for (const Level& each : kLevels) {
    if (strcasecmp(each.name, name.c_str()) == 0) {
      return each.number;
    }
  }
  return std::nullopt;
}

int32_t levelOfWord(const std::string& word) {
  const std::optional<int32_t> level = logLevelNamed(word);
  if (!level) {
    throw Failure(kExitUsage, inQuotes(word) + " is no level: error, warn, notice, info or debug");
  }
  return *level;
}

std::string recordText(const LogRecord& record, const Screen& screen) {
  std::string level = logLevelName(record.level);
  level.resize(kMaxLevelBytes, ' ');
  Tint tint = Tint::plain;
  for (const Level& each : kLevels) {
    tint = each.number == record.level ? each.tint : tint;
  }
  return record.stamp + "  " + tinted(level, tint, screen) + "  " + escaped(record.message) + "\n";
}
