// The statements of the daemon's reading methods, bare.
//
// The texts are the daemon's. For one connection, so the caller sees to it that one thread at a
// time uses one of these. Each object prepares its statements when it is made and finalises them
// when it goes.
#ifndef QUORIN_BENCH_FLOOR_READS_H
#define QUORIN_BENCH_FLOOR_READS_H

#include "bench/floor_database.h"

// The types of a schedule's columns, as all statements select them.
constexpr const char* kScheduleColumns = "iittttttttiiiii";

// schedule.get: its row, its days, its ports.
class ScheduleGetFloor {
 public:
  explicit ScheduleGetFloor(const DatabasePtr& db);
  int64_t run(int64_t unit, int64_t scheduleId);

 private:
  FloorStatement row_;
  FloorStatement days_;
  FloorStatement ports_;
};

// schedule.list: the unit's ids, and beside them what schedule.get runs for each.
class ScheduleListFloor {
 public:
  explicit ScheduleListFloor(const DatabasePtr& db);
  int64_t run(int64_t unit);

 private:
  FloorStatement ids_;
  ScheduleGetFloor get_;
};

// history.list: the number of runs, a page of 50, and the states of each one's ports. (All are
// prepared when needed at the latest: an empty page needs no third.)
class HistoryPageFloor {
 public:
  explicit HistoryPageFloor(const DatabasePtr& db);
  int64_t run(int64_t unit);

 private:
  const DatabasePtr& db_;
  FloorStatement count_;
  FloorStatement page_;
  std::unique_ptr<FloorStatement> states_;
};

// history.detail: the run's row and its ports. Two statements: the ports' numbers can be had from
// the second.
class HistoryDetailFloor {
 public:
  explicit HistoryDetailFloor(const DatabasePtr& db);
  int64_t run(int64_t unit, int64_t runId);

 private:
  FloorStatement run_;
  FloorStatement ports_;
};

#endif
