#include "history/history_queries.h"

#include <cjson/cJSON.h>
#include <sqlite3.h>

#include <ctime>

#include "base/database.h"
#include "base/result_codes.h"
#include "daemon/daemon_context.h"
#include "daemon/logged_statement.h"
#include "history/port_counts.h"
#include "log/log.h"

namespace {

constexpr size_t kTimeTextBytes = 32;

// The columns of a run's row, as both queries of runs select them first.
#define RUN_COLUMNS                                                                     \
  "run_id, trigger_source, schedule_id, schedule_name, schedule_type, execution_mode, " \
  "inter_port_delay, "                                                                  \
  "error_message, started_at, completed_at, status, overall_result"
enum RunColumn {
  kRunId,
  kTrigger,
  kScheduleId,
  kScheduleName,
  kScheduleType,
  kExecutionMode,
  kInterPortDelay,
  kErrorMessage,
  kStartedAt,
  kCompletedAt,
  kStatus,
  kOverallResult,
  kAllDay,  // detail only
};

bool isNull(sqlite3_stmt* row, int column) {
  return sqlite3_column_type(row, column) == SQLITE_NULL;
}

void addUtcTime(JsonObject& object, const char* key, int64_t unixTime) {
  const auto seconds = static_cast<time_t>(unixTime);
  tm utc{};
  char text[kTimeTextBytes] = "";
  if (gmtime_r(&seconds, &utc) == nullptr ||
      strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc) == 0) {
    text[0] = '\0';  // a year that no calendar time can hold
  }
  object.text(key, text);
}

// A running run shows its status, a finished one its result.
const char* shownStatus(sqlite3_stmt* row) {
  if (!isNull(row, kOverallResult)) {
    return columnText(row, kOverallResult);
  }
  return isNull(row, kStatus) ? "success" : columnText(row, kStatus);
}

void addSchedule(JsonObject& run, sqlite3_stmt* row) {
  if (isNull(row, kScheduleId)) {
    run.null("scheduleId");
  } else {
    run.number("scheduleId", sqlite3_column_int64(row, kScheduleId));
  }
  run.text("scheduleName", columnText(row, kScheduleName));
  // Unlike id and name, a missing type leaves no key at all: clients rely on it.
  if (!isNull(row, kScheduleType)) {
    run.text("scheduleType", columnText(row, kScheduleType));
  }
}

// The members of the current row that pages and details have.
void addRun(JsonObject& run, sqlite3_stmt* row, int32_t unit, const PortCounts& counts) {
  run.number("runId", sqlite3_column_int64(row, kRunId))
      .text("triggered", columnText(row, kTrigger));
  addSchedule(run, row);
  run.number("unit", unit)
      .text("status", shownStatus(row))
      .text("executionMode", columnText(row, kExecutionMode));

  addUtcTime(run, "startedAt", sqlite3_column_int64(row, kStartedAt));
  if (isNull(row, kCompletedAt)) {
    run.null("completedAt");
  } else {
    addUtcTime(run, "completedAt", sqlite3_column_int64(row, kCompletedAt));
  }

  run.number("portCount", counts.total)
      .number("successPortCount", counts.success)
      .number("failedPortCount", counts.failed)
      .number("skippedPortCount", counts.skipped);
}

// The run object of the current row, or null when memory runs out.
JsonPtr runRowToJson(sqlite3_stmt* row, int32_t unit, const PortCounts& counts) {
  JsonObject run;
  addRun(run, row, unit, counts);
  return run.take();
}

constexpr const char* kCountRunsSql =
    "SELECT COUNT(*)"
    " FROM poe_history"
    " WHERE unit=?;";

int64_t countRuns(const HistoryAccess& history, int32_t unit) {
  const StatementPtr statement = history.prepare(kCountRunsSql);
  if (statement == nullptr) {
    return 0;
  }
  sqlite3_bind_int(statement.get(), 1, unit);
  return sqlite3_step(statement.get()) == SQLITE_ROW ? sqlite3_column_int64(statement.get(), 0) : 0;
}

