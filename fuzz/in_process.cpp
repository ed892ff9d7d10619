#include "fuzz/in_process.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "base/database.h"
#include "base/detached_thread.h"
#include "base/sleep.h"
#include "config/schedule_store.h"
#include "daemon/daemon_context.h"
#include "daemon/paths.h"
#include "history/history_store.h"
#include "log/log.h"
#include "poe/port_locks.h"
#include "switchos/session.h"
#include "switchsim/switch_state.h"

namespace fs = std::filesystem;

namespace {

constexpr int kInputsBetweenForgetting = 500;

}  // namespace

// These take the place of the daemon's own.
void sleepSeconds(int32_t) {}
void sleepMilliseconds(int32_t) {}

int startDetachedThread(void* (*body)(void*), void* argument) {
  body(argument);
  return 0;
}

extern "C" int fsync(int) {
  return 0;
}
extern "C" int fdatasync(int) {
  return 0;
}

void require(bool condition, const char* message) {
  if (!condition) {
    fprintf(stderr, "finding: %s\n", message);
    abort();
  }
}

void openInProcess() {
  const fs::path root = fs::path(kLogFilePath).parent_path().parent_path();
  fs::remove_all(root);
  for (const fs::path& folder : {root / "tmp", root / "var/run", fs::path(kDataDirPath)}) {
    fs::create_directories(folder);
  }

  setenv("SWITCHSIM_STATE", (root / "switch.state").c_str(), 1);
  switchsim::SwitchOptions options;
  options.units = 2;
  require(switchsim::createSwitch(options, true).empty(), "no switch");
  logSetPaths(kLogPaths);
  logOpen(LOG_TO_FILE, LOG_DAEMON, "fuzz");
  const bool open = contextCreate() && initHandler("fuzz", &openApiClient) == 0 && scheduleStoreInit() == 0 &&
                    historyStoreInit() == 0 && portLockInit() == 0;
  require(open, "the stores could not be opened");
}

void forgetOften() {
  static int inputs = 0;
  if (++inputs % kInputsBetweenForgetting != 0) {
    return;
  }
  const ScheduleAccess schedules;
  const HistoryAccess history;
  require(
      executeSql(schedules.db(), "DELETE FROM poe_schedule;") && executeSql(history.db(), "DELETE FROM poe_history;"),
      "the databases could not be emptied");
}
