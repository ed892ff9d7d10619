#include "base/database.h"

#include <sqlite3.h>

namespace {

// How long a statement waits for another process's lock on the file; the daemon's own threads never
// compete there.
constexpr int kBusyTimeoutMs = 3000;

// SQLite falls back to reading only; trying to write fails and leaves the reason in the connection.
// (On a database that has all its tables the schema script would change nothing.)
bool isWritable(sqlite3* db) {
  return sqlite3_db_readonly(db, "main") != 1 || executeSql(db, "PRAGMA user_version=0;");
}

}  // namespace

void StatementFinalizer::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

StatementPtr prepareStatement(sqlite3* db, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db, sql, -1, &statement, nullptr) != SQLITE_OK) {
    return nullptr;
  }
  return StatementPtr(statement);
}

void bindTextOrNull(sqlite3_stmt* statement, int index, const char* textOrNull) {
  if (textOrNull == nullptr) {
    sqlite3_bind_null(statement, index);
    return;
  }
  sqlite3_bind_text(statement, index, textOrNull, -1, SQLITE_STATIC);
}

const char* columnText(sqlite3_stmt* statement, int column) {
  return reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
}

bool executeSql(sqlite3* db, const char* sql) {
  return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool stepToValue(sqlite3_stmt* statement, int64_t* value, bool* atEnd) {
  const int step = sqlite3_step(statement);
  *atEnd = step == SQLITE_DONE;
  *value = step == SQLITE_ROW ? sqlite3_column_int64(statement, 0) : 0;
  return step == SQLITE_ROW;
}

void DatabaseCloser::operator()(sqlite3* db) const {
  sqlite3_close(db);
}

bool openDatabase(const char* path, DatabasePtr* db) {
  // Without a mutex of SQLite's own for every call: whoever uses a connection holds ours.
  constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  sqlite3* opened = nullptr;
  const int rc = sqlite3_open_v2(path, &opened, kFlags, nullptr);
  db->reset(opened);
  return rc == SQLITE_OK;
}

bool applySchema(sqlite3* db, const char* script, const char* upgradeStatement) {
  // SQLite's default, but a vendor may have built it with less, and then a power cut in the very
  // first transactions would leave files that no later start can open.
  if (!executeSql(db, "PRAGMA synchronous=FULL;") || !isWritable(db) || !executeSql(db, script)) {
    return false;
  }
  executeSql(db, upgradeStatement);
  sqlite3_busy_timeout(db, kBusyTimeoutMs);
  return true;
}

Transaction::~Transaction() {
  rollback();
}

bool Transaction::begin(const char* sql) {
  // Prepared now, so that undoing needs no memory that may be missing by then.
  rollback_ = prepareStatement(db_, "ROLLBACK;");
  if (rollback_ == nullptr) {
    return false;
  }
  if (sqlite3_get_autocommit(db_) == 0) {
    executeRollback();  // a transaction that could not be rolled back at its end must not block all
                        // that follow
  }
  open_ = executeSql(db_, sql);
  return open_;
}

bool Transaction::executeRollback() {
  const bool done = sqlite3_step(rollback_.get()) == SQLITE_DONE;
  sqlite3_reset(rollback_.get());
  return done;
}

bool Transaction::commit() {
  if (!executeSql(db_, "COMMIT;")) {
    return false;
  }
  open_ = false;
  return true;
}

bool Transaction::rollback() {
  if (!open_) {
    return true;
  }
  open_ = false;
  // A failure such as a full disk may have made SQLite roll back already; then there is nothing
  // left to undo.
  return sqlite3_get_autocommit(db_) != 0 || executeRollback();
}
