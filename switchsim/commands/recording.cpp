#include "switchsim/commands/recording.h"

#include <cjson/cJSON.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <new>
#include <optional>
#include <sstream>

#include "base/plain_file.h"
#include "base/utf8.h"

namespace switchsim {
namespace {

constexpr mode_t kFileMode = 0600;  // answers tell much about a site
constexpr const char* kHexDigits = "0123456789abcdef";

std::string utcText(int64_t realMs) {
  const time_t seconds = static_cast<time_t>(realMs / 1000);
  struct tm fields = {};
  gmtime_r(&seconds, &fields);
  char text[32];
  const size_t length = strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &fields);
  snprintf(text + length, sizeof text - length, ".%03dZ", static_cast<int>(realMs % 1000));
  return text;
}

std::string hexOf(const std::string& bytes) {
  std::string hex;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    hex += kHexDigits[value / 16];
    hex += kHexDigits[value % 16];
  }
  return hex;
}

std::optional<std::string> bytesOf(const std::string& hex) {
  if (hex.size() % 2 != 0 || hex.find_first_not_of(kHexDigits) != std::string::npos) {
    return std::nullopt;
  }
  std::string bytes;
  for (size_t i = 0; i < hex.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

std::string printed(const cJSON* tree) {
  const JsonTextPtr text(cJSON_PrintUnformatted(tree));
  if (text == nullptr) {
    throw std::bad_alloc();
  }
  return text.get();
}

struct Keys {
  const char* json;
  const char* text;
  const char* hex;
  const char* end;  // what the bytes have behind the JSON document
  bool isExact;     // whether a document counts as one only if printing it gives the same bytes
};
constexpr Keys kRequestKeys = {"request", "requestText", "requestHex", "", false};
constexpr Keys kAnswerKeys = {"answer", "answerText", "answerHex", "\n", true};

void addBytes(JsonObject* line, const Keys& keys, const std::string& bytes) {
  const bool isText = bytes.find('\0') == std::string::npos && isUtf8(bytes.c_str());
  // As deep as it stands in the line.
  const bool isMember = isText && jsonParse(("[" + bytes + "]").c_str()) != nullptr;
  JsonPtr tree = isMember ? jsonParse(bytes.c_str()) : nullptr;
  if (tree != nullptr && (!keys.isExact || printed(tree.get()) + keys.end == bytes)) {
    line->add(keys.json, std::move(tree));
  } else if (isText) {
    line->text(keys.text, bytes.c_str());
  } else {
    line->text(keys.hex, hexOf(bytes).c_str());
  }
}

std::optional<std::string> readBytes(const cJSON* line, const Keys& keys) {
  if (const cJSON* tree = cJSON_GetObjectItemCaseSensitive(line, keys.json)) {
    return printed(tree) + keys.end;
  }
  if (const char* text = jsonTextMember(line, keys.text)) {
    return text;
  }
  const char* hex = jsonTextMember(line, keys.hex);
  return hex != nullptr ? bytesOf(hex) : std::nullopt;
}

std::optional<Exchange> readExchange(const std::string& text) {
  const JsonPtr line = jsonParse(text.c_str());
  const std::optional<std::string> request = readBytes(line.get(), kRequestKeys);
  const std::optional<std::string> answer = readBytes(line.get(), kAnswerKeys);
  if (!request || !answer) {
    return std::nullopt;
  }
  return Exchange{0, jsonInt64Member(line.get(), "ms", 0), *request, *answer};
}

}  // namespace

std::string exchangeLine(const Exchange& exchange) {
  JsonObject line;
  line.text("at", utcText(exchange.atMs).c_str()).number("ms", exchange.tookMs);
  addBytes(&line, kRequestKeys, exchange.request);
  addBytes(&line, kAnswerKeys, exchange.answer);
  const JsonTextPtr text = jsonPrintAndFree(line.take());
  if (text == nullptr) {
    throw std::bad_alloc();
  }
  return std::string(text.get()) + "\n";
}

std::vector<Exchange> readExchanges(const std::string& text, std::vector<size_t>* bad) {
  std::vector<Exchange> exchanges;
  std::istringstream lines(text);
  size_t number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    if (std::optional<Exchange> exchange = readExchange(line)) {
      exchanges.push_back(std::move(*exchange));
    } else {
      bad->push_back(number);
    }
  }
  return exchanges;
}

std::string RecordingFile::open(const std::string& path) {
  path_ = path;
  fd_ = openOrMakePlainFile(path.c_str(), O_WRONLY | O_APPEND, FileOwner::selfOrRoot, kFileMode);
  const bool isOpen = fd_ && fchmod(fd_.get(), kFileMode) == 0;
  return isOpen ? "" : "cannot write " + path + ": " + strerror(errno);
}

void RecordingFile::append(const Exchange& exchange) {
  const std::string line = exchangeLine(exchange);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (count_ < 0) {
    return;
  }

  struct stat before = {};
  fstat(fd_.get(), &before);
  errno = ENOSPC;  // of a write that is cut short
  if (write(fd_.get(), line.data(), line.size()) == static_cast<ssize_t>(line.size())) {
    ++count_;
    return;
  }

  fprintf(stderr, "switchsim: cannot write %s: %s; nothing is recorded any more\n", path_.c_str(),
          strerror(errno));
  count_ = -1;
  if (ftruncate(fd_.get(), before.st_size) != 0) {
    fprintf(stderr, "switchsim: the last line of %s is cut short\n", path_.c_str());
  }
}

int64_t RecordingFile::count() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return count_;
}

}  // namespace switchsim
