#include "history/run_lifecycle.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <ctime>

#include "base/clock.h"
#include "base/database.h"
#include "base/result_codes.h"
#include "daemon/daemon_context.h"
#include "daemon/logged_statement.h"
#include "history/port_counts.h"
#include "log/log.h"
#include "rules/run_words.h"

namespace {

enum class RunState { running, notRunning, checkError };

#define BEGUN_RUN_COLUMNS                                                             \
  "unit, trigger_source, schedule_id, schedule_name, schedule_type, execution_mode, " \
  "inter_port_delay, all_day_snapshot, started_at, status"

constexpr const char* kInsertRunSql = "INSERT INTO poe_history (" BEGUN_RUN_COLUMNS
                                      ")"
                                      " VALUES (?,?,?,?,?,?,?,?,?,?);";

constexpr const char* kInsertRunWithIdSql = "INSERT INTO poe_history (" BEGUN_RUN_COLUMNS
                                            ", run_id)"
                                            " VALUES (?,?,?,?,?,?,?,?,?,?,?);";
constexpr int kRunIdParameter = 11;

// Inserts the run's row, under a new id for runId 0.
bool insertRun(const HistoryAccess& history, int64_t runId, const RunBeginRequest& request) {
  const LoggedStatement statement(history, "history run insert",
                                  runId == 0 ? kInsertRunSql : kInsertRunWithIdSql);
  if (!statement) {
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
  sqlite3_bind_int64(insert, 9, wallSeconds());
  bindTextOrNull(insert, 10, "running");
  if (runId != 0) {
    sqlite3_bind_int64(insert, kRunIdParameter, runId);
  }

  return statement.run();
}

constexpr const char* kInsertPendingPortsSql =
    "INSERT INTO poe_history_port (run_id, if_num, status, executed_at)"
    " VALUES (?, ?, 'pending', ?);";

void insertPendingPorts(const HistoryAccess& history, int64_t runId,
                        const RunBeginRequest& request) {
  if (request.ifNums == nullptr || request.ifCount < 1) {
    return;
  }

  const StatementPtr insert = history.prepare(kInsertPendingPortsSql);
  if (insert == nullptr) {
    return;
  }

  for (int32_t i = 0; i < request.ifCount; ++i) {
    sqlite3_reset(insert.get());
    sqlite3_bind_int64(insert.get(), 1, runId);
    sqlite3_bind_int64(insert.get(), 2, request.ifNums[i]);
    sqlite3_bind_int64(insert.get(), 3, wallSeconds());
    if (sqlite3_step(insert.get()) != SQLITE_DONE) {
      LOG_HERE(LOG_WARNING, "pre-populate port row ifNum=%d failed: %s",
               static_cast<int>(request.ifNums[i]), history.error());
    }
  }
}

constexpr const char* kDeleteRunSql =
    "DELETE FROM poe_history"
    " WHERE run_id=?;";

bool deleteRun(const HistoryAccess& history, int64_t runId) {
  const StatementPtr statement = history.prepare(kDeleteRunSql);
  if (statement != nullptr) {
    sqlite3_bind_int64(statement.get(), 1, runId);
  }
  if (statement == nullptr || sqlite3_step(statement.get()) != SQLITE_DONE) {
    LOG_HERE(LOG_ERR, "history run %lld delete failed: %s", static_cast<long long>(runId),
             history.error());
    return false;
  }
  return true;
}

// A run whose begin could not be committed is gone, but its id is with an executor. No later run
// may get that id, or the executor would record into it: a new run that did is inserted again
// behind it, which, unlike an update of its id, also makes SQLite count on from there. Returns the
// new run's id, or -1 (logged).
int64_t claimFreshRunId(const HistoryAccess& history, int64_t insertedId,
                        const RunBeginRequest& request) {
  if (insertedId > history.lostRunId()) {
    return insertedId;
  }
  const int64_t freshId = history.lostRunId() + 1;
  return deleteRun(history, insertedId) && insertRun(history, freshId, request) ? freshId : -1;
}

int64_t beginRun(const HistoryAccess& history, const RunBeginRequest& request) {
  Transaction transaction(history.db());
  const bool begun = transaction.begin();
  if (!begun) {
    // Not fatal: a run that is recorded statement by statement is better than none.
    LOG_HERE(LOG_WARNING, "history BEGIN failed: %s", history.error());
  }
  if (!insertRun(history, 0, request)) {
    return -1;
  }

  const int64_t runId = claimFreshRunId(history, sqlite3_last_insert_rowid(history.db()), request);
  if (runId < 1) {
    return -1;
  }

  insertPendingPorts(history, runId, request);
  const bool nothingToCommit = !begun && sqlite3_get_autocommit(history.db()) != 0;
  if (!nothingToCommit && !transaction.commit()) {
    // As on a full disk. The action goes on all the same: the ports come first, their record
    // second.
    history.setLostRunId(std::max(history.lostRunId(), runId));
    LOG_HERE(LOG_ERR, "history COMMIT failed, run %lld goes unrecorded: %s",
             static_cast<long long>(runId), history.error());
  }

  return runId;
}

constexpr const char* kRunIsRunningSql =
    "SELECT status"
    " FROM poe_history"
    " WHERE run_id=?;";

RunState runState(const HistoryAccess& history, int64_t runId) {
  const LoggedStatement statement(history, "run-status check", kRunIsRunningSql);
  if (!statement) {
    return RunState::checkError;
  }

  sqlite3_bind_int64(statement.get(), 1, runId);
  switch (statement.step()) {
    case StepResult::row: {
      const char* status = columnText(statement.get(), 0);
      return status != nullptr && strcmp(status, "running") == 0 ? RunState::running
                                                                 : RunState::notRunning;
    }
    case StepResult::end:
      return RunState::notRunning;
    case StepResult::failure:
      break;
  }

  return RunState::checkError;
}

constexpr const char* kPortRecordSql =
    "INSERT OR REPLACE INTO poe_history_port (run_id, if_num, status, error_msg, executed_at)"
    " VALUES (?, ?, ?, ?, ?);";

int32_t recordPort(const HistoryAccess& history, int64_t runId, uint32_t ifNum, int32_t outcome,
                   const char* error, int64_t executedAt) {
  const LoggedStatement statement(history, "port record", kPortRecordSql);
  if (!statement) {
    return ERR_GENERAL;
  }

  sqlite3_bind_int64(statement.get(), 1, runId);
  sqlite3_bind_int64(statement.get(), 2, ifNum);
  bindTextOrNull(statement.get(), 3, portOutcomeText(outcome));
  bindTextOrNull(statement.get(), 4, error);
  sqlite3_bind_int64(statement.get(), 5, executedAt);
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    LOG_HERE(LOG_ERR, "port record step failed (run %lld ifNum %d): %s",
             static_cast<long long>(runId), static_cast<int>(ifNum), history.error());
    return ERR_GENERAL;
  }

  return RESULT_OK;
}

int32_t recordPortIfRunning(const HistoryAccess& history, int64_t runId, uint32_t ifNum,
                            int32_t outcome, const char* error, int64_t executedAt) {
  switch (runState(history, runId)) {
    case RunState::running:
      return recordPort(history, runId, ifNum, outcome, error, executedAt);
    case RunState::notRunning:
      LOG_HERE(LOG_WARNING, "port record refused: run %lld is not running (ifNum=%d)",
               static_cast<long long>(runId), static_cast<int>(ifNum));
      return ERR_GENERAL;
    case RunState::checkError:
      break;
  }
  return ERR_GENERAL;
}

constexpr const char* kReadStoredRankSql =
    "SELECT status"
    " FROM poe_history_port"
    " WHERE run_id=? AND if_num=?;";

// Sets *rank to that of the port's stored state, -1 when it has no row.
int32_t readStoredRank(const HistoryAccess& history, int64_t runId, uint32_t ifNum, int32_t* rank) {
  const LoggedStatement statement(history, "worst-of port lookup", kReadStoredRankSql);
  if (!statement) {
    return ERR_GENERAL;
  }
  sqlite3_bind_int64(statement.get(), 1, runId);
  sqlite3_bind_int64(statement.get(), 2, ifNum);
  const StepResult step = statement.step();
  *rank = step == StepResult::row ? portStateRank(columnText(statement.get(), 0)) : -1;
  return step != StepResult::failure ? RESULT_OK : ERR_GENERAL;
}

constexpr const char* kRunFinishSql =
    "UPDATE poe_history"
    " SET completed_at=?, status=?, overall_result=?, error_message=?"
    " WHERE run_id=?"
    " AND status='running';";

int32_t finishRun(const HistoryAccess& history, int64_t runId, int32_t result, const char* error,
                  int64_t completedAt) {
  const LoggedStatement statement(history, "run finish", kRunFinishSql);
  if (!statement) {
    return ERR_GENERAL;
  }

  sqlite3_bind_int64(statement.get(), 1, completedAt);
  bindTextOrNull(statement.get(), 2, runStatusText(result));
  bindTextOrNull(statement.get(), 3, runResultText(result));
  bindTextOrNull(statement.get(), 4, error);
  sqlite3_bind_int64(statement.get(), 5, runId);
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    LOG_HERE(LOG_ERR, "run %lld finish step failed: %s", static_cast<long long>(runId),
             history.error());
    return ERR_GENERAL;
  }
  if (sqlite3_changes(history.db()) == 0) {
    LOG_HERE(LOG_WARNING, "run %lld finish skipped: run is not in 'running' state",
             static_cast<long long>(runId));
    return ERR_NOT_FOUND;
  }

