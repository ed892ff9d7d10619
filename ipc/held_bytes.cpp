#include "ipc/held_bytes.h"

#include <atomic>

namespace {

std::atomic<size_t> allHeldBytes{0};

}  // namespace

bool HeldBytes::resize(size_t bytes) {
  size_t all = allHeldBytes.load();
  do {
    if (bytes > bytes_ && all - bytes_ + bytes > kMaxHeldBytes) {
      return false;
    }
  } while (!allHeldBytes.compare_exchange_weak(all, all - bytes_ + bytes));
  bytes_ = bytes;
  return true;
}
