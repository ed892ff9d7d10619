// The floor of changes of schedules: their bare transactions.
//
// One connection, in the daemon's journal mode and as well synced, used under one mutex. All
// statements are prepared once and reused. No socket, no JSON, no checks: what is left is the row,
// five days, four ports, and the commit. A schedule.update of the daemon reads the row first; the
// floor does, too.
#ifndef QUORIN_BENCH_SCHEDULE_WRITES_H
#define QUORIN_BENCH_SCHEDULE_WRITES_H

#include <mutex>

#include "bench/floor_reads.h"

class ScheduleWritesFloor {
 public:
  explicit ScheduleWritesFloor(const std::string& path);

  void create(int64_t number);
  void update(int64_t scheduleId, int64_t number);
  void remove(int64_t scheduleId);

 private:
  void insertChildren(int64_t scheduleId);

  std::mutex mutex_;
  DatabasePtr db_;
  FloorStatement begin_{db_, "BEGIN;"};
  FloorStatement commit_{db_, "COMMIT;"};
  FloorStatement insert_{
      db_,
      "INSERT INTO poe_schedule (unit, name, schedule_type, start_date, end_date, recurrence, "
      "start_time, end_time, restart_time, off_time_sec, sequential_power, inter_port_delay, "
      "all_day, enabled, created_at) VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?);"};
  FloorStatement read_{
      db_,
      "SELECT schedule_id, unit, name, schedule_type, start_date, end_date, recurrence, "
      "start_time, end_time, restart_time, off_time_sec, sequential_power, inter_port_delay, "
      "all_day, enabled FROM poe_schedule WHERE unit=? AND schedule_id=?;",
      kScheduleColumns};
  FloorStatement update_{
      db_,
      "UPDATE poe_schedule SET name=?, start_date=?, end_date=?, recurrence=?, start_time=?, "
      "end_time=?, restart_time=?, off_time_sec=?, sequential_power=?, inter_port_delay=?, "
      "all_day=?, enabled=? WHERE unit=? AND schedule_id=?;"};
  FloorStatement remove_{db_, "DELETE FROM poe_schedule WHERE unit=? AND schedule_id=?;"};
  FloorStatement removeDays_{db_, "DELETE FROM poe_schedule_days WHERE schedule_id=?;"};
  FloorStatement removePorts_{db_, "DELETE FROM poe_schedule_ifs WHERE schedule_id=?;"};
  FloorStatement insertDay_{db_, "INSERT INTO poe_schedule_days (schedule_id, day) VALUES (?, ?);"};
  FloorStatement insertPort_{db_,
                             "INSERT INTO poe_schedule_ifs (schedule_id, if_num) VALUES (?, ?);"};
};

#endif
