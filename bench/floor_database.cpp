#include "bench/floor_database.h"

#include <sqlite3.h>

#include "bench/must.h"

DatabasePtr openFloorDatabase(const std::string& path) {
  constexpr int kPatienceMs = 3000;
  DatabasePtr db;
  must(openDatabase(path.c_str(), &db), "opening a floor's database");
  sqlite3_busy_timeout(db.get(), kPatienceMs);
  must(executeSql(db.get(),
                  "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA foreign_keys=ON;"),
       "setting a floor's database up");
  return db;
}

void copyDatabase(const char* from, const std::string& to) {
  DatabasePtr db;
  must(openDatabase(from, &db) && executeSql(db.get(), ("VACUUM INTO '" + to + "';").c_str()),
       "copying a database");
}

FloorStatement::FloorStatement(const DatabasePtr& db, const char* sql, const char* columns)
    : statement_(prepareStatement(db.get(), sql)), columns_(columns) {
  must(statement_ != nullptr, sql);
}

bool FloorStatement::next() {
  sqlite3_stmt* row = get();
  const int step = sqlite3_step(row);
  if (step != SQLITE_ROW) {
    must(step == SQLITE_DONE, sqlite3_sql(row));
    sqlite3_reset(row);
    return false;
  }

  for (int i = 0; columns_[i] != '\0'; ++i) {
    if (columns_[i] == 'i') {
      sum_ += sqlite3_column_int64(row, i);
    } else if (const unsigned char* text = sqlite3_column_text(row, i); text != nullptr) {
      sum_ += *text;
    }
  }
  return true;
}

int64_t FloorStatement::readAll() {
  while (next()) {
  }
  return sum_;
}

void FloorStatement::bindOne(int index, int64_t value) {
  sqlite3_bind_int64(get(), index, value);
}

void FloorStatement::bindOne(int index, const char* textOrNull) {
  bindTextOrNull(get(), index, textOrNull);
}
