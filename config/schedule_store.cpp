#include "config/schedule_store.h"

#include <cjson/cJSON.h>
#include <sqlite3.h>

#include <cstdio>
#include <ctime>

#include "base/clock.h"
#include "base/database.h"
#include "base/result_codes.h"
#include "config/schedule_reader.h"
#include "daemon/daemon_context.h"
#include "daemon/paths.h"
#include "log/log.h"
#include "rules/schedule_json.h"

namespace {

constexpr const char* kSchema =
    "PRAGMA journal_mode=WAL;"
    "PRAGMA foreign_keys=ON;"
    "CREATE TABLE IF NOT EXISTS poe_schedule ("
    "  schedule_id      INTEGER PRIMARY KEY AUTOINCREMENT,"
    "  unit             INTEGER NOT NULL,"
    "  name             TEXT NOT NULL,"
    "  schedule_type    TEXT NOT NULL,"
    "  start_date       TEXT,"
    "  end_date         TEXT,"
    "  recurrence       TEXT NOT NULL,"
    "  start_time       TEXT,"
    "  end_time         TEXT,"
    "  restart_time     TEXT,"
    "  off_time_sec     INTEGER,"
    "  sequential_power INTEGER NOT NULL DEFAULT 0,"
    "  inter_port_delay INTEGER NOT NULL DEFAULT 0,"
    "  all_day          INTEGER NOT NULL DEFAULT 0,"
    "  enabled          INTEGER NOT NULL DEFAULT 1,"
    "  created_at       INTEGER NOT NULL,"
    "  UNIQUE(unit, name)"
    ");"
    "CREATE TABLE IF NOT EXISTS poe_schedule_days ("
    "  schedule_id INTEGER NOT NULL,"
    "  day         INTEGER NOT NULL,"
    "  PRIMARY KEY (schedule_id, day),"
    "  FOREIGN KEY(schedule_id) REFERENCES poe_schedule(schedule_id) ON DELETE CASCADE"
    ");"
    "CREATE TABLE IF NOT EXISTS poe_schedule_ifs ("
    "  schedule_id INTEGER NOT NULL,"
    "  if_num      INTEGER NOT NULL,"
    "  PRIMARY KEY (schedule_id, if_num),"
    "  FOREIGN KEY(schedule_id) REFERENCES poe_schedule(schedule_id) ON DELETE CASCADE"
    ");"
    "CREATE INDEX IF NOT EXISTS idx_poe_schedule_unit ON poe_schedule(unit);";

// Tables of the first layout lack this column.
constexpr const char* kUpgrade =
    "ALTER TABLE poe_schedule ADD COLUMN all_day INTEGER NOT NULL DEFAULT 0;";

constexpr size_t kChildSqlBytes = 128;

// Inserts the values up to the first that is refused. SQLITE_OK when all are stored, or an extended
// code of SQLite.
template <typename Int>
int saveIntColumn(const ScheduleAccess& schedules, int64_t scheduleId,
                  const std::vector<Int>& values, const ScheduleChildTable& table) {
  if (values.empty()) {
    return SQLITE_OK;
  }
  char sql[kChildSqlBytes];
  snprintf(sql, sizeof sql, "INSERT INTO %s (schedule_id, %s) VALUES (?, ?);", table.name,
           table.column);
  const StatementPtr statement = schedules.prepare(sql);
  if (statement == nullptr) {
    return sqlite3_extended_errcode(schedules.db());
  }

  for (const Int value : values) {
    sqlite3_reset(statement.get());
    sqlite3_bind_int64(statement.get(), 1, scheduleId);
    sqlite3_bind_int64(statement.get(), 2, value);
    if (sqlite3_step(statement.get()) != SQLITE_DONE) {
      return sqlite3_extended_errcode(schedules.db());
    }
  }

  return SQLITE_OK;
}

bool saveChildren(const ScheduleAccess& schedules, const PoeSchedule& schedule) {
  return saveIntColumn(schedules, schedule.scheduleId, schedule.days, kScheduleDays) == SQLITE_OK &&
         saveIntColumn(schedules, schedule.scheduleId, schedule.ifNums, kSchedulePorts) ==
             SQLITE_OK;
}

// Binds the columns from start_date to enabled, which insert and update have in the same order,
// from index first on.
void bindContent(sqlite3_stmt* statement, int first, const PoeSchedule& schedule) {
  bindTextOrNull(statement, first, schedule.startDate.orNull());
  bindTextOrNull(statement, first + 1, schedule.endDate.orNull());
  bindTextOrNull(statement, first + 2, recurrenceText(schedule.recurrence));
  bindTextOrNull(statement, first + 3, schedule.startTime.orNull());
  bindTextOrNull(statement, first + 4, schedule.endTime.orNull());
  bindTextOrNull(statement, first + 5, schedule.restartTime.orNull());
  sqlite3_bind_int(statement, first + 6, schedule.offTimeSec);
  sqlite3_bind_int(statement, first + 7, schedule.executionMode == EXECUTION_SEQUENTIAL ? 1 : 0);
  sqlite3_bind_int(statement, first + 8, schedule.interPortDelaySec);
  sqlite3_bind_int(statement, first + 9, schedule.allDay);
  sqlite3_bind_int(statement, first + 10, schedule.enabled);
}

constexpr const char* kInsertScheduleSql =
    "INSERT INTO poe_schedule (unit, name, schedule_type, start_date, end_date, recurrence, "
    "start_time, end_time, "
    "restart_time, off_time_sec, sequential_power, inter_port_delay, all_day, enabled, created_at)"
    " VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?);";

int32_t insertSchedule(const ScheduleAccess& schedules, int32_t unit, PoeSchedule* schedule) {
  const StatementPtr statement = schedules.prepare(kInsertScheduleSql);
  if (statement == nullptr) {
    return ERR_GENERAL;
  }

  sqlite3_bind_int(statement.get(), 1, unit);
  bindTextOrNull(statement.get(), 2, schedule->name.c_str());
  bindTextOrNull(statement.get(), 3, scheduleTypeText(schedule->type));
  bindContent(statement.get(), 4, *schedule);
  sqlite3_bind_int64(statement.get(), 15, wallSeconds());
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    return sqlite3_errcode(schedules.db()) == SQLITE_CONSTRAINT ? ERR_EXISTS : ERR_GENERAL;
  }

