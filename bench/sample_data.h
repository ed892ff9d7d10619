// Schedules and runs in bulk, put into databases that have the daemon's tables.
#ifndef QUORIN_BENCH_SAMPLE_DATA_H
#define QUORIN_BENCH_SAMPLE_DATA_H

#include <cstdint>

struct sqlite3;

constexpr int kNarrowPorts = 4;
constexpr int kWidePorts = 48;

// Weekly windows of unit, on Monday to Friday, of four ports: of a hundred one begins at 08:00, the
// others at 10:00; all end at 12:00. In place of all schedules.
void fillSchedules(sqlite3* db, int64_t count, int unit = 1);

// Finished runs of unit 1, in equal distances over 29 days up to now. The newest have 48 ports, the
// others four.
void fillHistory(sqlite3* db, int64_t runs, int64_t wideRuns);

#endif
