// Counting a run's port rows.
#ifndef QUORIN_HISTORY_PORT_COUNTS_H
#define QUORIN_HISTORY_PORT_COUNTS_H

#include <cstdint>

#include "history/run_vocabulary.h"

class HistoryAccess;

// Counts the port rows of a run by state. Returns 0, or ERR_GENERAL (logged, all counts 0) when the
// rows can't be queried; an error while reading them ends the counting early without a code.
int32_t countPorts(const HistoryAccess& history, int64_t runId, PortCounts* counts);

#endif
