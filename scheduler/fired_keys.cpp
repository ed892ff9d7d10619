#include "scheduler/fired_keys.h"

#include "base/thread_annotations.h"

namespace {

struct FiredKey {
  int64_t scheduleId = 0;
  OccurrenceKey key;
};

Mutex firedKeysMutex;
FiredKey firedKeys[kFiredKeys] GUARDED_BY(firedKeysMutex);
int32_t nextFiredKey GUARDED_BY(firedKeysMutex) = 0;

}  // namespace

bool firedKeyContains(int64_t scheduleId, const OccurrenceKey& key) {
  const MutexLock lock(firedKeysMutex);
  for (const FiredKey& fired : firedKeys) {
    if (fired.scheduleId == scheduleId && strcmp(fired.key.c_str(), key.c_str()) == 0) {
      return true;
    }
  }
  return false;
}

void firedKeyAdd(int64_t scheduleId, const OccurrenceKey& key) {
  const MutexLock lock(firedKeysMutex);
  firedKeys[nextFiredKey] = {scheduleId, key};
  nextFiredKey = (nextFiredKey + 1) % kFiredKeys;
}
