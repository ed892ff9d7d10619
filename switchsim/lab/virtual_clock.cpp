// The clock of a lab's daemon (base/clock.h): its threads run one at a time, in an order that only
// their own doings decide. While all of them wait, time goes at once to the next instant at which
// one of them wakes, but not beyond the lab's goal (cli/lab_clock.h): there it stands, or goes on
// with the host's clock. So nothing is leapt over, and the same input does the same twice.
#include <pthread.h>
#include <semaphore.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <thread>
#include <utility>

#include "base/clock.h"
#include "cli/lab_clock.h"

using std::chrono::nanoseconds;

namespace {

constexpr int64_t kNsPerMs = 1000000;
constexpr int64_t kNsPerSec = 1000 * kNsPerMs;
// A stop is seen after every pause of the daemon, the longest of which is 10 s.
constexpr int64_t kStopNs = 11 * kNsPerSec;
// How soon the driver finds out for itself that time goes on.
constexpr int64_t kLongestNapNs = 100 * kNsPerMs;
constexpr int64_t kNever = std::numeric_limits<int64_t>::max();

std::atomic<bool> isStopping{false};

// One of the daemon's. It runs while it has the turn.
struct Thread {
  Thread() { sem_init(&turn, 0, 0); }
  ~Thread() { sem_destroy(&turn); }
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  void giveTurn() { sem_post(&turn); }
  void awaitTurn() {
    while (sem_wait(&turn) != 0) {
    }
  }

  sem_t turn;
  const std::mutex* lock = nullptr;  // that it waits for
  void* (*body)(void*) = nullptr;
  void* argument = nullptr;
};

thread_local Thread* self = nullptr;

LabClockPage& pageOfLab() {
  const char* folder = getenv("QUORIN_LAB_CLOCK");
  LabClockPage* page = mapLabClock(folder != nullptr ? folder : "");
  if (page == nullptr) {
    fprintf(stderr, "QUORIN_LAB_CLOCK names no folder of a lab\n");
    _exit(EXIT_FAILURE);
  }
  return *page;
}

class VirtualTime {
 public:
  // Never destroyed: detached threads may run while the process exits.
  static VirtualTime& get() {
    static VirtualTime* time = new VirtualTime;
    return *time;
  }

  // It stands while a thread runs.
  int64_t runningNs() {
    enter();
    return nowNs_;
  }
  int64_t wallNs() {
    enter();
    uint32_t number = 0;
    return nowNs_ + page_.goal(&number).wallAheadMs * kNsPerMs;
  }

  void sleep(int64_t duration) {
    if (duration <= 0) {
      return;
    }
    Thread* me = enter();
    std::unique_lock<std::mutex> guard(mutex_);
    sleepers_.emplace(std::pair(nowNs_ + duration, ++sleepsBegun_), me);
    passTurn(me, guard);
  }

  void lock(std::mutex* mutex) {
    Thread* me = enter();
    while (!mutex->try_lock()) {
      std::unique_lock<std::mutex> guard(mutex_);
      me->lock = mutex;
      blocked_.push_back(me);
      passTurn(me, guard);
    }
  }

  void unlock(std::mutex* mutex) {
    enter();
    mutex->unlock();
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto waits = std::find_if(blocked_.begin(), blocked_.end(),
                                    [mutex](const Thread* each) { return each->lock == mutex; });
    if (waits != blocked_.end()) {
      ready_.push_back(*waits);
      blocked_.erase(waits);
    }
  }

  int start(pthread_t* thread, void* (*body)(void*), void* argument) {
    enter();
    auto made = std::make_unique<Thread>();
    made->body = body;
    made->argument = argument;
    const int error = pthread_create(thread, nullptr, run, made.get());
    if (error == 0) {
      const std::lock_guard<std::mutex> guard(mutex_);
      ready_.push_back(made.release());  // its own from now on
    }
    return error;
  }

