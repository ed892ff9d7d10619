// The daemon's stores in this process, and what is measured of them.
#ifndef QUORIN_BENCH_STORES_H
#define QUORIN_BENCH_STORES_H

#include <cstdint>
#include <string>

#include "history/run_lifecycle.h"

// A begin of a run of ports 1 to count, count at most 48.
RunBeginRequest beginRequest(int32_t count);

// Puts other runs in the place of the history: so many (0: none), of which the newest 100 have 48
// ports. Does nothing when they are there already. The file is built once and kept for later runs
// of this program; what is measured on it must only read.
void openHistoryOf(int64_t runs);
// The same with a copy of the file, which may be changed.
void openHistoryCopyOf(int64_t runs);

// A path for a floor's database.
std::string floorPath(const char* name);

void registerHistoryFigures();
void registerTickFigures();
void registerLogFigure();
void registerPurgeFigure();
void registerFlashFigures();

#endif
