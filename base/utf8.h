// UTF-8 (RFC 3629) in strings from outside.
#ifndef QUORIN_BASE_UTF8_H
#define QUORIN_BASE_UTF8_H

#include <cstddef>
#include <string>

// The size of the character that a string begins with, 1 to 4 bytes; 0 when it begins with none: at
// its end, or with bytes that are not UTF-8.
size_t utf8CharBytes(const char* text);

// Whether all of a string is UTF-8.
bool isUtf8(const char* text);

// The string with U+FFFD in place of each byte that belongs to no character. Throws std::bad_alloc.
std::string repairedUtf8(const char* text);

// At most maxBytes of a UTF-8 text for a log: no character is cut, control characters (C0, DEL, C1)
// show as \xNN. Throws std::bad_alloc.
std::string printableUtf8(const char* text, size_t maxBytes);

#endif