  return RESULT_OK;
}

constexpr const char* kFailPortsWithoutOutcomeSql =
    "UPDATE poe_history_port"
    " SET status='failed', error_msg='" PORT_WITHOUT_OUTCOME
    "'"
    " WHERE run_id=?"
    " AND status='pending';";

void failPortsWithoutOutcome(const HistoryAccess& history, int64_t runId) {
  const LoggedStatement statement(history, "pending-flip", kFailPortsWithoutOutcomeSql);
  if (!statement) {
    return;
  }
  sqlite3_bind_int64(statement.get(), 1, runId);
  statement.run();
}

// Sets *missing to the number of ports that had no outcome.
int32_t finishDerived(const HistoryAccess& history, int64_t runId, const char* error,
                      int64_t completedAt, int32_t* missing) {
  PortCounts counts;
  const int32_t rc = PortCounter(history).countPorts(runId, &counts);
  const int32_t recorded = counts.success + counts.failed + counts.skipped;
  if (rc == RESULT_OK && recorded < counts.total) {
    *missing = counts.total - recorded;
    failPortsWithoutOutcome(history, runId);
    counts.failed += *missing;
  }
  if (rc != RESULT_OK || counts.total == 0 || recorded == 0) {
    LOG_HERE(LOG_ERR, "run %lld: no port outcomes readable (rc=%d total=%d); finishing as failed",
             static_cast<long long>(runId), rc, counts.total);
    return finishRun(history, runId, RUN_RESULT_FAILED,
                     error != nullptr ? error : kRunWithoutOutcomes, completedAt);
  }

  const RunResult result = historyResultFromCounts(counts);
  return finishRun(history, runId, result, error, completedAt);
}

