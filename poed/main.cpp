// Start-up as a list of steps, and its mirror at the end.
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#if __has_include(<malloc.h>)
#include <malloc.h>
#endif

#include "base/clock.h"
#include "config/boot_delay_config.h"
#include "config/schedule_store.h"
#include "daemon/daemon_context.h"
#include "daemon/data_dir.h"
#include "daemon/paths.h"
#include "daemon/stop_signal.h"
#include "history/cleanup_thread.h"
#include "history/history_store.h"
#include "ipc/ipc_server.h"
#include "log/log.h"
#include "poe/port_locks.h"
#include "scheduler/scheduler_thread.h"
#include "switchos/session.h"

namespace {

constexpr const char* kProcessName = "quorin_poed";
constexpr mode_t kOwnerOnly =
    077;  // each file that others may use is given its mode where it is made
constexpr size_t kStackBytes = size_t{1024} * 1024;
constexpr mode_t kPidFileMode = 0644;

struct DaemonThreads {
  pthread_t ipcServer;
  pthread_t scheduler;
  pthread_t cleanup;
};

// Whatever reads the pid file can do without; so can the daemon.
void writePidFile() {
  FILE* file = fopen(kPidFilePath, "we");
  if (file != nullptr) {
    fprintf(file, "%ld\n", static_cast<long>(getpid()));
    fchmod(fileno(file), kPidFileMode);
    fclose(file);
  }
}

bool connectSwitchOs() {
  if (initHandler(kProcessName, &openApiClient) >= 0) {
    return true;
  }
  LOG_HERE(LOG_ERR, "openapi client init failed");
  return false;
}

bool createContext() {
  if (contextCreate()) {
    return true;
  }
  LOG_HERE(LOG_ERR, "alloc ctx failed");
  return false;
}

bool openStores() {
  if (scheduleStoreInit() < 0) {
    LOG_HERE(LOG_ERR, "schedule store init failed");
    return false;
  }
  if (historyStoreInit() < 0) {
    LOG_HERE(LOG_ERR, "history store init failed");
    return false;
  }
  if (historyReconcileInterruptedRuns() < 0) {
    // The runs stay open in the history; the ports are not affected.
    LOG_HERE(LOG_ERR, "history reconcile of interrupted runs failed");
  }
  return true;
}

bool initBootDelayConfig() {
  if (configStoreInit() >= 0) {
    return true;
  }
  LOG_HERE(LOG_ERR, "config store init failed");
  return false;
}

bool initPortLocks() {
  if (portLockInit() >= 0) {
    return true;
  }
  LOG_HERE(LOG_ERR, "port lock init failed");
  return false;
}

// Leaves the reason of a failure in errno, which the thread library itself does not.
bool startThread(pthread_t* thread, void* (*body)(void*)) {
  const int error = clockThreadStart(thread, body, nullptr);
  errno = error;
  return error == 0;
}

// Stop signals stay with this thread, which only waits from then on: they interrupt no work, and
// reach no thread that is just ending.
bool startThreads(DaemonThreads* threads) {
  const StopSignalBlock block;
  if (!startThread(&threads->ipcServer, ipcServerThread)) {
    LOG_HERE(LOG_ERR, "ipc thread create failed: %s", strerror(errno));
    return false;
  }
  if (!startThread(&threads->scheduler, schedulerThread)) {
    LOG_HERE(LOG_ERR, "scheduler thread create failed: %s", strerror(errno));
    return false;
  }
  if (!startThread(&threads->cleanup, cleanupThread)) {
    LOG_HERE(LOG_ERR, "cleanup thread create failed: %s", strerror(errno));
    return false;
  }

  return true;
}

void joinThreads(const DaemonThreads& threads) {
  clockThreadJoin(threads.ipcServer);
  clockThreadJoin(threads.scheduler);
  clockThreadJoin(threads.cleanup);
}

// Detached threads may still be working; each finds no database and no switch OS from here on, and
// ends with the process.
void tearDown() {
  openapiClientTearDown(&openApiClient);
  contextRetire();
  unlink(kPidFilePath);
  LOG_HERE(LOG_INFO, "quorin_poed exiting cleanly");
  logClose();
}

// With one heap the threads of requests wait for each other at every allocation; each further one
// keeps some memory for itself, and by default the more, the larger what it has freed was.
void limitHeaps() {
#ifdef M_ARENA_MAX
  mallopt(M_ARENA_MAX, 4);
  mallopt(M_TRIM_THRESHOLD, 128 * 1024);
#endif
}

// Hundreds of threads at a time must fit into a 32-bit board's addresses. Threads are created with
// default attributes, so it is the default that changes; a C library without the call has small
// stacks of its own.
void setDefaultStack() {
#ifdef QUORIN_HAVE_DEFAULT_STACK
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) == 0) {
    pthread_attr_setstacksize(&attributes, kStackBytes);
    pthread_setattr_default_np(&attributes);
    pthread_attr_destroy(&attributes);
  }
#endif
}

}  // namespace

int main() {
  umask(kOwnerOnly);
  limitHeaps();
  setDefaultStack();
  logSetPaths(kLogPaths);
  logOpen(LOG_TO_FILE | LOG_TO_SYSLOG, LOG_DAEMON, kProcessName);
  LOG_HERE(LOG_INFO, "quorin_poed starting (pid=%d)", static_cast<int>(getpid()));
  if (const char* problem = logFileProblem()) {
    LOG_HERE(LOG_WARNING, "%s is not written: %s", kLogPaths.file, problem);
  }
  installStopSignals();
  if (!ensureConfigDir() || !claimDataDir()) {
    return 1;
  }

  writePidFile();
  tightenDataFiles();
  // A failed step ends the process as it stands: whoever starts it again finds the pid file and the
  // log as evidence.
  DaemonThreads threads{};
  if (!connectSwitchOs() || !createContext() || !openStores() || !initBootDelayConfig() ||
      !initPortLocks() || !startThreads(&threads)) {
    return 1;
  }

  LOG_HERE(LOG_INFO, "quorin_poed ready");
  joinThreads(threads);
  tearDown();
  return 0;
}
