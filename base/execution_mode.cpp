#include "base/execution_mode.h"

#include <cstring>
#include <initializer_list>

const char* executionModeText(ExecutionMode mode) {
  return mode == EXECUTION_SEQUENTIAL ? "sequential" : "simultaneous";
}

bool executionModeOf(const char* textOrNull, ExecutionMode* mode) {
  for (const ExecutionMode known : {EXECUTION_SEQUENTIAL, EXECUTION_SIMULTANEOUS}) {
    *mode = known;
    if (textOrNull != nullptr && strcmp(textOrNull, executionModeText(known)) == 0) {
      return true;
    }
  }
  return false;
}
