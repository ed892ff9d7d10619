// The clock of a lab, by which all of its programs go. It is a page that they share, the file
// "clock" in the lab's folder: the commands say how far the lab may go, its daemon says where it is
// (switchsim/lab/virtual_clock.cpp). A lab has two times, as any system: its running time, which
// nobody sets, and its wall time, which `lab jump` sets.
#ifndef QUORIN_CLI_LAB_CLOCK_H
#define QUORIN_CLI_LAB_CLOCK_H

#include <atomic>
#include <cstdint>
#include <string>

constexpr int32_t kMaxLabSpeed = 1000;

// How far a lab may go: to the goal, and on from there with the host's clock at a speed.
struct LabGoal {
  int64_t goalMs = 0;       // of the running time
  int64_t hostMs = 0;       // of the host's CLOCK_MONOTONIC, when the goal was set
  int32_t speed = 0;        // seconds of the lab in one of the host; 0: it stands at the goal
  int32_t speedAfter = 0;   // that of the lab when whoever set this goal is done
  int64_t wallAheadMs = 0;  // wall time, since 1970 UTC, minus running time

  int64_t at(int64_t hostNowMs) const { return goalMs + (hostNowMs - hostMs) * speed; }
};

class LabClockPage {
 public:
  // The goal, and its number: each goal has another.
  LabGoal goal(uint32_t* number) const;
  // By one program at a time.
  void setGoal(const LabGoal& goal);

  // For the lab's daemon. Returns after a new goal, or after so long, or at a wakeUp.
  void awaitGoalAfter(uint32_t number, int64_t nanoseconds) const;
  void wakeUp() const;  // async-signal-safe
  void setNow(int64_t runningMs) { nowMs_.store(runningMs, std::memory_order_relaxed); }
  // The daemon has done all that was to be done until the goal.
  void setReached(uint32_t number) { reached_ = number; }

  bool isReached() const { return reached_ == number_; }
  // Where the lab is: at a speed above 0 a moment of this program's time further than its daemon.
  int64_t runningMs() const;
  int64_t wallMs() const;
  // Where the daemon is, or was when it ended.
  int64_t daemonMs() const { return nowMs_; }

 private:
  friend LabClockPage* mapLabClock(const std::string& folder, bool make);
  bool isWhole() const;

  char magic_[16];
  uint32_t bytes_;
  // The next goal is written beside the one that counts: a command that is killed in the middle of
  // it has set none.
  struct Slot {
    std::atomic<int64_t> goalMs;
    std::atomic<int64_t> hostMs;
    std::atomic<int64_t> wallAheadMs;
    std::atomic<int64_t> leastMs;  // shown before: time does not go back
    std::atomic<int32_t> speed;
    std::atomic<int32_t> speedAfter;
  };
  Slot slots_[2];
  std::atomic<uint32_t> number_;  // of the goal that counts: its slot is the remainder; a futex
  std::atomic<uint32_t> reached_;
  std::atomic<int64_t> nowMs_;
};
static_assert(std::atomic<int64_t>::is_always_lock_free, "processes share the page");

// The page of the lab in the folder, mapped until this process ends; null when there is none that
// this program can use. make: makes one, reached and at 0, in place of what is there.
LabClockPage* mapLabClock(const std::string& folder, bool make = false);

// The lab that this program belongs to, a folder: the environment variable QUORIN_POED_LAB. Empty
// when it belongs to none.
std::string labFolder();

// Milliseconds since 1970 UTC: the wall time of the lab that this program belongs to or is the
// daemon of, else this system's.
int64_t systemMs();
// Of a clock that nobody sets: the lab's running time, else this system's.
int64_t systemMonotonicMs();
// So long by that clock, for the simulated switch's operations.
void systemSleepMs(int64_t milliseconds);
// How many of its seconds go by in one of the host: the lab's speed, else 1.
int32_t systemSpeed();

int64_t hostMonotonicMs();
int64_t hostRealMs();

// What a lab's daemon has and no other program, for the simulated switch's libraries in it.
extern "C" {
__attribute__((weak, visibility("default"))) int64_t quorinLabWallMs();
__attribute__((weak, visibility("default"))) int64_t quorinLabRunningMs();
__attribute__((weak, visibility("default"))) void quorinLabSleepMs(int64_t milliseconds);
}

#endif