// In one transaction, so that a run that somebody else has closed keeps its ports, too.
int32_t finishDerivedAtomically(const HistoryAccess& history, int64_t runId, const char* error,
                                int64_t completedAt) {
  Transaction transaction(history.db());
  if (!transaction.beginImmediate()) {
    LOG_HERE(LOG_ERR, "derived finish BEGIN failed: %s", history.error());
    return ERR_GENERAL;
  }
  int32_t missing = 0;
  const int32_t rc = finishDerived(history, runId, error, completedAt, &missing);
  if (rc == RESULT_OK && !transaction.commit()) {
    LOG_HERE(LOG_ERR, "derived finish COMMIT failed: %s", history.error());
    return ERR_GENERAL;
  }
  if (rc == RESULT_OK && missing > 0) {
    LOG_HERE(LOG_WARNING, "run %lld: %d port row(s) had no recorded outcome; failing them",
             static_cast<long long>(runId), missing);
  }
  return rc;
}

constexpr const char* kForceFailPortsSql =
    "UPDATE poe_history_port"
    " SET status='failed', error_msg=?"
    " WHERE run_id=?"
    " AND status='pending';";

int32_t forceFailPorts(const HistoryAccess& history, int64_t runId, const char* error) {
  const LoggedStatement statement(history, "force-fail ports", kForceFailPortsSql);
  if (!statement) {
    return ERR_GENERAL;
  }
  bindTextOrNull(statement.get(), 1, error);
  sqlite3_bind_int64(statement.get(), 2, runId);
  return statement.run() ? RESULT_OK : ERR_GENERAL;
}

int32_t forceFailSteps(const HistoryAccess& history, Transaction& transaction, int64_t runId,
                       const char* error) {
  int32_t rc = forceFailPorts(history, runId, error);
  if (rc == RESULT_OK) {
    rc = finishRun(history, runId, RUN_RESULT_FAILED, error, wallSeconds());
  }
  if (rc == RESULT_OK && !transaction.commit()) {
    LOG_HERE(LOG_ERR, "force-fail COMMIT failed: %s", history.error());
    rc = ERR_GENERAL;
  }
  return rc;
}

}  // namespace

