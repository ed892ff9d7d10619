#include "bench/floors.h"

#include <sqlite3.h>

namespace {

#define RUN_COLUMNS                                                                     \
  "run_id, trigger_source, schedule_id, schedule_name, schedule_type, execution_mode, " \
  "inter_port_delay, error_message, started_at, completed_at, status, overall_result"
#define RUN_TYPES "ititttitiitt"

constexpr int64_t kPageSize = 50;

struct WholeSchedule {
  explicit WholeSchedule(const DatabasePtr& db)
      : row(db, FLOOR_SCHEDULE_SQL " WHERE unit=? AND schedule_id=?;", kFloorScheduleColumns),
        days(db, "SELECT day FROM poe_schedule_days WHERE schedule_id=? ORDER BY day ASC;", "i"),
        ports(db, "SELECT if_num FROM poe_schedule_ifs WHERE schedule_id=? ORDER BY if_num ASC;",
              "i") {}

  int64_t readAll(int64_t unit, int64_t scheduleId) {
    return row.bind(unit, scheduleId).readAll() + days.bind(scheduleId).readAll() +
           ports.bind(scheduleId).readAll();
  }

  FloorStatement row;
  FloorStatement days;
  FloorStatement ports;
};

int64_t portStates(const DatabasePtr& db, FloorStatement& page) {
  FloorStatement states(db, "SELECT status FROM poe_history_port WHERE run_id=?;", "t");
  do {
    states.bind(sqlite3_column_int64(page.get(), 0)).readAll();
  } while (page.next());
  return states.sum();
}

}  // namespace

DatabasePtr openFloorDatabase(const std::string& path) {
  constexpr int kPatienceMs = 3000;
  DatabasePtr db;
  must(openDatabase(path.c_str(), &db), "opening a floor's database");
  sqlite3_busy_timeout(db.get(), kPatienceMs);
  must(executeSql(db.get(),
                  "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA foreign_keys=ON;"),
       "setting a floor's database up");
  return db;
}

void copyDatabase(const char* from, const std::string& to) {
  DatabasePtr db;
  must(openDatabase(from, &db) && executeSql(db.get(), ("VACUUM INTO '" + to + "';").c_str()),
       "copying a database");
}

FloorStatement::FloorStatement(const DatabasePtr& db, const char* sql, const char* columns)
    : statement_(prepareStatement(db.get(), sql)), columns_(columns) {
  must(statement_ != nullptr, sql);
}

bool FloorStatement::next() {
  sqlite3_stmt* row = get();
  const int step = sqlite3_step(row);
  if (step != SQLITE_ROW) {
    must(step == SQLITE_DONE, sqlite3_sql(row));
    sqlite3_reset(row);
    return false;
  }

  for (int i = 0; columns_[i] != '\0'; ++i) {
    if (columns_[i] == 'i') {
      sum_ += sqlite3_column_int64(row, i);
    } else if (const unsigned char* text = sqlite3_column_text(row, i); text != nullptr) {
      sum_ += *text;
    }
  }
  return true;
}

int64_t FloorStatement::readAll() {
  while (next()) {
  }
  return sum_;
}

void FloorStatement::bindOne(int index, int64_t value) {
  sqlite3_bind_int64(get(), index, value);
}

void FloorStatement::bindOne(int index, const char* textOrNull) {
  bindTextOrNull(get(), index, textOrNull);
}

int64_t scheduleGetFloor(const DatabasePtr& db, int64_t unit, int64_t scheduleId) {
  return WholeSchedule(db).readAll(unit, scheduleId);
}

int64_t scheduleListFloor(const DatabasePtr& db, int64_t unit) {
  FloorStatement ids(
      db, "SELECT schedule_id FROM poe_schedule WHERE unit=? ORDER BY schedule_id ASC;", "i");
  WholeSchedule whole(db);
  int64_t sum = 0;
  ids.bind(unit);
  while (ids.next()) {
    sum += whole.readAll(unit, sqlite3_column_int64(ids.get(), 0));
  }
  return sum;
}

int64_t historyPageFloor(const DatabasePtr& db, int64_t unit) {
  FloorStatement count(db, "SELECT COUNT(*) FROM poe_history WHERE unit=?;", "i");
  FloorStatement page(db,
                      "SELECT " RUN_COLUMNS
                      " FROM poe_history WHERE unit=? ORDER BY started_at DESC LIMIT ? OFFSET ?;",
                      RUN_TYPES);
  const int64_t sum = count.bind(unit).readAll();
  page.bind(unit, kPageSize, int64_t{0});
  return page.next() ? sum + portStates(db, page) + page.sum() : sum;
}

int64_t historyDetailFloor(const DatabasePtr& db, int64_t unit, int64_t runId) {
  FloorStatement run(
      db, "SELECT " RUN_COLUMNS ", all_day_snapshot FROM poe_history WHERE unit=? AND run_id=?;",
      RUN_TYPES "i");
  FloorStatement ports(db,
                       "SELECT if_num, status, error_msg, executed_at FROM poe_history_port WHERE "
                       "run_id=? ORDER BY if_num ASC;",
                       "itti");
  return run.bind(unit, runId).readAll() + ports.bind(runId).readAll();
}
