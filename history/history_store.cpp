#include "history/history_store.h"

#include <sqlite3.h>

#include <ctime>

#include "base/database.h"
#include "daemon/daemon_context.h"
#include "daemon/paths.h"
#include "history/run_lifecycle.h"
#include "log/log.h"

namespace {

constexpr const char* kSchema =
    "PRAGMA journal_mode=WAL;"
    "PRAGMA foreign_keys=ON;"
    "CREATE TABLE IF NOT EXISTS poe_history ("
    "  run_id            INTEGER PRIMARY KEY AUTOINCREMENT,"
    "  unit              INTEGER NOT NULL,"
    "  trigger_source    TEXT NOT NULL,"
    "  schedule_id       INTEGER,"
    "  schedule_name     TEXT,"
    "  schedule_type     TEXT,"
    "  execution_mode    TEXT NOT NULL,"
    "  inter_port_delay  INTEGER,"
    "  all_day_snapshot  INTEGER,"
    "  started_at        INTEGER NOT NULL,"
    "  completed_at      INTEGER,"
    "  status            TEXT NOT NULL,"
    "  overall_result    TEXT,"
    "  error_message     TEXT"
    ");"
    "CREATE INDEX IF NOT EXISTS idx_hist_unit_started ON poe_history(unit, started_at DESC);"
    "CREATE TABLE IF NOT EXISTS poe_history_port ("
    "  run_id       INTEGER NOT NULL,"
    "  if_num       INTEGER NOT NULL,"
    "  status       TEXT NOT NULL,"
    "  error_msg    TEXT,"
    "  executed_at  INTEGER NOT NULL,"
    "  PRIMARY KEY (run_id, if_num),"
    "  FOREIGN KEY(run_id) REFERENCES poe_history(run_id) ON DELETE CASCADE"
    ");";

// Tables of the first layout lack this column.
constexpr const char* kUpgrade = "ALTER TABLE poe_history ADD COLUMN all_day_snapshot INTEGER;";

constexpr const char* kInterrupted = "Interrupted by unexpected reboot";

// The two steps of a reconcile; each logs its own failures.
bool failPendingPorts(sqlite3* db) {
  const StatementPtr statement = prepareStatement(db,
                                                  "UPDATE poe_history_port SET status='failed', error_msg=? WHERE "
                                                  "status='pending' AND run_id IN (SELECT run_id FROM "
                                                  "poe_history WHERE status='running');");
  if (statement == nullptr) {
    LOG_HERE(LOG_ERR, "reconcile ports prepare failed: %s", sqlite3_errmsg(db));
    return false;
  }
  bindTextOrNull(statement.get(), 1, kInterrupted);
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    LOG_HERE(LOG_ERR, "reconcile ports step failed: %s", sqlite3_errmsg(db));
    return false;
  }
  return true;
}

bool failRunningRuns(sqlite3* db, int32_t* count) {
  const StatementPtr statement = prepareStatement(
      db,
      "UPDATE poe_history SET completed_at=?, status='completed', overall_result='failed', error_message=? WHERE "
      "status='running';");
  if (statement == nullptr) {
    LOG_HERE(LOG_ERR, "reconcile runs prepare failed: %s", sqlite3_errmsg(db));
    return false;
  }
  sqlite3_bind_int64(statement.get(), 1, time(nullptr));
  bindTextOrNull(statement.get(), 2, kInterrupted);
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    LOG_HERE(LOG_ERR, "reconcile runs step failed: %s", sqlite3_errmsg(db));
    return false;
  }
  *count = sqlite3_changes(db);
  return true;
}

int32_t reconcileLocked(sqlite3* db) {
  Transaction transaction(db);
  if (!transaction.begin()) {
    LOG_HERE(LOG_ERR, "reconcile BEGIN failed: %s", sqlite3_errmsg(db));
    return -1;
  }
  int32_t count = 0;
  if (!failPendingPorts(db) || !failRunningRuns(db, &count)) {
    return -1;
  }
  if (!transaction.commit()) {
    LOG_HERE(LOG_ERR, "reconcile COMMIT failed: %s", sqlite3_errmsg(db));
    return -1;
  }
  return count;
}

}  // namespace

// No other thread exists yet, so the handle is published without its mutex.
int32_t historyStoreInit() NO_THREAD_SAFETY_ANALYSIS {
  DatabasePtr db;
  if (!openDatabase(kHistoryDbPath, &db)) {
    LOG_HERE(LOG_ERR, "history db open failed: %s", sqlite3_errmsg(db.get()));
    return -1;
  }
  if (!applySchema(db.get(), kSchema, kUpgrade)) {
    LOG_HERE(LOG_ERR, "history schema apply failed: %s", sqlite3_errmsg(db.get()));
    return -1;
  }
  historyForgetLostRuns();
  daemonContext()->historyDb = db.release();
  return 0;
}

int32_t historyReconcileInterruptedRuns() {
  int32_t count = -1;
  {
    const HistoryAccess access;
    if (access) {
      count = reconcileLocked(access.db());
    }
  }
  if (count >= 1) {
    LOG_HERE(LOG_INFO, "reconciled %d interrupted PoE run(s) to failed on startup", count);
  }
  return count;
}