int64_t historyRunBegin(const RunBeginRequest* request) {
  if (request == nullptr) {
    return -1;
  }
  const HistoryAccess history;
  return history ? beginRun(history, *request) : -1;
}

int32_t historyPortRecord(int64_t runId, uint32_t ifNum, int32_t outcome, const char* error,
                          int64_t executedAt) {
  const HistoryAccess history;
  return history ? recordPortIfRunning(history, runId, ifNum, outcome, error, executedAt)
                 : ERR_GENERAL;
}

int32_t historyPortRecordWorst(int64_t runId, uint32_t ifNum, int32_t outcome, const char* error,
                               int64_t executedAt) {
  const HistoryAccess history;
  if (!history) {
    return ERR_GENERAL;
  }
  int32_t storedRank = -1;
  const int32_t rc = readStoredRank(history, runId, ifNum, &storedRank);
  if (rc != RESULT_OK) {
    return rc;
  }
  if (portOutcomeRank(outcome) <= storedRank) {
    return RESULT_OK;
  }
  return recordPortIfRunning(history, runId, ifNum, outcome, error, executedAt);
}

constexpr const char* kPortsResetSuccessToPendingSql =
    "UPDATE poe_history_port"
    " SET status='pending', error_msg=NULL, executed_at=?"
    " WHERE run_id=?"
    " AND status='success';";

int32_t historyPortsResetSuccessToPending(int64_t runId) {
  const HistoryAccess history;
  if (!history) {
    return ERR_GENERAL;
  }

  const RunState state = runState(history, runId);
  if (state == RunState::notRunning) {
    LOG_HERE(LOG_WARNING, "success->pending reset refused: run %lld is not running",
             static_cast<long long>(runId));
  }
  if (state != RunState::running) {
    return ERR_GENERAL;
  }
  const LoggedStatement statement(history, "success->pending reset",
                                  kPortsResetSuccessToPendingSql);
  if (!statement) {
    return ERR_GENERAL;
  }
  sqlite3_bind_int64(statement.get(), 1, wallSeconds());
  sqlite3_bind_int64(statement.get(), 2, runId);
  return statement.run() ? RESULT_OK : ERR_GENERAL;
}

int32_t historyRunFinish(int64_t runId, int32_t result, const char* error, int64_t completedAt) {
  const HistoryAccess history;
  return history ? finishRun(history, runId, result, error, completedAt) : ERR_GENERAL;
}

int32_t historyRunFinishDerived(int64_t runId, const char* error, int64_t completedAt) {
  const HistoryAccess history;
  return history ? finishDerivedAtomically(history, runId, error, completedAt) : ERR_GENERAL;
}

int32_t historyRunForceFail(int64_t runId, const char* error) {
  const HistoryAccess history;
  if (!history) {
    return ERR_GENERAL;
  }

  Transaction transaction(history.db());
  if (!transaction.begin()) {
    LOG_HERE(LOG_ERR, "force-fail BEGIN failed: %s", history.error());
    return ERR_GENERAL;
  }
  const int32_t rc = forceFailSteps(history, transaction, runId, error);
  if (rc != RESULT_OK && !transaction.rollback()) {
    LOG_HERE(LOG_ERR, "force-fail ROLLBACK failed: %s", history.error());
  }
  return rc;
}

constexpr const char* kFindOpenRunSql =
    "SELECT run_id"
    " FROM poe_history"
    " WHERE unit=? AND schedule_id=?"
    " AND status='running'"
    " ORDER BY run_id DESC"
    " LIMIT 1;";

int32_t historyFindOpenRun(int32_t unit, int64_t scheduleId, int64_t* runId) {
  if (runId == nullptr) {
    return ERR_GENERAL;
  }
  *runId = 0;
  if (scheduleId < 1) {
    return RESULT_OK;
  }
  const HistoryAccess history;
  if (!history) {
    return ERR_GENERAL;
  }

  const LoggedStatement statement(history, "open-run lookup", kFindOpenRunSql);
  if (!statement) {
    return ERR_GENERAL;
  }
  sqlite3_bind_int(statement.get(), 1, unit);
  sqlite3_bind_int64(statement.get(), 2, scheduleId);
  const StepResult step = statement.step();
  if (step == StepResult::row) {
    *runId = sqlite3_column_int64(statement.get(), 0);
  }
  return step != StepResult::failure ? RESULT_OK : ERR_GENERAL;
}
