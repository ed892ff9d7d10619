#include "daemon/daemon_context.h"

#include <sqlite3.h>

#include <new>

namespace {

std::atomic<DaemonContext*> currentContext{nullptr};
// Keeps a retired context reachable: nobody may free it. Atomic only so that the compiler keeps a
// store that nothing reads.
std::atomic<DaemonContext*> retiredContext{nullptr};
// From here on nobody begins to use a database: whoever got its mutex after waiting for it leaves
// again.
std::atomic<bool> isRetiring{false};

// Once a stop is asked for nobody waits long for another process's lock: everybody else would wait
// behind him.
constexpr int kStopBusyTimeoutMs = 20;

int64_t lostRun = 0;  // handed out by HistoryAccess alone, so under the history mutex

}  // namespace

DaemonContext* daemonContext() {
  return currentContext.load(std::memory_order_acquire);
}

bool contextCreate() {
  auto* context = new (std::nothrow) DaemonContext;
  currentContext.store(context, std::memory_order_release);
  return context != nullptr;
}

void contextRetire() {
  DaemonContext* context = daemonContext();
  if (context == nullptr) {
    return;
  }

  isRetiring = true;
  {
    const MutexLock lock(context->scheduleDbMutex);
    sqlite3_close(context->scheduleDb);
    context->scheduleDb = nullptr;
  }

  {
    const MutexLock lock(context->historyDbMutex);
    sqlite3_close(context->historyDb);
    context->historyDb = nullptr;
  }

  retiredContext = context;
  currentContext.store(nullptr, std::memory_order_release);
}

void publishScheduleDb(DatabasePtr db) {
  DaemonContext* context = daemonContext();
  const MutexLock lock(context->scheduleDbMutex);
  context->scheduleDb = db.release();
}

void publishHistoryDb(DatabasePtr db) {
  DaemonContext* context = daemonContext();
  const MutexLock lock(context->historyDbMutex);
  context->historyDb = db.release();
  lostRun = 0;
}

bool stopRequested() {
  const DaemonContext* context = daemonContext();
  return context == nullptr || context->stopRequested.load() != 0;
}

DatabaseAccess::DatabaseAccess(Mutex DaemonContext::*mutex, sqlite3* DaemonContext::*handle,
                               ScheduleTurn* turn) {
  DaemonContext* context = daemonContext();
  if (context == nullptr) {
    return;
  }
  Mutex& wanted = context->*mutex;
  if (turn == nullptr) {
    wanted.lock();
  } else if (!turn->lock(wanted)) {
    return;
  }
  mutex_ = &wanted;
  db_ = isRetiring.load() ? nullptr : context->*handle;
  if (db_ != nullptr && context->stopRequested.load() != 0) {
    sqlite3_busy_timeout(db_, kStopBusyTimeoutMs);
  }
}

DatabaseAccess::~DatabaseAccess() {
  if (mutex_ != nullptr) {
    mutex_->unlock();
  }
}

StatementPtr DatabaseAccess::prepare(const char* sql) const {
  return prepareStatement(db_, sql);
}

const char* DatabaseAccess::error() const {
  return sqlite3_errmsg(db_);
}

int64_t HistoryAccess::lostRunId() const {
  return lostRun;
}

void HistoryAccess::setLostRunId(int64_t runId) const {
  lostRun = runId;
}
