#include "config/schedule_reader.h"

#include <sqlite3.h>

#include <cstdio>

#include "base/result_codes.h"
#include "daemon/logged_statement.h"

namespace {

// In the order in which scheduleRowRead takes them.
#define SCHEDULE_COLUMNS                                                       \
  "schedule_id, unit, name, schedule_type, start_date, end_date, recurrence, " \
  "start_time, end_time, restart_time, off_time_sec, sequential_power, "       \
  "inter_port_delay, all_day, enabled"

constexpr const char* kReadAllSql = "SELECT " SCHEDULE_COLUMNS " FROM poe_schedule;";

constexpr const char* kReadOneSql = "SELECT " SCHEDULE_COLUMNS
                                    " FROM poe_schedule"
                                    " WHERE unit=? AND schedule_id=?;";

constexpr const char* kListIdsSql =
    "SELECT schedule_id"
    " FROM poe_schedule"
    " WHERE unit=?"
    " ORDER BY schedule_id ASC;";

constexpr const char* kHasDaySql =
    "SELECT 1"
    " FROM poe_schedule_days"
    " WHERE schedule_id=? AND day=?"
    " LIMIT 1;";

constexpr const char* kReadPortsSql =
    "SELECT if_num"
    " FROM poe_schedule_ifs"
    " WHERE schedule_id=?"
    " ORDER BY if_num;";

constexpr const char* kReadWindowSql =
    "SELECT schedule_type, all_day, enabled"
    " FROM poe_schedule"
    " WHERE schedule_id=? AND unit=?;";

constexpr size_t kChildSqlBytes = 128;

void scheduleRowRead(sqlite3_stmt* row, PoeSchedule* schedule) {
  schedule->scheduleId = sqlite3_column_int64(row, 0);
  schedule->unit = sqlite3_column_int(row, 1);
  schedule->name.assign(columnText(row, 2));
  schedule->type = scheduleTypeOf(columnText(row, 3));
  schedule->startDate.assign(columnText(row, 4));
  schedule->endDate.assign(columnText(row, 5));
  schedule->recurrence = recurrenceOf(columnText(row, 6));
  schedule->startTime.assign(columnText(row, 7));
  schedule->endTime.assign(columnText(row, 8));
  schedule->restartTime.assign(columnText(row, 9));
  schedule->offTimeSec = sqlite3_column_int(row, 10);
  schedule->executionMode =
      sqlite3_column_int(row, 11) != 0 ? EXECUTION_SEQUENTIAL : EXECUTION_SIMULTANEOUS;
  schedule->interPortDelaySec = sqlite3_column_int(row, 12);
  schedule->allDay = sqlite3_column_int(row, 13);
  schedule->enabled = sqlite3_column_int(row, 14);
}

StatementPtr prepareChildRead(const ScheduleAccess& schedules, const ScheduleChildTable& table) {
  char sql[kChildSqlBytes];
  snprintf(sql, sizeof sql, "SELECT %s FROM %s WHERE schedule_id=? ORDER BY %s ASC;", table.column,
           table.name, table.column);
  return schedules.prepare(sql);
}

// The child rows of a schedule in ascending order; empty when they can't be read whole.
template <typename Int>
std::vector<Int> loadIntColumn(sqlite3_stmt* statement, int64_t scheduleId) {
  std::vector<Int> values;
  if (statement != nullptr) {
    sqlite3_bind_int64(statement, 1, scheduleId);
    collectColumn(statement, &values);
    sqlite3_reset(statement);
  }
  return values;
}

bool isStandingWindow(sqlite3_stmt* row) {
  const ScheduleType type = scheduleTypeOf(columnText(row, 0));
  const bool allDay = sqlite3_column_int(row, 1) != 0;
  const bool enabled = sqlite3_column_int(row, 2) != 0;
  return enabled && !allDay && isWindowType(type);
}

}  // namespace

ScheduleRows::ScheduleRows(const ScheduleAccess& schedules)
    : rows_(schedules.prepare(kReadAllSql)) {}

