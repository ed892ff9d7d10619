#include "cli/json_text.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <vector>

#include "base/utf8.h"
#include "cli/failure.h"
#include "cli/files.h"
#include "cli/text.h"

namespace {

constexpr const char* kByteOrderMark = "\xEF\xBB\xBF";
constexpr size_t kShownColumns = 30;

bool isBlank(char c) {
  return static_cast<unsigned char>(c) <= ' ';
}

bool isOneOf(const char* all, char c) {
  return std::string_view(all).find(c) != std::string_view::npos;
}

// Behind the string that begins there.
size_t stringEnd(const std::string& text, size_t at) {
  for (++at; at < text.size() && text[at] != '"'; ++at) {
    at += text[at] == '\\' ? 1 : 0;
  }
  return std::min(at + 1, text.size());
}

// The lines on which values begin in a text that is JSON, in the order of the text.
std::vector<size_t> linesOf(const std::string& text) {
  std::vector<size_t> lines;
  size_t line = 1;
  bool isWithinWord = false;
  for (size_t at = text.rfind(kByteOrderMark, 0) == 0 ? 3 : 0, next = 0; at < text.size();
       at = next) {
    const char c = text[at];
    const bool isWord = !isBlank(c) && !isOneOf("{}[]:,\"", c);
    if (c == ':') {
      lines.pop_back();  // the string before is a key
    } else if (isOneOf("{[\"", c) || (isWord && !isWithinWord)) {
      lines.push_back(line);
    }
    isWithinWord = isWord;
    next = c == '"' ? stringEnd(text, at) : at + 1;
    line += static_cast<size_t>(std::count(&text[at], &text[next], '\n'));
  }
  return lines;
}

// The tree's values are met in the order of the text.
void addLines(const cJSON* value, const std::vector<size_t>& lines,
              std::map<const cJSON*, size_t>* all) {
  const size_t number = all->size();
  (*all)[value] = lines.at(number);
  const cJSON* inner = nullptr;
  cJSON_ArrayForEach(inner, value) {
    addLines(inner, lines, all);
  }
}

// Where cJSON stopped, which where a key must begin is one behind what stands there.
size_t slipAt(const std::string& text, size_t stop) {
  size_t before = stop - std::min<size_t>(stop, 1);
  const bool isText = before < stop && !isBlank(text[before]) && text[before] != '"';
  const char misplaced = isText ? text[before] : ' ';
  while (before > 0 && isBlank(text[before - 1])) {
    --before;
  }
  const char lead = before > 0 ? text[before - 1] : ' ';
  const bool isKeyDue = lead == ',' || (lead == '{' && misplaced != '}');  // "{}" is whole
  return isText && isKeyDue ? stop - 1 : stop;
}

[[noreturn]] void failAt(const std::string& text, size_t at, const std::string& path) {
  const std::string before = text.substr(0, at);
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const auto column = std::count_if(before.begin() + static_cast<ptrdiff_t>(before.rfind('\n') + 1),
                                    before.end(), [](char c) { return (c & 0xC0) != 0x80; }) +
                      1;
  const size_t end = std::min(text.find('\n', at), text.size());
  const std::string rest = cutToWidth(text.substr(at, end - at), kShownColumns);
  throw Failure(kExitUsage, pathText(path) + ", line " + std::to_string(line) + ", column " +
                                std::to_string(column) + ": " +
                                (rest.empty() ? "the text ends within its JSON"
                                              : "no JSON from here: " + escaped(rest)));
}

// Where the text has what no JSON has: a byte 0, or bytes that are not UTF-8. Its size for nowhere.
size_t strangeByteIn(const std::string& text) {
  size_t at = 0;
  for (size_t bytes = 1; bytes > 0 && at < text.size(); at += bytes) {
    bytes = utf8CharBytes(&text[at]);
  }
  return at;
}

}  // namespace

JsonPtr parsedText(const std::string& text, const std::string& path) {
  const size_t strange = strangeByteIn(text);
  if (strange < text.size()) {
    failAt(text, strange, path);
  }
  constexpr cJSON_bool kWholeText = 1;
  const char* end = text.c_str();
  errno = 0;
  JsonPtr document(cJSON_ParseWithOpts(text.c_str(), &end, kWholeText));
  if (document == nullptr && errno == ENOMEM) {
    throw std::bad_alloc();
  }
  if (document == nullptr) {
    failAt(text, slipAt(text, static_cast<size_t>(end - text.c_str())), path);
  }
  return document;
}

std::map<const cJSON*, size_t> linesOfValues(const std::string& text, const cJSON* document) {
  std::map<const cJSON*, size_t> all;
  addLines(document, linesOf(text), &all);
  return all;
}
