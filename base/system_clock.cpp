// The system's own clock, threads and locks.
#include <thread>

#include "base/clock.h"

namespace {

// Asked here and not in the C++ library: on 32-bit processors times are of another width there, and
// what moves the clock for a test does not reach it.
std::chrono::nanoseconds timeOf(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

}  // namespace

std::chrono::nanoseconds wallTime() {
  return timeOf(CLOCK_REALTIME);
}

time_t wallSeconds() {
  return time(nullptr);
}

std::chrono::nanoseconds monotonicTime() {
  return timeOf(CLOCK_MONOTONIC);
}

void clockSleep(std::chrono::nanoseconds duration) {
  std::this_thread::sleep_for(duration);
}

int clockThreadStart(pthread_t* thread, void* (*body)(void*), void* argument) {
  return pthread_create(thread, nullptr, body, argument);
}

void clockThreadJoin(pthread_t thread) {
  pthread_join(thread, nullptr);
}

void clockLock(std::mutex* mutex) {
  mutex->lock();
}

void clockUnlock(std::mutex* mutex) {
  mutex->unlock();
}

int clockPoll(pollfd* events, nfds_t count, int timeoutMs) {
  return poll(events, count, timeoutMs);
}

void clockPauseOutside(std::chrono::nanoseconds duration) {
  clockSleep(duration);
}

// Its signal wakes nobody who sleeps: pauses are looked at once a second.
void clockStopping() {}
