#include "history/run_lifecycle.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <ctime>

#include "base/database.h"
#include "base/result_codes.h"
#include "daemon/daemon_context.h"
#include "history/port_counts.h"
#include "log/log.h"

namespace {

enum class RunState { running, notRunning, checkError };

#define INSERTED_COLUMNS                                                              \
  "unit, trigger_source, schedule_id, schedule_name, schedule_type, execution_mode, " \
  "inter_port_delay, all_day_snapshot, started_at, status"
constexpr int kRunIdParameter = 11;  // behind the columns

// Inserts the run's row, under a new id for runId 0.
bool insertRunLocked(sqlite3* db, int64_t runId, const RunBeginRequest& request) {
  const StatementPtr statement = prepareStatement(
      db, runId == 0 ? "INSERT INTO poe_history (" INSERTED_COLUMNS ") VALUES (?,?,?,?,?,?,?,?,?,?);"
                     : "INSERT INTO poe_history (" INSERTED_COLUMNS ", run_id) VALUES (?,?,?,?,?,?,?,?,?,?,?);");
  if (statement == nullptr) {
    LOG_HERE(LOG_ERR, "history run insert prepare failed: %s", sqlite3_errmsg(db));
    return false;
  }
  sqlite3_stmt* insert = statement.get();
  sqlite3_bind_int(insert, 1, request.unit);
  bindTextOrNull(insert, 2, runTriggerText(request.trigger));
  // A parameter that is never bound is NULL.
  if (request.scheduleId > 0) {
    sqlite3_bind_int64(insert, 3, request.scheduleId);
  }
  bindTextOrNull(insert, 4, request.scheduleName);
  bindTextOrNull(insert, 5, poeActionText(request.action));
  bindTextOrNull(insert, 6, executionModeText(request.executionMode));
  sqlite3_bind_int(insert, 7, request.interPortDelaySec);
  if (request.action == POE_ACTION_POWER_ON || request.action == POE_ACTION_POWER_OFF) {
    sqlite3_bind_int(insert, 8, request.allDay);
  }
  sqlite3_bind_int64(insert, 9, time(nullptr));
  bindTextOrNull(insert, 10, "running");
  if (runId != 0) {
    sqlite3_bind_int64(insert, kRunIdParameter, runId);
  }
  if (sqlite3_step(insert) != SQLITE_DONE) {
    LOG_HERE(LOG_ERR, "history run insert step failed: %s", sqlite3_errmsg(db));
    return false;
  }
  return true;
}

void insertPendingPortsLocked(sqlite3* db, int64_t runId, const RunBeginRequest& request) {
  if (request.ifNums == nullptr || request.ifCount < 1) {
    return;
  }
  const StatementPtr insert = prepareStatement(
      db, "INSERT INTO poe_history_port (run_id, if_num, status, executed_at) VALUES (?, ?, 'pending', ?);");
  if (insert == nullptr) {
    return;
  }
  for (int32_t i = 0; i < request.ifCount; ++i) {
    sqlite3_reset(insert.get());
    sqlite3_bind_int64(insert.get(), 1, runId);
    sqlite3_bind_int64(insert.get(), 2, request.ifNums[i]);
    sqlite3_bind_int64(insert.get(), 3, time(nullptr));
    if (sqlite3_step(insert.get()) != SQLITE_DONE) {
      LOG_HERE(LOG_WARNING, "pre-populate port row ifNum=%d failed: %s", static_cast<int>(request.ifNums[i]),
               sqlite3_errmsg(db));
    }
  }
}

// The highest id of a run whose begin could not be committed; guarded by the history mutex.
int64_t lostRunId = 0;

bool deleteRunLocked(sqlite3* db, int64_t runId) {
  const StatementPtr statement = prepareStatement(db, "DELETE FROM poe_history WHERE run_id=?;");
  if (statement != nullptr) {
    sqlite3_bind_int64(statement.get(), 1, runId);
  }
  if (statement == nullptr || sqlite3_step(statement.get()) != SQLITE_DONE) {
    LOG_HERE(LOG_ERR, "history run %lld delete failed: %s", static_cast<long long>(runId), sqlite3_errmsg(db));
    return false;
  }
  return true;
}

// Such a run is gone, but its id is with an executor. No later run may get that id, or the executor would record into
// it: a new run that did is inserted again behind it, which, unlike an update of its id, also makes SQLite count on
// from there. Returns the new run's id, or -1 (logged).
int64_t claimFreshRunId(sqlite3* db, int64_t insertedId, const RunBeginRequest& request) {
  if (insertedId > lostRunId) {
    return insertedId;
  }
  const int64_t freshId = lostRunId + 1;
  return deleteRunLocked(db, insertedId) && insertRunLocked(db, freshId, request) ? freshId : -1;
}

int64_t runBeginLocked(sqlite3* db, const RunBeginRequest& request) {
  Transaction transaction(db);
  const bool begun = transaction.begin();
  if (!begun) {
    // Not fatal: a run that is recorded statement by statement is better than none.
    LOG_HERE(LOG_WARNING, "history BEGIN failed: %s", sqlite3_errmsg(db));
  }
  if (!insertRunLocked(db, 0, request)) {
    return -1;
  }
  const int64_t runId = claimFreshRunId(db, sqlite3_last_insert_rowid(db), request);
  if (runId < 1) {
    return -1;
  }
  insertPendingPortsLocked(db, runId, request);
  const bool nothingToCommit = !begun && sqlite3_get_autocommit(db) != 0;
  if (!nothingToCommit && !transaction.commit()) {
    // As on a full disk. The action goes on all the same: the ports come first, their record second.
    lostRunId = std::max(lostRunId, runId);
    LOG_HERE(LOG_ERR, "history COMMIT failed, run %lld goes unrecorded: %s", static_cast<long long>(runId),
             sqlite3_errmsg(db));
  }
  return runId;
}

RunState runIsRunningLocked(sqlite3* db, int64_t runId) {
  const StatementPtr statement = prepareStatement(db, "SELECT status FROM poe_history WHERE run_id=?;");
  if (statement == nullptr) {
    LOG_HERE(LOG_ERR, "run-status check prepare failed: %s", sqlite3_errmsg(db));
    return RunState::checkError;
  }
  sqlite3_bind_int64(statement.get(), 1, runId);
  switch (sqlite3_step(statement.get())) {
    case SQLITE_ROW: {
      const char* status = columnText(statement.get(), 0);
      return status != nullptr && strcmp(status, "running") == 0 ? RunState::running : RunState::notRunning;
    }
    case SQLITE_DONE:
      return RunState::notRunning;
    default:
      LOG_HERE(LOG_ERR, "run-status check step failed: %s", sqlite3_errmsg(db));
      return RunState::checkError;
  }
}

int32_t portRecordLocked(sqlite3* db, int64_t runId, uint32_t ifNum, int32_t outcome, const char* error,
                         int64_t executedAt) {
  const StatementPtr statement = prepareStatement(db,
                                                  "INSERT OR REPLACE INTO poe_history_port (run_id, if_num, status, "
                                                  "error_msg, executed_at) VALUES (?, ?, ?, ?, ?);");
  if (statement == nullptr) {
    LOG_HERE(LOG_ERR, "port record prepare failed: %s", sqlite3_errmsg(db));
    return ERR_GENERAL;
  }
  sqlite3_bind_int64(statement.get(), 1, runId);
  sqlite3_bind_int64(statement.get(), 2, ifNum);
  bindTextOrNull(statement.get(), 3, portOutcomeText(outcome));
  bindTextOrNull(statement.get(), 4, error);
  sqlite3_bind_int64(statement.get(), 5, executedAt);
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    LOG_HERE(LOG_ERR, "port record step failed (run %lld ifNum %d): %s", static_cast<long long>(runId),
             static_cast<int>(ifNum), sqlite3_errmsg(db));
    return ERR_GENERAL;
  }
  return RESULT_OK;
}

