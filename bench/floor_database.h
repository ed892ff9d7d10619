// The bare use of a database, which the daemon's own is measured against.
//
// A floor has a connection of its own, in the daemon's mode: a write-ahead log, every commit
// synced, foreign keys on. It runs the texts of the daemon's statements with as little as SQLite
// needs: bind, step, read each column by its type, reset. Who keeps a FloorStatement reuses it;
// who makes one for each request prepares and finalises it, as the daemon does.
#ifndef QUORIN_BENCH_FLOOR_DATABASE_H
#define QUORIN_BENCH_FLOOR_DATABASE_H

#include <cstdint>
#include <string>

#include "base/database.h"

DatabasePtr openFloorDatabase(const std::string& path);

// Copies a database with all it holds to a path where nothing is.
void copyDatabase(const char* from, const std::string& to);

class FloorStatement {
 public:
  // columns: of what type each column of a row is read, in order: 'i' an integer, 't' a text.
  FloorStatement(const DatabasePtr& db, const char* sql, const char* columns = "");

  sqlite3_stmt* get() const { return statement_.get(); }

  // Each binds all parameters, in order.
  template <typename... Values>
  FloorStatement& bind(Values... values) {
    int index = 0;
    (bindOne(++index, values), ...);
    return *this;
  }

  // Steps to the next row and reads it; false at the end, where the statement is reset.
  bool next();
  // Steps to the end. The sum of all that was read, so that no reading can be left out.
  int64_t readAll();
  int64_t sum() const { return sum_; }

 private:
  void bindOne(int index, int64_t value);
  void bindOne(int index, const char* textOrNull);

  StatementPtr statement_;
  const char* columns_;
  int64_t sum_ = 0;
};

#endif
