#include "base/utf8.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/fixed_text.h"

namespace {

constexpr const char* kReplacement = "\xEF\xBF\xBD";  // U+FFFD

// What a character's first byte says of it, and the range of its second; all later ones are 80 to
// BF (RFC 3629, 4).
struct Lead {
  uint8_t first;
  uint8_t last;
  uint8_t bytes;
  uint8_t secondFirst;
  uint8_t secondLast;
};
constexpr Lead kLeads[] = {
    {0x01, 0x7F, 1, 0, 0},       {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF},
    {0xE1, 0xEC, 3, 0x80, 0xBF}, {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF},
    {0xF0, 0xF0, 4, 0x90, 0xBF}, {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

uint8_t byteAt(const char* text, size_t at) {
  return static_cast<uint8_t>(text[at]);
}

bool isWithin(uint8_t byte, uint8_t first, uint8_t last) {
  return byte >= first && byte <= last;
}

bool continues(const char* text, const Lead& lead) {
  if (lead.bytes > 1 && !isWithin(byteAt(text, 1), lead.secondFirst, lead.secondLast)) {
    return false;
  }
  for (size_t at = 2; at < lead.bytes; ++at) {
    if (!isWithin(byteAt(text, at), 0x80, 0xBF)) {
      return false;
    }
  }
  return true;
}

// How many bytes, in whole words, are plain ASCII from the text's start on: nearly all of every
// text.
size_t asciiWordBytes(const char* text, const char* end) {
  constexpr uint64_t kHighBits = 0x8080808080808080;
  const char* at = text;
  for (uint64_t word = 0; static_cast<size_t>(end - at) >= sizeof word; at += sizeof word) {
    memcpy(&word, at, sizeof word);
    if ((word & kHighBits) != 0) {
      break;
    }
  }
  return static_cast<size_t>(at - text);
}

// The code of a control character of the given size at the string's start, else 0.
uint8_t controlCode(const char* text, size_t bytes) {
  const uint8_t code = byteAt(text, bytes - 1);
  const bool isC0 = bytes == 1 && (code < 0x20 || code == 0x7F);
  const bool isC1 = bytes == 2 && byteAt(text, 0) == 0xC2 && code < 0xA0;
  return isC0 || isC1 ? code : 0;
}

}  // namespace

size_t utf8CharBytes(const char* text) {
  for (const Lead& lead : kLeads) {
    if (isWithin(byteAt(text, 0), lead.first, lead.last)) {
      return continues(text, lead) ? lead.bytes : 0;
    }
  }
  return 0;
}

bool isUtf8(const char* text) {
  const char* end = text + strlen(text);
  while (text < end) {
    text += asciiWordBytes(text, end);
    const size_t bytes = utf8CharBytes(text);
    if (bytes == 0) {
      break;
    }
    text += bytes;
  }
  return text == end;
}

std::string repairedUtf8(const char* text) {
  std::string repaired;
  while (*text != '\0') {
    const size_t bytes = utf8CharBytes(text);
    if (bytes == 0) {
      repaired += kReplacement;
      ++text;
    } else {
      repaired.append(text, bytes);
      text += bytes;
    }
  }
  return repaired;
}

std::string printableUtf8(const char* text, size_t maxBytes) {
  std::string printable;
  const char* end = text + fittingTextBytes(text, maxBytes);
  while (text < end) {
    const size_t bytes = utf8CharBytes(text);
    if (bytes == 0) {
      break;
    }
    const uint8_t control = controlCode(text, bytes);
    if (control != 0) {
      char escaped[8];
      snprintf(escaped, sizeof escaped, "\\x%02x", control);
      printable += escaped;
    } else {
      printable.append(text, bytes);
    }
    text += bytes;
  }

  return printable;
}
