#include "daemon/logged_statement.h"

#include <sqlite3.h>

#include "log/log.h"

LoggedStatement::LoggedStatement(const DatabaseAccess& access, const char* what, const char* sql)
    : access_(access), what_(what), statement_(access.prepare(sql)) {
  if (statement_ == nullptr) {
    LOG_HERE(LOG_ERR, "%s prepare failed: %s", what_, access_.error());
  }
}

StepResult LoggedStatement::step() const {
  const int rc = sqlite3_step(statement_.get());
  if (rc == SQLITE_ROW || rc == SQLITE_DONE) {
    return rc == SQLITE_ROW ? StepResult::row : StepResult::end;
  }
  LOG_HERE(LOG_ERR, "%s step failed: %s", what_, access_.error());
  return StepResult::failure;
}
