// One lock per PoE port, so that two runs never work one port at the same time. A port is only ever
// tried, never waited for.
#ifndef QUORIN_POE_PORT_LOCKS_H
#define QUORIN_POE_PORT_LOCKS_H

#include <cstdint>

// Units 1 to 8 and ifNums 1 to 128 have a lock; a port beyond can never be locked.
constexpr int32_t kMaxUnits = 8;
constexpr int32_t kMaxLockedIfNum = 128;

// Makes every lock free. Returns 0. REQUIRES: called once at start, before any thread uses a port.
int32_t portLockInit();

// Takes a port's lock for the calling thread without blocking. Returns RESULT_OK, ERR_GENERAL when
// it is taken, or ERR_INVALID_ARG when there is no such lock. May be called with any other lock
// held.
int32_t portLockTry(int32_t unit, int32_t ifNum);

// Gives a lock back; does nothing for a free or missing one. REQUIRES: the calling thread took it.
void portLockRelease(int32_t unit, int32_t ifNum);

#endif