  schedule->scheduleId = sqlite3_last_insert_rowid(schedules.db());
  return saveChildren(schedules, *schedule) ? RESULT_OK : ERR_GENERAL;
}

constexpr const char* kUpdateRowSql =
    "UPDATE poe_schedule"
    " SET name=?, start_date=?, end_date=?, recurrence=?, start_time=?, end_time=?, "
    "restart_time=?, off_time_sec=?, "
    "sequential_power=?, inter_port_delay=?, all_day=?, enabled=?"
    " WHERE unit=? AND schedule_id=?;";

// RESULT_OK, ERR_NOT_FOUND when the row has gone meanwhile, as another program may have it, or
// ERR_GENERAL.
int32_t updateRow(const ScheduleAccess& schedules, int32_t unit, const PoeSchedule& schedule) {
  const StatementPtr statement = schedules.prepare(kUpdateRowSql);
  if (statement == nullptr) {
    return ERR_GENERAL;
  }
  bindTextOrNull(statement.get(), 1, schedule.name.c_str());
  bindContent(statement.get(), 2, schedule);
  sqlite3_bind_int(statement.get(), 13, unit);
  sqlite3_bind_int64(statement.get(), 14, schedule.scheduleId);
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    return ERR_GENERAL;
  }
  return sqlite3_changes(schedules.db()) == 0 ? ERR_NOT_FOUND : RESULT_OK;
}

bool deleteChildren(const ScheduleAccess& schedules, int64_t scheduleId) {
  for (const char* sql : {"DELETE FROM poe_schedule_days WHERE schedule_id=?;",
                          "DELETE FROM poe_schedule_ifs  WHERE schedule_id=?;"}) {
    const StatementPtr statement = schedules.prepare(sql);
    if (statement == nullptr) {
      return false;
    }
    sqlite3_bind_int64(statement.get(), 1, scheduleId);
    if (sqlite3_step(statement.get()) != SQLITE_DONE) {
      return false;
    }
  }
  return true;
}

// Puts new children in place of the old ones. Unlike in a create, a repeated day or port is not a
// failure: what comes before it is stored, days and ports apart from each other.
bool replaceChildren(const ScheduleAccess& schedules, const PoeSchedule& schedule) {
  const auto stored = [](int rc) {
    return rc == SQLITE_OK || rc == SQLITE_CONSTRAINT_PRIMARYKEY || rc == SQLITE_CONSTRAINT_UNIQUE;
  };
  return deleteChildren(schedules, schedule.scheduleId) &&
         stored(saveIntColumn(schedules, schedule.scheduleId, schedule.days, kScheduleDays)) &&
         stored(saveIntColumn(schedules, schedule.scheduleId, schedule.ifNums, kSchedulePorts));
}

int32_t commitAndAnswer(Transaction& transaction, JsonPtr built, JsonPtr* answer) {
  if (!transaction.commit()) {
    return ERR_GENERAL;
  }
  *answer = std::move(built);
  return RESULT_OK;
}

// Appends the unit's schedules that can be read: where one can't, the others are worth showing.
int32_t listSchedules(const ScheduleAccess& schedules, int32_t unit, cJSON* array) {
  ScheduleIds ids(schedules, unit);
  if (!ids.isOpen()) {
    return ERR_GENERAL;
  }

  ScheduleReader reader(schedules);
  int64_t scheduleId = 0;
  while (ids.next(&scheduleId)) {
    PoeSchedule schedule;
    const bool isRead = reader.readWhole(unit, scheduleId, &schedule) == RESULT_OK;
    if (isRead && !jsonAppend(array, scheduleToJson(schedule))) {
      return ERR_GENERAL;
    }
  }
  return ids.atEnd() ? RESULT_OK : ERR_GENERAL;  // a list that breaks off is not a list
}

}  // namespace

