// A statement whose failures go to the log.
#ifndef QUORIN_DAEMON_LOGGED_STATEMENT_H
#define QUORIN_DAEMON_LOGGED_STATEMENT_H

#include <cstdint>

#include "daemon/daemon_context.h"

enum class StepResult : uint8_t { row, end, failure };

// Prepares a statement, and steps it; failures are errors in the log, "<what> prepare failed: ..."
// and "<what> step failed: ...", under the name of the function that prepares it. The access must
// outlive the statement.
class LoggedStatement {
 public:
  LoggedStatement(const DatabaseAccess& access, const char* what, const char* sql,
                  const char* function = __builtin_FUNCTION(), int line = __builtin_LINE());
  LoggedStatement(const DatabaseAccess&& access, const char* what, const char* sql) = delete;

  // False when it could not be prepared; then nothing else may be called.
  explicit operator bool() const { return statement_ != nullptr; }
  sqlite3_stmt* get() const { return statement_.get(); }

  StepResult step() const;
  // Steps a change; false when it is not carried out.
  bool run() const { return step() == StepResult::end; }

 private:
  void logFailure(const char* ofWhat) const;

  const DatabaseAccess& access_;
  const char* what_;
  const char* function_;
  int line_;
  StatementPtr statement_;
};

#endif
