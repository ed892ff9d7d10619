#include "daemon/logged_statement.h"

#include <sqlite3.h>

#include "log/log.h"

LoggedStatement::LoggedStatement(const DatabaseAccess& access, const char* what, const char* sql,
                                 const char* function, int line)
    : access_(access),
      what_(what),
      function_(function),
      line_(line),
      statement_(access.prepare(sql)) {
  if (statement_ == nullptr) {
    logFailure("prepare");
  }
}

void LoggedStatement::logFailure(const char* ofWhat) const {
  logMessage(LOG_ERR, "[%s:%d] %s %s failed: %s", function_, line_, what_, ofWhat, access_.error());
}

StepResult LoggedStatement::step() const {
  const int rc = sqlite3_step(statement_.get());
  if (rc == SQLITE_ROW || rc == SQLITE_DONE) {
    return rc == SQLITE_ROW ? StepResult::row : StepResult::end;
  }
  logFailure("step");
  return StepResult::failure;
}
