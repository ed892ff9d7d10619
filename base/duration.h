// Durations as people write and read them.
#ifndef QUORIN_BASE_DURATION_H
#define QUORIN_BASE_DURATION_H

#include <cstdint>
#include <optional>
#include <string>

// "500 ms", "5 s", "1 min 30 s", "7 h 52 min", "3 d 4 h": two units at most, the rest cut off.
std::string durationText(int64_t milliseconds);
std::string secondsText(int64_t seconds);

// Milliseconds of "500ms", "10s", "5m", "1h30m", "2d", "10" (seconds); none for anything else.
std::optional<int64_t> parseDurationMs(const std::string& text);

#endif
