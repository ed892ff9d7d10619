// What the benchmark programs do about what must not fail.
#ifndef QUORIN_BENCH_MUST_H
#define QUORIN_BENCH_MUST_H

#include <cstdio>
#include <cstdlib>

// Ends the program unless the condition holds: a figure measured on a failure is worth nothing.
inline void must(bool condition, const char* what) {
  if (!condition) {
    fprintf(stderr, "bench: %s failed\n", what);
    exit(1);
  }
}

#endif
