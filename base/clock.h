// The one room through which the daemon looks at clocks, sleeps, waits, locks and starts threads.
// Nothing else of the daemon may do these things by itself: so a program that links another clock
// than the system's (base/system_clock.cpp) has the whole daemon in a time of its own. Every
// function may be called from any thread.
#ifndef QUORIN_BASE_CLOCK_H
#define QUORIN_BASE_CLOCK_H

#include <poll.h>
#include <pthread.h>

#include <chrono>
#include <ctime>
#include <mutex>

// Since 1970 UTC. Whoever sets the system's clock moves it.
std::chrono::nanoseconds wallTime();
time_t wallSeconds();
// Of a clock that nobody sets.
std::chrono::nanoseconds monotonicTime();

// Sleeps the full time even when signals arrive in between; 0 or less returns at once.
void clockSleep(std::chrono::nanoseconds duration);

// As pthread_create with default attributes, and pthread_join.
int clockThreadStart(pthread_t* thread, void* (*body)(void*), void* argument);
void clockThreadJoin(pthread_t thread);

// For Mutex (base/thread_annotations.h) alone.
void clockLock(std::mutex* mutex);
void clockUnlock(std::mutex* mutex);

// As poll: waits for somebody outside the process, or for another thread's word on a descriptor.
int clockPoll(pollfd* events, nfds_t count, int timeoutMs);

// Sleeps for the sake of somebody outside, who is given time to do something.
void clockPauseOutside(std::chrono::nanoseconds duration);

// The process is to end: whoever sleeps looks for that soon. Async-signal-safe.
void clockStopping();

#endif