int32_t portRecordIfRunningLocked(sqlite3* db, int64_t runId, uint32_t ifNum, int32_t outcome, const char* error,
                                  int64_t executedAt) {
  switch (runIsRunningLocked(db, runId)) {
    case RunState::running:
      return portRecordLocked(db, runId, ifNum, outcome, error, executedAt);
    case RunState::notRunning:
      LOG_HERE(LOG_WARNING, "port record refused: run %lld is not running (ifNum=%d)", static_cast<long long>(runId),
               static_cast<int>(ifNum));
      return ERR_GENERAL;
    case RunState::checkError:
      break;
  }
  return ERR_GENERAL;
}

// Sets *rank to that of the port's stored state, -1 when it has no row.
int32_t storedRankLocked(sqlite3* db, int64_t runId, uint32_t ifNum, int32_t* rank) {
  const StatementPtr statement =
      prepareStatement(db, "SELECT status FROM poe_history_port WHERE run_id=? AND if_num=?;");
  if (statement == nullptr) {
    LOG_HERE(LOG_ERR, "worst-of port lookup prepare failed: %s", sqlite3_errmsg(db));
    return ERR_GENERAL;
  }
  sqlite3_bind_int64(statement.get(), 1, runId);
  sqlite3_bind_int64(statement.get(), 2, ifNum);
  switch (sqlite3_step(statement.get())) {
    case SQLITE_ROW:
      *rank = portStateRank(columnText(statement.get(), 0));
      return RESULT_OK;
    case SQLITE_DONE:
      *rank = -1;
      return RESULT_OK;
    default:
      LOG_HERE(LOG_ERR, "worst-of port lookup step failed: %s", sqlite3_errmsg(db));
      return ERR_GENERAL;
  }
}

