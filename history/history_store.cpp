#include "history/history_store.h"

#include <sqlite3.h>

#include <ctime>

#include "base/clock.h"
#include "base/database.h"
#include "daemon/daemon_context.h"
#include "daemon/logged_statement.h"
#include "daemon/paths.h"
#include "log/log.h"
#include "rules/run_words.h"

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

constexpr const char* kFailPendingPortsSql =
    "UPDATE poe_history_port"
    " SET status='failed', error_msg=?"
    " WHERE status='pending'"
    " AND run_id IN (SELECT run_id FROM poe_history WHERE status='running');";

// The two steps of a reconcile; each logs its own failures.
bool failPendingPorts(const HistoryAccess& history) {
  const LoggedStatement statement(history, "reconcile ports", kFailPendingPortsSql);
  if (!statement) {
    return false;
  }
  bindTextOrNull(statement.get(), 1, kRunInterrupted);
  return statement.run();
}

constexpr const char* kFailRunningRunsSql =
    "UPDATE poe_history"
    " SET completed_at=?, status='completed', overall_result='failed', error_message=?"
    " WHERE status='running';";

bool failRunningRuns(const HistoryAccess& history, int32_t* count) {
  const LoggedStatement statement(history, "reconcile runs", kFailRunningRunsSql);
  if (!statement) {
    return false;
  }
  sqlite3_bind_int64(statement.get(), 1, wallSeconds());
  bindTextOrNull(statement.get(), 2, kRunInterrupted);
  if (!statement.run()) {
    return false;
  }
  *count = sqlite3_changes(history.db());
  return true;
}

int32_t reconcile(const HistoryAccess& history) {
  Transaction transaction(history.db());
  if (!transaction.begin()) {
    LOG_HERE(LOG_ERR, "reconcile BEGIN failed: %s", history.error());
    return -1;
  }

  int32_t count = 0;
  if (!failPendingPorts(history) || !failRunningRuns(history, &count)) {
    return -1;
  }
  if (!transaction.commit()) {
    LOG_HERE(LOG_ERR, "reconcile COMMIT failed: %s", history.error());
    return -1;
  }

  return count;
}

}  // namespace

int32_t historyStoreInit() {
  DatabasePtr db;
  if (!openDatabase(kHistoryDbPath, &db)) {
    LOG_HERE(LOG_ERR, "history db open failed: %s", sqlite3_errmsg(db.get()));
    return -1;
  }
  if (!applySchema(db.get(), kSchema, kUpgrade)) {
    LOG_HERE(LOG_ERR, "history schema apply failed: %s", sqlite3_errmsg(db.get()));
    return -1;
  }
  publishHistoryDb(std::move(db));
  return 0;
}

int32_t historyReconcileInterruptedRuns() {
  int32_t count = -1;
  {
    const HistoryAccess history;
    if (history) {
      count = reconcile(history);
    }
  }
  if (count >= 1) {
    LOG_HERE(LOG_INFO, "reconciled %d interrupted PoE run(s) to failed on startup", count);
  }
  return count;
}
