// The history database: opening it, and closing the runs that an earlier process left open.
//
// Table poe_history has one row per run, poe_history_port one row per port of a run. One connection
// serves all threads, always with DaemonContext::historyDbMutex held.
#ifndef QUORIN_HISTORY_HISTORY_STORE_H
#define QUORIN_HISTORY_HISTORY_STORE_H

#include <cstdint>

// Opens the history database, creates or upgrades its tables and puts the connection into the
// context. Returns 0, or -1 (logged; the context's handle stays null). REQUIRES: the context
// exists, no other thread yet. Takes the history mutex to publish.
int32_t historyStoreInit();

// Closes every run that is still "running" as failed, in one transaction: its pending ports fail
// with the same message, ports with an outcome keep it. Returns the number of runs closed, or -1
// (logged, nothing changed). Takes the history mutex. REQUIRES: called once at start, before any
// thread can begin a run.
int32_t historyReconcileInterruptedRuns();

#endif
