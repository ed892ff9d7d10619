// Text for people: what is safe to show, how wide it is, what somebody may have meant.
#ifndef QUORIN_CLI_TEXT_H
#define QUORIN_CLI_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The text with every control character, every byte that is not UTF-8 and every character that
// turns the direction of writing as \n, \x1b or \u{202e}. Whatever comes from a name, a label, a
// message or the log passes through here before it is shown; text that is escaped already stays as
// it is.
std::string escaped(std::string_view text);

// A JSON text with the same characters, but for those that JSON escapes itself, as \uXXXX. They
// stand in strings only, so that the document stays the same.
std::string jsonEscaped(std::string_view json);

// In double quotes, escaped.
std::string inQuotes(std::string_view text);

// How many columns of a terminal valid UTF-8 takes. REQUIRES: a UTF-8 LC_CTYPE for characters that
// are not one column wide.
size_t displayWidth(std::string_view text);

// The longest beginning of valid UTF-8 that takes at most so many columns.
std::string cutToWidth(std::string_view text, size_t columns);

// Each line of the text broken at blanks, or where there is none behind a comma, into lines of at
// most so many columns. Those that follow begin with the line's own blanks and with indent more.
// What cannot be broken stays whole. columns 0: as it is.
std::string wrapped(const std::string& text, size_t columns, size_t indent = 0);

// The candidate that the word was most likely meant to be: at most a third of its letters, rounded
// up, wrong, missing, too many or swapped with a neighbour. Empty when there is none.
std::string nearest(std::string_view word, const std::vector<std::string>& candidates);

// " Did you mean X?", or nothing.
std::string didYouMean(std::string_view word, const std::vector<std::string>& candidates);

// "12.9 W".
std::string wattsText(int64_t milliwatts);

// "1 port", "2 ports".
std::string counted(size_t count, const char* noun);

std::string joined(const std::vector<std::string>& parts, const char* separator);

// The parts between the separators, empty ones too.
std::vector<std::string> splitAt(std::string_view text, char separator);

// The number that the whole text is, of decimal digits only; -1 for anything else and above 2^31.
int64_t wholeNumber(std::string_view text);

#endif
