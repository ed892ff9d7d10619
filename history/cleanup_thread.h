// The thread that keeps the history from growing without bound.
#ifndef QUORIN_HISTORY_CLEANUP_THREAD_H
#define QUORIN_HISTORY_CLEANUP_THREAD_H

#include <ctime>

constexpr long HISTORY_RETENTION_SEC = 2592000;  // 30 days

// Midnight of the local day that holds now, by the offset from UTC that is in force now.
time_t localMidnight(time_t now);

// Thread body: purges the runs older than the retention period at once and then daily at local
// midnight, until a stop is asked for, which it notices within 10 seconds. Takes no argument,
// returns null. Takes the history mutex only to purge.
void* cleanupThread(void* unused);

#endif