int32_t scheduleStoreInit() {
  DatabasePtr db;
  if (!openDatabase(kScheduleDbPath, &db)) {
    LOG_HERE(LOG_ERR, "schedule db open failed: %s", sqlite3_errmsg(db.get()));
    return -1;
  }
  if (!applySchema(db.get(), kSchema, kUpgrade)) {
    LOG_HERE(LOG_ERR, "schedule schema apply failed: %s", sqlite3_errmsg(db.get()));
    return -1;
  }
  publishScheduleDb(std::move(db));
  return 0;
}

int32_t scheduleCreate(int32_t unit, const cJSON* content, JsonPtr* answer) {
  PoeSchedule schedule;
  if (scheduleFromJson(content, &schedule) != RESULT_OK) {
    return ERR_INVALID_ARG;
  }

  // Built before anything is changed, so that an error never hides a change.
  JsonPtr built = scheduleToJson(schedule);
  const ScheduleAccess schedules(RequestKind::changes);
  if (built == nullptr || !schedules) {
    return ERR_GENERAL;
  }

  Transaction transaction(schedules.db());
  if (!transaction.begin()) {
    return ERR_GENERAL;
  }

  const int32_t rc = insertSchedule(schedules, unit, &schedule);
  if (rc != RESULT_OK) {
    return rc;
  }

  jsonSetNumber(built.get(), "scheduleId", schedule.scheduleId);
  return commitAndAnswer(transaction, std::move(built), answer);
}

int32_t scheduleGet(int32_t unit, int64_t scheduleId, JsonPtr* answer) {
  PoeSchedule schedule;
  {
    const ScheduleAccess schedules(RequestKind::reads);
    if (!schedules) {
      return ERR_GENERAL;
    }
    const int32_t rc = ScheduleReader(schedules).readWhole(unit, scheduleId, &schedule);
    if (rc != RESULT_OK) {
      return rc;
    }
  }

  JsonPtr built = scheduleToJson(schedule);
  if (built == nullptr) {
    return ERR_GENERAL;
  }

  *answer = std::move(built);
  return RESULT_OK;
}

int32_t scheduleUpdate(int32_t unit, int64_t scheduleId, const cJSON* content, JsonPtr* answer) {
  PoeSchedule schedule;
  if (scheduleFromJson(content, &schedule) != RESULT_OK) {
    return ERR_INVALID_ARG;
  }

  schedule.scheduleId = scheduleId;
  JsonPtr built = scheduleToJson(schedule);  // here, too, before anything is changed
  const ScheduleAccess schedules(RequestKind::changes);
  if (built == nullptr || !schedules) {
    return ERR_GENERAL;
  }

  PoeSchedule stored;
  if (ScheduleReader(schedules).readRow(unit, scheduleId, &stored) != RESULT_OK) {
    return ERR_NOT_FOUND;
  }
  if (stored.type != schedule.type) {
    return ERR_INVALID_ARG;
  }

  Transaction transaction(schedules.db());
  if (!transaction.begin()) {
    return ERR_GENERAL;
  }

  const int32_t rc = updateRow(schedules, unit, schedule);
  if (rc != RESULT_OK) {
    return rc;
  }

  return replaceChildren(schedules, schedule)
             ? commitAndAnswer(transaction, std::move(built), answer)
             : ERR_GENERAL;
}

constexpr const char* kScheduleDeleteSql =
    "DELETE FROM poe_schedule"
    " WHERE unit=? AND schedule_id=?;";

int32_t scheduleDelete(int32_t unit, int64_t scheduleId) {
  const ScheduleAccess schedules(RequestKind::changes);
  if (!schedules) {
    return ERR_GENERAL;
  }

  const StatementPtr statement = schedules.prepare(kScheduleDeleteSql);
  if (statement == nullptr) {
    return ERR_GENERAL;
  }

  sqlite3_bind_int(statement.get(), 1, unit);
  sqlite3_bind_int64(statement.get(), 2, scheduleId);
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    return ERR_GENERAL;
  }

  return sqlite3_changes(schedules.db()) == 0 ? ERR_NOT_FOUND : RESULT_OK;
}

int32_t scheduleList(int32_t unit, JsonPtr* answer) {
  JsonPtr list(cJSON_CreateObject());
  cJSON* array = list != nullptr ? cJSON_AddArrayToObject(list.get(), "schedules") : nullptr;
  const ScheduleAccess schedules(RequestKind::reads);
  if (array == nullptr || !schedules) {
    return ERR_GENERAL;
  }
  const int32_t rc = listSchedules(schedules, unit, array);
  if (rc == RESULT_OK) {
    *answer = std::move(list);
  }
  return rc;
}
