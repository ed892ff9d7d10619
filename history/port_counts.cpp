#include "history/port_counts.h"

#include <sqlite3.h>

#include <cstring>

#include "base/database.h"
#include "base/result_codes.h"
#include "daemon/daemon_context.h"
#include "daemon/logged_statement.h"

constexpr const char* kCountPortsSql =
    "SELECT status"
    " FROM poe_history_port"
    " WHERE run_id=?;";

int32_t countPorts(const HistoryAccess& history, int64_t runId, PortCounts* counts) {
  *counts = PortCounts{};
  const LoggedStatement statement(history, "port count", kCountPortsSql);
  if (!statement) {
    return ERR_GENERAL;
  }

  sqlite3_bind_int64(statement.get(), 1, runId);
  while (sqlite3_step(statement.get()) == SQLITE_ROW) {
    const char* text = columnText(statement.get(), 0);
    const char* status = text != nullptr ? text : "";
    ++counts->total;
    counts->success += strcmp(status, "success") == 0 ? 1 : 0;
    counts->failed += strcmp(status, "failed") == 0 ? 1 : 0;
    counts->skipped += strcmp(status, "skipped") == 0 ? 1 : 0;
  }

  return RESULT_OK;
}
