#include "ipc/held_bytes.h"

#include <atomic>

#include "base/clock.h"
#include "daemon/bounds.h"
#include "ipc/connections.h"

namespace {

constexpr size_t kMaxCountedBytes = kMaxHeldBytes - kMaxConnections * kFreeBytes;

// A connection that leaves takes no longer than it takes its thread to wake up.
constexpr int32_t kLeavingPauseMs = 2;

std::atomic<size_t> allCountedBytes{0};

}  // namespace

bool HeldBytes::resize(size_t bytes) {
  while (!tryResize(bytes)) {
    if (!connectionsFreeMemory()) {
      boundReached(Bound::memory);
      return false;
    }
    clockPauseOutside(std::chrono::milliseconds(kLeavingPauseMs));
  }
  return true;
}

bool HeldBytes::tryResize(size_t bytes) {
  const size_t counted = bytes > kFreeBytes ? bytes - kFreeBytes : 0;
  size_t all = allCountedBytes.load();
  do {
    if (counted > counted_ && all - counted_ + counted > kMaxCountedBytes) {
      return false;
    }
  } while (!allCountedBytes.compare_exchange_weak(all, all - counted_ + counted));
  counted_ = counted;
  return true;
}