  // Waits for somebody outside the room, in real time.
  template <typename Wait>
  auto outside(const Wait& wait) {
    Thread* me = enter();
    {
      std::unique_lock<std::mutex> guard(mutex_);
      passTurn(nullptr, guard);
    }
    const auto result = wait();
    const int why = errno;
    comeIn(me);
    errno = why;
    return result;
  }

  void wakeUp() const { page_.wakeUp(); }

 private:
  VirtualTime() : page_(pageOfLab()) {
    uint32_t number = 0;
    nowNs_ = page_.goal(&number).goalMs * kNsPerMs;
    page_.setNow(nowNs_ / kNsPerMs);
    if (const char* seed = getenv("QUORIN_LAB_SHUFFLE")) {
      isShuffled_ = true;
      random_.seed(static_cast<uint32_t>(strtoul(seed, nullptr, 10)));
    }
    std::thread([this] { drive(); }).detach();
  }

  // This thread's place in the room. The first thread of the process has the turn from the
  // beginning; any other is one that was started here.
  Thread* enter() {
    if (self == nullptr) {
      if (hasFirst_.exchange(true)) {
        fprintf(stderr, "a thread that was started past base/clock.h came to it\n");
        abort();
      }
      self = new Thread;
      comeIn(self);
    }
    return self;
  }

  void comeIn(Thread* me) {
    std::unique_lock<std::mutex> guard(mutex_);
    if (running_ == nullptr && ready_.empty()) {
      catchUp();
    }
    ready_.push_back(me);
    if (running_ == nullptr) {
      passTurn(me, guard);
      return;
    }
    guard.unlock();
    me->awaitTurn();
  }

  static void* run(void* argument) {
    self = static_cast<Thread*>(argument);
    self->awaitTurn();
    self->body(self->argument);
    VirtualTime& time = get();
    std::unique_lock<std::mutex> guard(time.mutex_);
    time.passTurn(nullptr, guard);
    delete self;
    self = nullptr;
    return nullptr;
  }

  // Gives the turn to whoever is next, and waits for it again unless me is null.
  void passTurn(Thread* me, std::unique_lock<std::mutex>& guard) {
    Thread* next = chooseNext();
    guard.unlock();
    if (next != nullptr && next != me) {
      next->giveTurn();
    }
    if (me != nullptr && next != me) {
      me->awaitTurn();
    }
  }

  // Who runs from now on; null: nobody, until somebody comes in or the driver finds that time goes
  // on.
  Thread* chooseNext() {
    running_ = nullptr;
    if (ready_.empty() && !wakeNextSleeper()) {
      idle_.notify_one();
      return nullptr;
    }
    const size_t index = isShuffled_ ? random_() % ready_.size() : 0;
    const auto chosen = ready_.begin() + static_cast<std::ptrdiff_t>(index);
    running_ = *chosen;
    ready_.erase(chosen);
    return running_;
  }

  // How far time may go now: to the lab's goal, or once the daemon is to end, as far as its threads
  // need to see that.
  int64_t limitNs(uint32_t* number) {
    const LabGoal goal = page_.goal(number);
    if (stopNs_ == 0 && isStopping) {
      stopNs_ = nowNs_ + kStopNs;
    }
    return stopNs_ != 0 ? stopNs_ : goal.at(hostMonotonicMs()) * kNsPerMs;
  }

  int64_t nextWakingNs() const {
    return sleepers_.empty() ? kNever : sleepers_.begin()->first.first;
  }

  void goTo(int64_t instant) {
    nowNs_ = std::max(nowNs_, instant);
    page_.setNow(nowNs_ / kNsPerMs);
  }

  // Nobody has run for a while, in which time may have gone on with the host's.
  void catchUp() {
    uint32_t number = 0;
    const int64_t limit = limitNs(&number);
    goTo(stopNs_ != 0 ? nowNs_ : std::min(limit, nextWakingNs()));
  }

