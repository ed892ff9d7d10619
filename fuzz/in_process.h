// The daemon's insides in the fuzzer's own process: real databases and the simulated switch below a
// root of its own.
//
// So that an input is over when its call returns, and does the same each time, sleeping takes no
// time here, detached threads run on the caller's thread, and nothing waits for the disk.
#ifndef QUORIN_FUZZ_IN_PROCESS_H
#define QUORIN_FUZZ_IN_PROCESS_H

#include "fuzz/require.h"

// The first time: opens everything with a fresh switch of two units. Ends the process on a failure.
void openInProcess();

// Forgets all schedules and runs once in a while, so that a long session does not slow down.
void forgetOften();

#endif