int32_t runFinishLocked(sqlite3* db, int64_t runId, int32_t result, const char* error, int64_t completedAt) {
  const StatementPtr statement = prepareStatement(
      db,
      "UPDATE poe_history SET completed_at=?, status=?, overall_result=?, error_message=? WHERE run_id=? AND "
      "status='running';");
  if (statement == nullptr) {
    LOG_HERE(LOG_ERR, "run finish prepare failed: %s", sqlite3_errmsg(db));
    return ERR_GENERAL;
  }
  sqlite3_bind_int64(statement.get(), 1, completedAt);
  bindTextOrNull(statement.get(), 2, runStatusText(result));
  bindTextOrNull(statement.get(), 3, runResultText(result));
  bindTextOrNull(statement.get(), 4, error);
  sqlite3_bind_int64(statement.get(), 5, runId);
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    LOG_HERE(LOG_ERR, "run %lld finish step failed: %s", static_cast<long long>(runId), sqlite3_errmsg(db));
    return ERR_GENERAL;
  }
  if (sqlite3_changes(db) == 0) {
    LOG_HERE(LOG_WARNING, "run %lld finish skipped: run is not in 'running' state", static_cast<long long>(runId));
    return ERR_NOT_FOUND;
  }
  return RESULT_OK;
}

void failPortsWithoutOutcomeLocked(sqlite3* db, int64_t runId) {
  const StatementPtr statement = prepareStatement(db,
                                                  "UPDATE poe_history_port SET status='failed', error_msg='no outcome "
                                                  "recorded' WHERE run_id=? AND status='pending';");
  if (statement == nullptr) {
    LOG_HERE(LOG_ERR, "pending-flip prepare failed: %s", sqlite3_errmsg(db));
    return;
  }
  sqlite3_bind_int64(statement.get(), 1, runId);
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    LOG_HERE(LOG_ERR, "pending-flip step failed: %s", sqlite3_errmsg(db));
  }
}

