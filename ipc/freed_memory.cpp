#include "ipc/freed_memory.h"

#include <atomic>
#include <cstdint>

#include "base/sleep.h"

#ifdef QUORIN_HAVE_MALLOC_TRIM
#include <malloc.h>
#endif

namespace {

constexpr int64_t kPauseMs = 400;

std::atomic<bool> isFreed{false};
int64_t nextReturnMs = 0;

}  // namespace

void noteFreedMemory() {
  isFreed = true;
}

void returnFreedMemoryNow() {
#ifdef QUORIN_HAVE_MALLOC_TRIM
  malloc_trim(0);
#endif
}

void returnFreedMemory() {
  if (!isFreed.load() || monotonicMs() < nextReturnMs) {
    return;
  }

  isFreed = false;
  returnFreedMemoryNow();
  nextReturnMs = monotonicMs() + kPauseMs;
}