  bool wakeNextSleeper() {
    uint32_t number = 0;
    const int64_t limit = limitNs(&number);
    if (nextWakingNs() > limit) {
      if (stopNs_ == 0) {
        goTo(limit);
        page_.setReached(number);
      }
      return false;
    }
    const auto next = sleepers_.begin();
    goTo(next->first.first);
    ready_.push_back(next->second);
    sleepers_.erase(next);
    return true;
  }

  // Real time until a sleeper wakes, at the lab's speed.
  int64_t napNs(const LabGoal& goal) const {
    const int64_t next = nextWakingNs();
    return goal.speed == 0 || next == kNever
               ? kLongestNapNs
               : std::clamp<int64_t>((next - nowNs_) / goal.speed, kNsPerMs / 10, kLongestNapNs);
  }

  // While nobody runs: lets time go on when the goal moves, or with the host's.
  [[noreturn]] void drive() {
    std::unique_lock<std::mutex> guard(mutex_);
    for (;;) {
      idle_.wait(guard, [this] { return running_ == nullptr; });
      uint32_t number = 0;
      const LabGoal goal = page_.goal(&number);
      if (Thread* next = chooseNext()) {
        next->giveTurn();
        continue;
      }
      const int64_t nap = napNs(goal);
      guard.unlock();
      page_.awaitGoalAfter(number, nap);
      guard.lock();
    }
  }

  LabClockPage& page_;
  std::atomic<bool> hasFirst_{false};
  std::mutex mutex_;
  std::condition_variable idle_;
  Thread* running_ = nullptr;
  std::deque<Thread*> ready_;    // in the order in which they became it
  std::deque<Thread*> blocked_;  // by a lock, in the order in which they came
  std::map<std::pair<int64_t, uint64_t>, Thread*> sleepers_;  // by instant, then who came first
  uint64_t sleepsBegun_ = 0;
  int64_t nowNs_ = 0;
  int64_t stopNs_ = 0;  // how far it goes when it is to end; 0: it is not
  bool isShuffled_ = false;
  std::minstd_rand random_;
};

}  // namespace

nanoseconds wallTime() {
  return nanoseconds(VirtualTime::get().wallNs());
}

time_t wallSeconds() {
  return static_cast<time_t>(VirtualTime::get().wallNs() / kNsPerSec);
}

nanoseconds monotonicTime() {
  return nanoseconds(VirtualTime::get().runningNs());
}

void clockSleep(nanoseconds duration) {
  VirtualTime::get().sleep(duration.count());
}

int clockThreadStart(pthread_t* thread, void* (*body)(void*), void* argument) {
  return VirtualTime::get().start(thread, body, argument);
}

void clockThreadJoin(pthread_t thread) {
  VirtualTime::get().outside([thread] { return pthread_join(thread, nullptr); });
}

void clockLock(std::mutex* mutex) {
  VirtualTime::get().lock(mutex);
}

void clockUnlock(std::mutex* mutex) {
  VirtualTime::get().unlock(mutex);
}

int clockPoll(pollfd* events, nfds_t count, int timeoutMs) {
  const auto wait = [=] { return poll(events, count, timeoutMs); };
  return timeoutMs == 0 ? wait() : VirtualTime::get().outside(wait);
}

void clockPauseOutside(nanoseconds duration) {
  VirtualTime::get().outside([duration] {
    std::this_thread::sleep_for(duration);
    return 0;
  });
}

void clockStopping() {
  isStopping = true;
  VirtualTime::get().wakeUp();
}

extern "C" int64_t quorinLabWallMs() {
  return VirtualTime::get().wallNs() / kNsPerMs;
}

extern "C" int64_t quorinLabRunningMs() {
  return VirtualTime::get().runningNs() / kNsPerMs;
}

extern "C" void quorinLabSleepMs(int64_t milliseconds) {
  VirtualTime::get().sleep(milliseconds * kNsPerMs);
}