bool ScheduleRows::next(PoeSchedule* schedule) {
  const int step = sqlite3_step(rows_.get());
  atEnd_ = step == SQLITE_DONE;
  if (step == SQLITE_ROW) {
    scheduleRowRead(rows_.get(), schedule);
  }
  return step == SQLITE_ROW;
}

bool ScheduleDays::contain(int64_t scheduleId, int32_t day) {
  if (lookup_ == nullptr) {
    lookup_ = schedules_.prepare(kHasDaySql);
  }
  if (lookup_ == nullptr) {
    return false;
  }
  sqlite3_bind_int64(lookup_.get(), 1, scheduleId);
  sqlite3_bind_int(lookup_.get(), 2, day);
  const bool found = sqlite3_step(lookup_.get()) == SQLITE_ROW;
  sqlite3_reset(lookup_.get());
  return found;
}

ScheduleReader::ScheduleReader(const ScheduleAccess& schedules)
    : schedules_(schedules), row_(schedules.prepare(kReadOneSql)) {}

int32_t ScheduleReader::readRow(int32_t unit, int64_t scheduleId, PoeSchedule* schedule) {
  if (row_ == nullptr) {
    return ERR_GENERAL;
  }
  sqlite3_bind_int(row_.get(), 1, unit);
  sqlite3_bind_int64(row_.get(), 2, scheduleId);
  const int step = sqlite3_step(row_.get());
  if (step == SQLITE_ROW) {
    scheduleRowRead(row_.get(), schedule);
  }
  sqlite3_reset(row_.get());
  return step == SQLITE_ROW ? RESULT_OK : step == SQLITE_DONE ? ERR_NOT_FOUND : ERR_GENERAL;
}

int32_t ScheduleReader::readWhole(int32_t unit, int64_t scheduleId, PoeSchedule* schedule) {
  const int32_t rc = readRow(unit, scheduleId, schedule);
  if (rc != RESULT_OK) {
    return rc;
  }

  if (days_ == nullptr) {
    days_ = prepareChildRead(schedules_, kScheduleDays);
  }
  if (ports_ == nullptr) {
    ports_ = prepareChildRead(schedules_, kSchedulePorts);
  }
  schedule->days = loadIntColumn<int32_t>(days_.get(), scheduleId);
  schedule->ifNums = loadIntColumn<uint32_t>(ports_.get(), scheduleId);
  return RESULT_OK;
}

ScheduleIds::ScheduleIds(const ScheduleAccess& schedules, int32_t unit)
    : ids_(schedules.prepare(kListIdsSql)) {
  if (ids_ != nullptr) {
    sqlite3_bind_int(ids_.get(), 1, unit);
  }
}

bool ScheduleIds::next(int64_t* scheduleId) {
  return stepToValue(ids_.get(), scheduleId, &atEnd_);
}

std::vector<uint32_t> scheduleLoadIfNums(const ScheduleAccess& schedules, int64_t scheduleId) {
  const StatementPtr statement = schedules.prepare(kReadPortsSql);
  return loadIntColumn<uint32_t>(statement.get(), scheduleId);
}

WindowSchedule scheduleCanCloseRun(const ScheduleAccess& schedules, int64_t scheduleId,
                                   int32_t unit) {
  const LoggedStatement statement(schedules, "reaper schedule lookup", kReadWindowSql);
  if (!statement) {
    return WindowSchedule::unknown;
  }

  sqlite3_bind_int64(statement.get(), 1, scheduleId);
  sqlite3_bind_int(statement.get(), 2, unit);
  switch (statement.step()) {
    case StepResult::row:
      return isStandingWindow(statement.get()) ? WindowSchedule::valid
                                               : WindowSchedule::goneOrChanged;
    case StepResult::end:
      return WindowSchedule::goneOrChanged;
    case StepResult::failure:
      break;
  }

  return WindowSchedule::unknown;
}