int32_t runFinishDerivedLocked(sqlite3* db, int64_t runId, const char* error, int64_t completedAt) {
  PortCounts counts;
  const int32_t rc = countPorts(db, runId, &counts);
  const int32_t recorded = counts.success + counts.failed + counts.skipped;
  if (rc == RESULT_OK && recorded < counts.total) {
    const int32_t missing = counts.total - recorded;
    failPortsWithoutOutcomeLocked(db, runId);
    LOG_HERE(LOG_WARNING, "run %lld: %d port row(s) had no recorded outcome; failing them",
             static_cast<long long>(runId), missing);
    counts.failed += missing;
  }
  if (rc != RESULT_OK || counts.total == 0 || recorded == 0) {
    LOG_HERE(LOG_ERR, "run %lld: no port outcomes readable (rc=%d total=%d); finishing as failed",
             static_cast<long long>(runId), rc, counts.total);
    return runFinishLocked(db, runId, RUN_RESULT_FAILED, error != nullptr ? error : "no port outcomes recorded",
                           completedAt);
  }
  const RunResult result = historyResultFromCounts(counts);
  return runFinishLocked(db, runId, result, error, completedAt);
}

// In one transaction, so that a run that somebody else has closed keeps its ports, too.
int32_t runFinishDerivedAtomically(sqlite3* db, int64_t runId, const char* error, int64_t completedAt) {
  Transaction transaction(db);
  if (!transaction.beginImmediate()) {
    LOG_HERE(LOG_ERR, "derived finish BEGIN failed: %s", sqlite3_errmsg(db));
    return ERR_GENERAL;
  }
  const int32_t rc = runFinishDerivedLocked(db, runId, error, completedAt);
  if (rc == RESULT_OK && !transaction.commit()) {
    LOG_HERE(LOG_ERR, "derived finish COMMIT failed: %s", sqlite3_errmsg(db));
    return ERR_GENERAL;
  }
  return rc;
}

int32_t forceFailPortsLocked(sqlite3* db, int64_t runId, const char* error) {
  const StatementPtr statement = prepareStatement(
      db, "UPDATE poe_history_port SET status='failed', error_msg=? WHERE run_id=? AND status='pending';");
  if (statement == nullptr) {
    LOG_HERE(LOG_ERR, "force-fail ports prepare failed: %s", sqlite3_errmsg(db));
    return ERR_GENERAL;
  }
  bindTextOrNull(statement.get(), 1, error);
  sqlite3_bind_int64(statement.get(), 2, runId);
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    LOG_HERE(LOG_ERR, "force-fail ports step failed: %s", sqlite3_errmsg(db));
    return ERR_GENERAL;
  }
  return RESULT_OK;
}

int32_t forceFailStepsLocked(sqlite3* db, Transaction& transaction, int64_t runId, const char* error) {
  int32_t rc = forceFailPortsLocked(db, runId, error);
  if (rc == RESULT_OK) {
    rc = runFinishLocked(db, runId, RUN_RESULT_FAILED, error, time(nullptr));
  }
  if (rc == RESULT_OK && !transaction.commit()) {
    LOG_HERE(LOG_ERR, "force-fail COMMIT failed: %s", sqlite3_errmsg(db));
    rc = ERR_GENERAL;
  }
  return rc;
}

}  // namespace

void historyForgetLostRuns() {
  lostRunId = 0;
}

int64_t historyRunBegin(const RunBeginRequest* request) {
  if (request == nullptr) {
    return -1;
  }
  const HistoryAccess access;
  return access ? runBeginLocked(access.db(), *request) : -1;
}

int32_t historyPortRecord(int64_t runId, uint32_t ifNum, int32_t outcome, const char* error, int64_t executedAt) {
  const HistoryAccess access;
  return access ? portRecordIfRunningLocked(access.db(), runId, ifNum, outcome, error, executedAt) : ERR_GENERAL;
}

int32_t historyPortRecordWorst(int64_t runId, uint32_t ifNum, int32_t outcome, const char* error, int64_t executedAt) {
  const HistoryAccess access;
  if (!access) {
    return ERR_GENERAL;
  }
  int32_t storedRank = -1;
  const int32_t rc = storedRankLocked(access.db(), runId, ifNum, &storedRank);
  if (rc != RESULT_OK) {
    return rc;
  }
  if (portOutcomeRank(outcome) <= storedRank) {
    return RESULT_OK;
  }
  return portRecordIfRunningLocked(access.db(), runId, ifNum, outcome, error, executedAt);
}

