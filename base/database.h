// RAII guards for SQLite statements and transactions.
//
// REQUIRES: whoever uses one of these holds the mutex of the connection from before its
// construction until after its destruction.
#ifndef QUORIN_BASE_DATABASE_H
#define QUORIN_BASE_DATABASE_H

#include <cstdint>
#include <memory>
#include <new>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

struct StatementFinalizer {
  void operator()(sqlite3_stmt* statement) const;
};
// Owns a prepared statement and finalizes it.
using StatementPtr = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

// Prepares one statement; null on failure, with SQLite's message in the connection.
StatementPtr prepareStatement(sqlite3* db, const char* sql);

// Binds a string that stays valid until the statement is finalized, or NULL for a null pointer.
// Indexes start at 1.
void bindTextOrNull(sqlite3_stmt* statement, int index, const char* textOrNull);

// Reads the first column of the next row. False when there is none: then *atEnd distinguishes an
// end from a failure.
bool stepToValue(sqlite3_stmt* statement, int64_t* value, bool* atEnd);

// A string column, or null when it is NULL. Valid until the statement moves on.
const char* columnText(sqlite3_stmt* statement, int column);

// Steps a bound query to its end and collects its first column, narrowed to Int. False, with no
// values, when it can't be read whole or memory runs out.
template <typename Int>
bool collectColumn(sqlite3_stmt* statement, std::vector<Int>* values) {
  values->clear();
  int64_t value = 0;
  bool atEnd = false;
  try {
    while (stepToValue(statement, &value, &atEnd)) {
      values->push_back(static_cast<Int>(value));
    }
  } catch (const std::bad_alloc&) {
    atEnd = false;
  }
  if (!atEnd) {
    values->clear();
  }
  return atEnd;
}

// Executes a script without results; true on success. The message of a failure stays in the
// connection.
bool executeSql(sqlite3* db, const char* sql);

struct DatabaseCloser {
  void operator()(sqlite3* db) const;
};
// Owns a connection and closes it.
using DatabasePtr = std::unique_ptr<sqlite3, DatabaseCloser>;

// Opens a database file for reading and writing, created if missing. The connection has no mutex of
// its own: one thread at a time may use it. On failure returns false with SQLite's message in *db,
// which may even be null.
bool openDatabase(const char* path, DatabasePtr* db);

// Makes every commit survive a power cut, applies a store's schema script, then the upgrade
// statement, and sets the busy timeout to 3000 ms. The upgrade adds a column that older layouts
// lack, so it fails on every database that has the column; its result is ignored. Returns false,
// with the message in the connection, when the script fails, and for a database that can only be
// read.
bool applySchema(sqlite3* db, const char* script, const char* upgradeStatement);

// An explicit transaction. Its destructor rolls back what was neither committed nor rolled back.
class Transaction {
 public:
  explicit Transaction(sqlite3* db) : db_(db) {}
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  // Without a lock on the file until the first statement that needs one. If that statement reads, a
  // later one that writes fails at once where another process writes meanwhile; so what begins with
  // reading begins with beginImmediate.
  bool begin() { return begin("BEGIN;"); }
  // With the lock for writing, waited for as long as the busy timeout.
  bool beginImmediate() { return begin("BEGIN IMMEDIATE;"); }
  bool commit();
  bool rollback();

 private:
  bool begin(const char* sql);
  bool executeRollback();

  sqlite3* db_;
  StatementPtr rollback_;
  bool open_ = false;
};

#endif