// The product wraps at 32 bits, as clients see it.
int32_t pageOffset(int32_t page, int32_t pageSize) {
  return static_cast<int32_t>((static_cast<uint32_t>(page) - 1U) * static_cast<uint32_t>(pageSize));
}

constexpr const char* kListPageSql = "SELECT " RUN_COLUMNS
                                     " FROM poe_history"
                                     " WHERE unit=?"
                                     " ORDER BY started_at DESC"
                                     " LIMIT ? OFFSET ?;";

int32_t listPage(const HistoryAccess& history, int32_t unit, int32_t page, int32_t pageSize,
                 cJSON* runs) {
  const StatementPtr statement = history.prepare(kListPageSql);
  if (statement == nullptr) {
    return ERR_GENERAL;
  }

  sqlite3_bind_int(statement.get(), 1, unit);
  sqlite3_bind_int(statement.get(), 2, pageSize);
  sqlite3_bind_int(statement.get(), 3, pageOffset(page, pageSize));
  PortCounter counter(history);
  int step = SQLITE_ROW;
  while ((step = sqlite3_step(statement.get())) == SQLITE_ROW) {
    PortCounts counts;
    counter.countPorts(sqlite3_column_int64(statement.get(), kRunId), &counts);
    if (!jsonAppend(runs, runRowToJson(statement.get(), unit, counts))) {
      return ERR_GENERAL;
    }
  }
  if (step != SQLITE_DONE) {
    LOG_HERE(LOG_ERR, "history list step failed: %s", history.error());
    return ERR_GENERAL;
  }

  return RESULT_OK;
}

constexpr const char* kPortStepsSql =
    "SELECT if_num, status, error_msg, executed_at"
    " FROM poe_history_port"
    " WHERE run_id=?"
    " ORDER BY if_num ASC;";

enum PortColumn { kPortIfNum, kPortStatus, kPortError };

JsonPtr portStepToJson(sqlite3_stmt* row) {
  return JsonObject()
      .number("ifNum", sqlite3_column_int64(row, kPortIfNum))
      .text("status", columnText(row, kPortStatus))
      .text("errorMessage", columnText(row, kPortError))
      .take();
}

// The run's ports, an empty array when they can't be queried; null when memory runs out. They are
// counted on the way, which spares the statement that counts them.
JsonPtr portSteps(const HistoryAccess& history, int64_t runId, PortCounts* counts) {
  JsonPtr steps(cJSON_CreateArray());
  const StatementPtr statement = history.prepare(kPortStepsSql);
  if (statement == nullptr) {
    PortCounter(history).countPorts(runId, counts);
  }
  if (statement == nullptr || steps == nullptr) {
    return steps;
  }

  sqlite3_bind_int64(statement.get(), 1, runId);
  while (sqlite3_step(statement.get()) == SQLITE_ROW) {
    countPort(columnText(statement.get(), kPortStatus), counts);
    if (!jsonAppend(steps.get(), portStepToJson(statement.get()))) {
      return nullptr;
    }
  }
  return steps;
}

void addDetail(JsonObject& run, sqlite3_stmt* row) {
  run.number("interPortDelaySec", sqlite3_column_int(row, kInterPortDelay))
      .text("errorMessage", columnText(row, kErrorMessage));
  if (isNull(row, kAllDay)) {
    run.null("allDay");
  } else {
    run.boolean("allDay", sqlite3_column_int(row, kAllDay) != 0);
  }
}

constexpr const char* kDetailRunSql = "SELECT " RUN_COLUMNS
                                      ", all_day_snapshot"
                                      " FROM poe_history"
                                      " WHERE unit=?"
                                      " AND run_id=?;";

int32_t detailRun(const HistoryAccess& history, int32_t unit, int64_t runId, JsonObject& run) {
  const StatementPtr statement = history.prepare(kDetailRunSql);
  if (statement == nullptr) {
    return ERR_GENERAL;
  }

  sqlite3_bind_int(statement.get(), 1, unit);
  sqlite3_bind_int64(statement.get(), 2, runId);
  const int step = sqlite3_step(statement.get());
  if (step != SQLITE_ROW) {
    return step == SQLITE_DONE ? ERR_NOT_FOUND : ERR_GENERAL;
  }

  PortCounts counts;
  JsonPtr steps = portSteps(history, runId, &counts);
  addRun(run, statement.get(), unit, counts);
  addDetail(run, statement.get());
  run.add("portSteps", std::move(steps));
  return RESULT_OK;
}

