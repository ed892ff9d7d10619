// Counting a run's port rows.
#ifndef QUORIN_HISTORY_PORT_COUNTS_H
#define QUORIN_HISTORY_PORT_COUNTS_H

#include <cstdint>

#include "history/run_vocabulary.h"

struct sqlite3;

// Counts the port rows of a run by state. Returns 0, or ERR_GENERAL (logged, all counts 0) when the rows can't be
// queried; an error while reading them ends the counting early without a code. REQUIRES: history mutex held.
int32_t countPorts(sqlite3* db, int64_t runId, PortCounts* counts);

#endif
