// The one record that all modules share, and access to the databases in it.
#ifndef QUORIN_DAEMON_DAEMON_CONTEXT_H
#define QUORIN_DAEMON_DAEMON_CONTEXT_H

#include <atomic>
#include <cstdint>

#include "base/database.h"
#include "base/thread_annotations.h"
#include "daemon/request_line.h"

struct DaemonContext {
  sqlite3* scheduleDb GUARDED_BY(scheduleDbMutex) =
      nullptr;  // owned; null until the store is open and after teardown
  sqlite3* historyDb GUARDED_BY(historyDbMutex) =
      nullptr;  // owned; null until the store is open and after teardown
  Mutex scheduleDbMutex;
  Mutex historyDbMutex;
  std::atomic<int32_t> stopRequested{
      0};  // 0 or 1; set by the stop signal's handler, never cleared; no lock
};

// The context, or null before contextCreate and after contextRetire. Any thread, any time, signal
// handlers included: a context once handed out stays valid for the life of the process.
DaemonContext* daemonContext();

// Allocates and publishes the context; false when memory runs out. REQUIRES: main thread, no other
// thread yet.
bool contextCreate();

// Withdraws the context: closes both databases, each under its mutex, and publishes null. Of those
// that wait for a mutex none uses its database any more, so closing waits for one use at most. The
// record itself is kept until the process ends, because a detached thread may still be inside one
// of its mutexes; such a thread finds no database. REQUIRES: main thread.
void contextRetire();

// True once a stop was asked for, or when there is no context.
bool stopRequested();

// Put an open database into the context, which owns it from then on. A history starts with a clean
// slate: no executor of this process holds a run of it. REQUIRES: the context exists, no other
// thread yet.
void publishScheduleDb(DatabasePtr db);
void publishHistoryDb(DatabasePtr db);

// Use of one database: holds its mutex from construction to destruction. Whoever is handed an
// access that is true knows that the mutex is held; functions that need it take one. db() is null
// when there is no context (any more), the database is not open or the mutex was not to be had;
// then the caller reports a failure. Once a stop is asked for, statements wait only a moment for
// another process's lock.
class DatabaseAccess {
 public:
  DatabaseAccess(const DatabaseAccess&) = delete;
  DatabaseAccess& operator=(const DatabaseAccess&) = delete;
  ~DatabaseAccess() NO_THREAD_SAFETY_ANALYSIS;

  sqlite3* db() const { return db_; }
  explicit operator bool() const { return db_ != nullptr; }

  // One statement; null on failure, with the reason in error().
  StatementPtr prepare(const char* sql) const;
  // SQLite's message for the last call that failed; valid until the next one.
  const char* error() const;

 protected:
  // turn: null takes the mutex as soon as it is free.
  DatabaseAccess(Mutex DaemonContext::*mutex, sqlite3* DaemonContext::*handle,
                 ScheduleTurn* turn = nullptr) NO_THREAD_SAFETY_ANALYSIS;

 private:
  Mutex* mutex_ = nullptr;
  sqlite3* db_ = nullptr;
};

// (The turn is a base so that it ends after the mutex is released.)
class ScheduleAccess : private ScheduleTurn, public DatabaseAccess {
 public:
  // The daemon's own.
  ScheduleAccess() : DatabaseAccess(&DaemonContext::scheduleDbMutex, &DaemonContext::scheduleDb) {}
  // A request's, behind those that came before it. db() is also null where too many wait, and for
  // one that reads and whose client has hung up.
  explicit ScheduleAccess(RequestKind kind)
      : ScheduleTurn(kind),
        DatabaseAccess(&DaemonContext::scheduleDbMutex, &DaemonContext::scheduleDb, this) {}
};

class HistoryAccess : public DatabaseAccess {
 public:
  HistoryAccess() : DatabaseAccess(&DaemonContext::historyDbMutex, &DaemonContext::historyDb) {}

  // The highest id of a run whose begin could not be committed, 0 when there is none: the run is
  // gone, but an executor works under its id.
  int64_t lostRunId() const;
  void setLostRunId(int64_t runId) const;
};

#endif