int32_t readOpenRuns(const HistoryAccess& history, sqlite3_stmt* statement,
                     OpenScheduledRun* entries, int32_t capacity, bool* complete) {
  int32_t count = 0;
  while (count < capacity) {
    const int step = sqlite3_step(statement);
    if (step == SQLITE_DONE) {
      *complete = true;
      return count;
    }
    if (step != SQLITE_ROW) {
      LOG_HERE(LOG_ERR, "open-run list step failed after %d row(s): %s", count, history.error());
      return count;
    }
    entries[count].runId = sqlite3_column_int64(statement, 0);
    entries[count].unit = sqlite3_column_int(statement, 1);
    entries[count].scheduleId = sqlite3_column_int64(statement, 2);
    entries[count].startedAt = sqlite3_column_int64(statement, 3);
    ++count;
  }

  LOG_HERE(LOG_WARNING, "open-run list truncated at %d entries", capacity);
  return count;
}

}  // namespace

constexpr const char* kListOpenScheduledRunsSql =
    "SELECT run_id, unit, schedule_id, started_at"
    " FROM poe_history"
    " WHERE status='running'"
    " AND trigger_source='scheduled'"
    " AND schedule_id IS NOT NULL"
    " AND schedule_type IN ('power_on','power_off')"
    " AND (all_day_snapshot IS NULL OR all_day_snapshot=0)"
    " ORDER BY started_at ASC;";

int32_t historyListOpenScheduledRuns(OpenScheduledRun* entries, int32_t capacity, bool* complete) {
  bool ignored = false;
  complete = complete != nullptr ? complete : &ignored;
  *complete = false;
  if (entries == nullptr || capacity <= 0) {
    return -1;
  }

  const HistoryAccess history;
  if (!history) {
    return -1;
  }

  const LoggedStatement statement(history, "open-run list", kListOpenScheduledRunsSql);
  if (!statement) {
    return -1;
  }

  return readOpenRuns(history, statement.get(), entries, capacity, complete);
}

int32_t historyList(int32_t unit, int32_t page, int32_t pageSize, JsonPtr* answer) {
  JsonPtr runs(cJSON_CreateArray());
  int64_t total = 0;
  {
    const HistoryAccess history;
    if (!history || runs == nullptr) {
      return ERR_GENERAL;
    }
    total = countRuns(history, unit);
    const int32_t rc = listPage(history, unit, page, pageSize, runs.get());
    if (rc != RESULT_OK) {
      return rc;
    }
  }

  JsonPtr list = JsonObject()
                     .add("runs", std::move(runs))
                     .number("page", page)
                     .number("pageSize", pageSize)
                     .number("total", total)
                     .take();
  if (list == nullptr) {
    return ERR_GENERAL;
  }

  *answer = std::move(list);
  return RESULT_OK;
}

int32_t historyDetail(int32_t unit, int64_t runId, JsonPtr* answer) {
  const HistoryAccess history;
  if (!history) {
    return ERR_GENERAL;
  }

  JsonObject run;
  const int32_t rc = detailRun(history, unit, runId, run);
  if (rc != RESULT_OK) {
    return rc;
  }

  JsonPtr built = run.take();
  if (built == nullptr) {
    return ERR_GENERAL;
  }

  *answer = std::move(built);
  return RESULT_OK;
}

constexpr const char* kPurgeBeforeSql =
    "DELETE FROM poe_history"
    " WHERE started_at < ?;";

int32_t historyPurgeBefore(int64_t cutoff) {
  const HistoryAccess history;
  if (!history) {
    return 0;
  }
  const StatementPtr statement = history.prepare(kPurgeBeforeSql);
  if (statement == nullptr) {
    return 0;
  }
  sqlite3_bind_int64(statement.get(), 1, cutoff);
  return sqlite3_step(statement.get()) == SQLITE_DONE ? sqlite3_changes(history.db()) : 0;
}
