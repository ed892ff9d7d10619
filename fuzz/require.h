// What a fuzz target finds.
#ifndef QUORIN_FUZZ_REQUIRE_H
#define QUORIN_FUZZ_REQUIRE_H

#include <cstdio>
#include <cstdlib>

// Ends the process with the message unless the condition holds: a finding.
inline void require(bool condition, const char* message) {
  if (!condition) {
    fprintf(stderr, "finding: %s\n", message);
    abort();
  }
}

#endif
