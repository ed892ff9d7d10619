// Whether ports are worked one after another or all at once: one vocabulary for schedules, boot
// delays, resets and runs.
#ifndef QUORIN_BASE_EXECUTION_MODE_H
#define QUORIN_BASE_EXECUTION_MODE_H

#include <cstdint>

// The numbers are stored nowhere; the strings are, and travel in JSON.
enum ExecutionMode : int32_t {
  EXECUTION_SIMULTANEOUS = 0,
  EXECUTION_SEQUENTIAL = 1,  // with a pause between two ports
};

// "sequential", or "simultaneous" for every other value.
const char* executionModeText(ExecutionMode mode);

// Whether the string is exactly that of a mode, which is in *mode then; for any other and for null
// *mode is simultaneous. What an unknown word means is the caller's to say.
bool executionModeOf(const char* textOrNull, ExecutionMode* mode);

#endif
