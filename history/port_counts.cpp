#include "history/port_counts.h"

#include <sqlite3.h>

#include <cstring>

#include "base/database.h"
#include "base/result_codes.h"

constexpr const char* kCountPortsSql =
    "SELECT status"
    " FROM poe_history_port"
    " WHERE run_id=?;";

void countPort(const char* statusOrNull, PortCounts* counts) {
  const char* status = statusOrNull != nullptr ? statusOrNull : "";
  ++counts->total;
  if (strcmp(status, "success") == 0) {
    ++counts->success;
  } else if (strcmp(status, "failed") == 0) {
    ++counts->failed;
  } else if (strcmp(status, "skipped") == 0) {
    ++counts->skipped;
  }
}

int32_t PortCounter::countPorts(int64_t runId, PortCounts* counts) {
  *counts = PortCounts{};
  if (!rows_.has_value() || !*rows_) {
    rows_.emplace(history_, "port count", kCountPortsSql, __func__, __LINE__);
  }
  if (!*rows_) {
    return ERR_GENERAL;
  }

  sqlite3_bind_int64(rows_->get(), 1, runId);
  while (sqlite3_step(rows_->get()) == SQLITE_ROW) {
    countPort(columnText(rows_->get(), 0), counts);
  }
  sqlite3_reset(rows_->get());
  return RESULT_OK;
}
