#include "cli/text.h"

#include <algorithm>
#include <cstdio>
#include <cwchar>

#include "base/utf8.h"

namespace {

constexpr uint32_t kInvalid = 0xFFFFFFFF;
constexpr int kMaxNumberDigits = 10;

// One character at the beginning of the text, which is not empty; kInvalid, of one byte, for bytes
// that are not UTF-8.
struct Character {
  uint32_t code = kInvalid;
  size_t bytes = 1;
};

Character firstCharacter(std::string_view text) {
  constexpr size_t kMaxBytes = 4;
  const size_t bytes = utf8CharBytes(std::string(text.substr(0, kMaxBytes)).c_str());
  if (bytes == 0) {
    return {};
  }

  uint32_t code = static_cast<unsigned char>(text[0]) & (bytes == 1 ? 0x7FU : 0x7FU >> bytes);
  for (size_t i = 1; i < bytes; ++i) {
    code = (code << 6U) | (static_cast<unsigned char>(text[i]) & 0x3FU);
  }
  return {code, bytes};
}

// Control characters, separators of lines, and characters that turn the direction of writing.
bool isDangerous(uint32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x061C ||
         (code >= 0x200E && code <= 0x200F) || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069) || code == 0xFEFF;
}

std::string escapeOf(const Character& character, unsigned char firstByte) {
  if (character.code == '\n' || character.code == '\t' || character.code == '\r') {
    return character.code == '\n' ? "\\n" : character.code == '\t' ? "\\t" : "\\r";
  }
  char text[16];
  const bool isByte = character.code == kInvalid || character.code < 0x80;
  snprintf(text, sizeof text, isByte ? "\\x%02x" : "\\u{%x}",
           static_cast<unsigned>(isByte ? firstByte : character.code));
  return text;
}

size_t widthOf(uint32_t code) {
  const int width = code < 0x80 ? 1 : wcwidth(static_cast<wchar_t>(code));
  return width < 0 ? 1 : static_cast<size_t>(width);
}

// Letters that must be changed, added, left out or swapped with a neighbour to get from one word to
// the other.
size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::vector<size_t>> table(a.size() + 1, std::vector<size_t>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i) {
    for (size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        table[i][j] = i + j;
        continue;
      }
      const size_t change = table[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      table[i][j] = std::min({change, table[i - 1][j] + 1, table[i][j - 1] + 1});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        table[i][j] = std::min(table[i][j], table[i - 2][j - 2] + 1);
      }
    }
  }
  return table[a.size()][b.size()];
}

std::string withoutBlanksBehind(const std::string& text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

// Where a line that is too wide is to be broken; 0 for one that fits, or cannot be broken.
size_t breakOf(const std::string& line, size_t columns) {
  if (displayWidth(line) <= columns) {
    return 0;
  }
  const size_t first = line.find_first_not_of(' ');
  if (first == std::string::npos) {
    return 0;
  }
  const size_t fits = cutToWidth(line, columns).size();
  const size_t blank = line.rfind(' ', fits);
  if (blank != std::string::npos && blank > first) {
    return blank;
  }
  const size_t comma = line.rfind(',', fits - 1);
  if (comma != std::string::npos && comma > first) {
    return comma + 1;
  }
  const size_t next = line.find(' ', fits);
  return next == std::string::npos ? 0 : next;
}

}  // namespace

std::string escaped(std::string_view text) {
  std::string safe;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    safe += isDangerous(character.code) || character.code == kInvalid
                ? escapeOf(character, static_cast<unsigned char>(text[0]))
                : std::string(text.substr(0, character.bytes));
    text.remove_prefix(character.bytes);
  }
  return safe;
}

std::string jsonEscaped(std::string_view json) {
  std::string safe;
  while (!json.empty()) {
    const Character character = firstCharacter(json);
    char code[16] = "";
    if (character.code >= 0x7F && character.code != kInvalid && isDangerous(character.code)) {
      snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(character.code));
    }
    safe += *code != '\0' ? std::string(code) : std::string(json.substr(0, character.bytes));
    json.remove_prefix(character.bytes);
  }
  return safe;
}

std::string inQuotes(std::string_view text) {
  return "\"" + escaped(text) + "\"";
}

size_t displayWidth(std::string_view text) {
  size_t width = 0;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    width += widthOf(character.code == kInvalid ? '?' : character.code);
    text.remove_prefix(character.bytes);
  }
  return width;
}

std::string cutToWidth(std::string_view text, size_t columns) {
  size_t bytes = 0;
  size_t width = 0;
  while (bytes < text.size()) {
    const Character character = firstCharacter(text.substr(bytes));
    width += widthOf(character.code == kInvalid ? '?' : character.code);
    if (width > columns) {
      break;
    }
    bytes += character.bytes;
  }
  return std::string(text.substr(0, bytes));
}

std::string wrapped(const std::string& text, size_t columns, size_t indent) {
  if (columns == 0) {
    return text;
  }
  std::vector<std::string> lines;
  for (const std::string& line : splitAt(text, '\n')) {
    const std::string lead(std::min(line.find_first_not_of(' '), line.size()) + indent, ' ');
    std::string rest = line;
    while (const size_t end = breakOf(rest, columns)) {
      lines.push_back(withoutBlanksBehind(rest.substr(0, end)));
      rest.replace(0, std::min(rest.find_first_not_of(' ', end), rest.size()), lead);
    }
    lines.push_back(rest);
  }
  return joined(lines, "\n");
}

std::string nearest(std::string_view word, const std::vector<std::string>& candidates) {
  constexpr size_t kMaxWord = 64;  // a longer one was no slip
  std::string best;
  size_t bestDistance = (word.size() + 2) / 3 + 1;
  for (const std::string& candidate : candidates) {
    const size_t letters = std::max(word.size(), candidate.size());
    const size_t wrong = letters > kMaxWord ? letters : distance(word, candidate);
    if (wrong < bestDistance) {
      best = candidate;
      bestDistance = wrong;
    }
  }
  return best;
}

std::string didYouMean(std::string_view word, const std::vector<std::string>& candidates) {
  const std::string meant = nearest(word, candidates);
  return meant.empty() ? "" : " Did you mean " + escaped(meant) + "?";
}

std::string wattsText(int64_t milliwatts) {
  char text[32];
  snprintf(text, sizeof text, "%.1f W", static_cast<double>(milliwatts) / 1000);
  return text;
}

std::string counted(size_t count, const char* noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string joined(const std::vector<std::string>& parts, const char* separator) {
  std::string text;
  for (const std::string& part : parts) {
    text += (text.empty() ? "" : separator) + part;
  }
  return text;
}

std::vector<std::string> splitAt(std::string_view text, char separator) {
  std::vector<std::string> parts;
  for (;;) {
    const size_t end = text.find(separator);
    parts.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) {
      return parts;
    }
    text.remove_prefix(end + 1);
  }
}

int64_t wholeNumber(std::string_view text) {
  const bool isDigits =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
  if (text.empty() || text.size() > kMaxNumberDigits || !isDigits) {
    return -1;
  }
  int64_t number = 0;
  for (const char digit : text) {
    number = number * 10 + (digit - '0');
  }
  return number <= INT32_MAX ? number : -1;
}
