// The bare use of a database, which the daemon's own is measured against.
//
// A floor has a connection of its own, in the daemon's mode: a write-ahead log, every commit
// synced, foreign keys on. It runs the texts of the daemon's statements with as little as SQLite
// needs: bind, step, read each column by its type, reset. Where a change is measured its statements
// are prepared once and reused; where something is read they are prepared, run and finalised in
// each call, as the daemon's are.
#ifndef QUORIN_BENCH_FLOORS_H
#define QUORIN_BENCH_FLOORS_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/database.h"

// Ends the program unless the condition holds: a figure measured on a failure is worth nothing.
inline void must(bool condition, const char* what) {
  if (!condition) {
    fprintf(stderr, "bench: %s failed\n", what);
    exit(1);
  }
}

DatabasePtr openFloorDatabase(const std::string& path);

// Copies a database with all it holds to a path where nothing is.
void copyDatabase(const char* from, const std::string& to);

class FloorStatement {
 public:
  // columns: of what type each column of a row is read, in order: 'i' an integer, 't' a text.
  FloorStatement(const DatabasePtr& db, const char* sql, const char* columns = "");

  sqlite3_stmt* get() const { return statement_.get(); }

  // Binds all parameters, in order.
  template <typename... Values>
  FloorStatement& bind(Values... values) {
    int index = 0;
    (bindOne(++index, values), ...);
    return *this;
  }

  // Steps to the next row and reads it; false at the end, where the statement is reset.
  bool next();
  // Steps to the end. The sum of all that was read, so that no reading can be left out.
  int64_t readAll();
  int64_t sum() const { return sum_; }

 private:
  void bindOne(int index, int64_t value);
  void bindOne(int index, const char* textOrNull);

  StatementPtr statement_;
  const char* columns_;
  int64_t sum_ = 0;
};

#define FLOOR_SCHEDULE_SQL                                                            \
  "SELECT schedule_id, unit, name, schedule_type, start_date, end_date, recurrence, " \
  "start_time, end_time, restart_time, off_time_sec, sequential_power, "              \
  "inter_port_delay, all_day, enabled FROM poe_schedule"
constexpr const char* kFloorScheduleColumns = "iittttttttiiiii";

// The statements of the reading methods. Each returns the sum of what it read.
// schedule.get: the row, its days, its ports.
int64_t scheduleGetFloor(const DatabasePtr& db, int64_t unit, int64_t scheduleId);
// schedule.list: the unit's ids, and for each the three of schedule.get, which are prepared once.
int64_t scheduleListFloor(const DatabasePtr& db, int64_t unit);
// history.list: the number of runs, a page of 50, and for each of it the states of its ports, with
// a statement that is prepared once if there is a run.
int64_t historyPageFloor(const DatabasePtr& db, int64_t unit);
// history.detail: the run's row and its ports; two statements, for the ports can be counted as they
// are read.
int64_t historyDetailFloor(const DatabasePtr& db, int64_t unit, int64_t runId);

#endif
