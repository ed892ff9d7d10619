// A mutex that clang's -Wthread-safety understands, and the names of its attributes. With other
// compilers the attributes vanish.
#ifndef QUORIN_BASE_THREAD_ANNOTATIONS_H
#define QUORIN_BASE_THREAD_ANNOTATIONS_H

#include <mutex>

#include "base/clock.h"

#if defined(__clang__)
#define QUORIN_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define QUORIN_THREAD_ATTRIBUTE(x)
#endif

// The member or variable may only be used with the mutex held.
#define GUARDED_BY(mutex) QUORIN_THREAD_ATTRIBUTE(guarded_by(mutex))
// The caller must hold the mutex.
#define REQUIRES(mutex) QUORIN_THREAD_ATTRIBUTE(requires_capability(mutex))
// The function takes or releases a lock that depends on a run-time value, which the analysis can't
// follow.
#define NO_THREAD_SAFETY_ANALYSIS QUORIN_THREAD_ATTRIBUTE(no_thread_safety_analysis)

// Constant-initialised and trivially destroyed, so that a static one outlives every detached
// thread.
class QUORIN_THREAD_ATTRIBUTE(capability("mutex")) Mutex {
 public:
  constexpr Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() QUORIN_THREAD_ATTRIBUTE(acquire_capability()) { clockLock(&mutex_); }
  bool tryLock() QUORIN_THREAD_ATTRIBUTE(try_acquire_capability(true)) { return mutex_.try_lock(); }
  void unlock() QUORIN_THREAD_ATTRIBUTE(release_capability()) { clockUnlock(&mutex_); }

 private:
  std::mutex mutex_;
};

class QUORIN_THREAD_ATTRIBUTE(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) QUORIN_THREAD_ATTRIBUTE(acquire_capability(mutex))
      : mutex_(mutex) {
    mutex_.lock();
  }
  // Takes over one that is locked.
  MutexLock(Mutex& mutex, std::adopt_lock_t) QUORIN_THREAD_ATTRIBUTE(requires_capability(mutex))
      : mutex_(mutex) {}
  ~MutexLock() QUORIN_THREAD_ATTRIBUTE(release_capability()) { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

#endif
