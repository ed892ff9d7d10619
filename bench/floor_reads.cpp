#include "bench/floor_reads.h"

#include <sqlite3.h>

#define RUN_COLUMNS                                                                     \
  "run_id, trigger_source, schedule_id, schedule_name, schedule_type, execution_mode, " \
  "inter_port_delay, error_message, started_at, completed_at, status, overall_result"
#define RUN_TYPES "ititttitiitt"

ScheduleGetFloor::ScheduleGetFloor(const DatabasePtr& db)
    : row_(db,
           "SELECT schedule_id, unit, name, schedule_type, start_date, end_date, recurrence, "
           "start_time, end_time, restart_time, off_time_sec, sequential_power, "
           "inter_port_delay, all_day, enabled FROM poe_schedule WHERE unit=? AND schedule_id=?;",
           kScheduleColumns),
      days_(db, "SELECT day FROM poe_schedule_days WHERE schedule_id=? ORDER BY day ASC;", "i"),
      ports_(db, "SELECT if_num FROM poe_schedule_ifs WHERE schedule_id=? ORDER BY if_num ASC;",
             "i") {}

int64_t ScheduleGetFloor::run(int64_t unit, int64_t scheduleId) {
  return row_.bind(unit, scheduleId).readAll() + days_.bind(scheduleId).readAll() +
         ports_.bind(scheduleId).readAll();
}

ScheduleListFloor::ScheduleListFloor(const DatabasePtr& db)
    : ids_(db, "SELECT schedule_id FROM poe_schedule WHERE unit=? ORDER BY schedule_id ASC;", "i"),
      get_(db) {}

int64_t ScheduleListFloor::run(int64_t unit) {
  int64_t sum = 0;
  ids_.bind(unit);
  while (ids_.next()) {
    sum += get_.run(unit, sqlite3_column_int64(ids_.get(), 0));
  }
  return sum;
}

HistoryPageFloor::HistoryPageFloor(const DatabasePtr& db)
    : db_(db),
      count_(db, "SELECT COUNT(*) FROM poe_history WHERE unit=?;", "i"),
      page_(db,
            "SELECT " RUN_COLUMNS
            " FROM poe_history WHERE unit=? ORDER BY started_at DESC LIMIT ? OFFSET ?;",
            RUN_TYPES) {}

int64_t HistoryPageFloor::run(int64_t unit) {
  constexpr int64_t kPageSize = 50;
  int64_t sum = count_.bind(unit).readAll();
  page_.bind(unit, kPageSize, int64_t{0});
  while (page_.next()) {
    if (states_ == nullptr) {
      states_ = std::make_unique<FloorStatement>(
          db_, "SELECT status FROM poe_history_port WHERE run_id=?;", "t");
    }
    sum += states_->bind(sqlite3_column_int64(page_.get(), 0)).readAll();
  }
  return sum;
}

HistoryDetailFloor::HistoryDetailFloor(const DatabasePtr& db)
    : run_(db,
           "SELECT " RUN_COLUMNS ", all_day_snapshot FROM poe_history WHERE unit=? AND run_id=?;",
           RUN_TYPES "i"),
      ports_(db,
             "SELECT if_num, status, error_msg, executed_at FROM poe_history_port WHERE run_id=? "
             "ORDER BY if_num ASC;",
             "itti") {}

int64_t HistoryDetailFloor::run(int64_t unit, int64_t runId) {
  return run_.bind(unit, runId).readAll() + ports_.bind(runId).readAll();
}