int32_t historyPortsResetSuccessToPending(int64_t runId) {
  const HistoryAccess access;
  if (!access) {
    return ERR_GENERAL;
  }
  sqlite3* db = access.db();
  const RunState state = runIsRunningLocked(db, runId);
  if (state == RunState::notRunning) {
    LOG_HERE(LOG_WARNING, "success->pending reset refused: run %lld is not running", static_cast<long long>(runId));
  }
  if (state != RunState::running) {
    return ERR_GENERAL;
  }
  const StatementPtr statement = prepareStatement(db,
                                                  "UPDATE poe_history_port SET status='pending', error_msg=NULL, "
                                                  "executed_at=? WHERE run_id=? AND status='success';");
  if (statement == nullptr) {
    LOG_HERE(LOG_ERR, "success->pending reset prepare failed: %s", sqlite3_errmsg(db));
    return ERR_GENERAL;
  }
  sqlite3_bind_int64(statement.get(), 1, time(nullptr));
  sqlite3_bind_int64(statement.get(), 2, runId);
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    LOG_HERE(LOG_ERR, "success->pending reset step failed: %s", sqlite3_errmsg(db));
    return ERR_GENERAL;
  }
  return RESULT_OK;
}

int32_t historyRunFinish(int64_t runId, int32_t result, const char* error, int64_t completedAt) {
  const HistoryAccess access;
  return access ? runFinishLocked(access.db(), runId, result, error, completedAt) : ERR_GENERAL;
}

int32_t historyRunFinishDerived(int64_t runId, const char* error, int64_t completedAt) {
  const HistoryAccess access;
  return access ? runFinishDerivedAtomically(access.db(), runId, error, completedAt) : ERR_GENERAL;
}

int32_t historyRunForceFail(int64_t runId, const char* error) {
  const HistoryAccess access;
  if (!access) {
    return ERR_GENERAL;
  }
  sqlite3* db = access.db();
  Transaction transaction(db);
  if (!transaction.begin()) {
    LOG_HERE(LOG_ERR, "force-fail BEGIN failed: %s", sqlite3_errmsg(db));
    return ERR_GENERAL;
  }
  const int32_t rc = forceFailStepsLocked(db, transaction, runId, error);
  if (rc != RESULT_OK && !transaction.rollback()) {
    LOG_HERE(LOG_ERR, "force-fail ROLLBACK failed: %s", sqlite3_errmsg(db));
  }
  return rc;
}

int32_t historyFindOpenRun(int32_t unit, int64_t scheduleId, int64_t* runId) {
  if (runId == nullptr) {
    return ERR_GENERAL;
  }
  *runId = 0;
  if (scheduleId < 1) {
    return RESULT_OK;
  }
  const HistoryAccess access;
  if (!access) {
    return ERR_GENERAL;
  }
  sqlite3* db = access.db();
  const StatementPtr statement = prepareStatement(db,
                                                  "SELECT run_id FROM poe_history WHERE unit=? AND schedule_id=? AND "
                                                  "status='running' ORDER BY run_id DESC LIMIT 1;");
  if (statement == nullptr) {
    LOG_HERE(LOG_ERR, "open-run lookup prepare failed: %s", sqlite3_errmsg(db));
    return ERR_GENERAL;
  }
  sqlite3_bind_int(statement.get(), 1, unit);
  sqlite3_bind_int64(statement.get(), 2, scheduleId);
  switch (sqlite3_step(statement.get())) {
    case SQLITE_ROW:
      *runId = sqlite3_column_int64(statement.get(), 0);
      return RESULT_OK;
    case SQLITE_DONE:
      return RESULT_OK;
    default:
      LOG_HERE(LOG_ERR, "open-run lookup step failed: %s", sqlite3_errmsg(db));
      return ERR_GENERAL;
  }
}
