#include "poe/port_locks.h"

#include <pthread.h>

#include "base/result_codes.h"
#include "base/thread_annotations.h"

namespace {

struct PortLockSlot {
  pthread_mutex_t mutex;
  int32_t held;  // 0 or 1
};

struct PortLockTable {
  Mutex guard;  // held for the few instructions of one try or release
  PortLockSlot slots[kMaxUnits][kMaxLockedIfNum] GUARDED_BY(guard) = {};
};

PortLockTable portLocks;

bool hasSlot(int32_t unit, int32_t ifNum) {
  return unit >= 1 && unit <= kMaxUnits && ifNum >= 1 && ifNum <= kMaxLockedIfNum;
}

}  // namespace

int32_t portLockInit() {
  const MutexLock lock(portLocks.guard);
  for (auto& unit : portLocks.slots) {
    for (PortLockSlot& slot : unit) {
      pthread_mutex_init(&slot.mutex, nullptr);
      slot.held = 0;
    }
  }
  return 0;
}

int32_t portLockTry(int32_t unit, int32_t ifNum) {
  if (!hasSlot(unit, ifNum)) {
    return ERR_INVALID_ARG;
  }
  const MutexLock lock(portLocks.guard);
  PortLockSlot& slot = portLocks.slots[unit - 1][ifNum - 1];
  if (slot.held != 0) {
    return ERR_GENERAL;
  }
  slot.held = 1;
  (void)pthread_mutex_trylock(&slot.mutex);  // free whenever held is 0, so this never fails
  return RESULT_OK;
}

void portLockRelease(int32_t unit, int32_t ifNum) {
  if (!hasSlot(unit, ifNum)) {
    return;
  }
  const MutexLock lock(portLocks.guard);
  PortLockSlot& slot = portLocks.slots[unit - 1][ifNum - 1];
  if (slot.held == 0) {
    return;
  }
  slot.held = 0;
  pthread_mutex_unlock(&slot.mutex);
}
