// The floor of changes of schedules: their bare transactions.
//
// One connection, in the daemon's journal mode and as well synced, used under one mutex. All
// statements are prepared once and reused. No socket, no JSON, no checks: what is left is the row,
// five days, four ports, and the commit. A schedule.update of the daemon reads the row first; the
// floor does, too.
#ifndef QUORIN_BENCH_SCHEDULE_WRITES_H
#define QUORIN_BENCH_SCHEDULE_WRITES_H

#include <sqlite3.h>

#include <mutex>

#include "bench/floors.h"

class ScheduleWritesFloor {
 public:
  explicit ScheduleWritesFloor(const std::string& path) : db_(openFloorDatabase(path)) {}

  void create(int64_t number) {
    const std::string name = "New " + std::to_string(number);
    const std::lock_guard<std::mutex> lock(mutex_);
    begin_.readAll();
    insert_.bind(name.c_str()).readAll();
    insertChildren(sqlite3_last_insert_rowid(db_.get()));
    commit_.readAll();
  }

  void update(int64_t scheduleId, int64_t number) {
    const std::string name = "New " + std::to_string(number);
    const std::lock_guard<std::mutex> lock(mutex_);
    read_.bind(scheduleId).readAll();
    begin_.readAll();
    update_.bind(name.c_str(), scheduleId).readAll();
    removeDays_.bind(scheduleId).readAll();
    removePorts_.bind(scheduleId).readAll();
    insertChildren(scheduleId);
    commit_.readAll();
  }

  void remove(int64_t scheduleId) {
    const std::lock_guard<std::mutex> lock(mutex_);
    remove_.bind(scheduleId).readAll();
  }

 private:
  void insertChildren(int64_t scheduleId) {
    for (int64_t day = 1; day <= 5; ++day) {
      insertDay_.bind(scheduleId, day).readAll();
    }
    for (int64_t port = 1; port <= 4; ++port) {
      insertPort_.bind(scheduleId, port).readAll();
    }
  }

  std::mutex mutex_;
  DatabasePtr db_;
  FloorStatement begin_{db_, "BEGIN;"};
  FloorStatement commit_{db_, "COMMIT;"};
  FloorStatement insert_{
      db_,
      "INSERT INTO poe_schedule (unit, name, schedule_type, start_date, end_date, recurrence, "
      "start_time, end_time, restart_time, off_time_sec, sequential_power, inter_port_delay, "
      "all_day, enabled, created_at) VALUES (1, ?, 'power_off', '2026-01-01', '2036-12-31', "
      "'weekly', '08:00', '12:00', NULL, 0, 0, 0, 0, 1, 1767225600);"};
  FloorStatement read_{db_, FLOOR_SCHEDULE_SQL " WHERE unit=1 AND schedule_id=?;",
                       kFloorScheduleColumns};
  FloorStatement update_{
      db_,
      "UPDATE poe_schedule SET name=?, start_date='2026-01-01', end_date='2036-12-31', "
      "recurrence='weekly', start_time='08:00', end_time='12:00', restart_time=NULL, "
      "off_time_sec=0, sequential_power=0, inter_port_delay=0, all_day=0, enabled=1 "
      "WHERE unit=1 AND schedule_id=?;"};
  FloorStatement remove_{db_, "DELETE FROM poe_schedule WHERE unit=1 AND schedule_id=?;"};
  FloorStatement removeDays_{db_, "DELETE FROM poe_schedule_days WHERE schedule_id=?;"};
  FloorStatement removePorts_{db_, "DELETE FROM poe_schedule_ifs WHERE schedule_id=?;"};
  FloorStatement insertDay_{db_, "INSERT INTO poe_schedule_days (schedule_id, day) VALUES (?, ?);"};
  FloorStatement insertPort_{db_,
                             "INSERT INTO poe_schedule_ifs (schedule_id, if_num) VALUES (?, ?);"};
};

#endif
