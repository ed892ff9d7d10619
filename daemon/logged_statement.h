// A statement whose failures go to the log.
#ifndef QUORIN_DAEMON_LOGGED_STATEMENT_H
#define QUORIN_DAEMON_LOGGED_STATEMENT_H

#include <cstdint>

#include "daemon/daemon_context.h"

enum class StepResult : uint8_t { row, end, failure };

// Prepares a statement, and steps it, as errors in the log: "<what> prepare failed: ..." and
// "<what> step failed: ...".
class LoggedStatement {
 public:
  LoggedStatement(const DatabaseAccess& access, const char* what, const char* sql);

  // False when it could not be prepared; then nothing else may be called.
  explicit operator bool() const { return statement_ != nullptr; }
  sqlite3_stmt* get() const { return statement_.get(); }

  StepResult step() const;
  // Steps a change; false when it is not carried out.
  bool run() const { return step() == StepResult::end; }

 private:
  const DatabaseAccess& access_;
  const char* what_;
  StatementPtr statement_;
};

#endif
