#include "fuzz/in_process.h"

#include <ctime>

#include "base/database.h"
#include "base/detached_thread.h"
#include "daemon/daemon_context.h"
#include "tests/support/in_process.h"

namespace {

constexpr int kInputsBetweenForgetting = 500;

}  // namespace

// This takes the place of the daemon's own,
int startDetachedThread(void* (*body)(void*), void* argument) {
  body(argument);
  return 0;
}

// and these of the C library's.
extern "C" int nanosleep(const timespec*, timespec*) {
  return 0;
}
extern "C" int fsync(int) {
  return 0;
}
extern "C" int fdatasync(int) {
  return 0;
}

void openInProcess() {
  static const bool open = (makeRoot({2}), openStores());
  require(open, "the stores could not be opened");
}

void forgetOften() {
  static int inputs = 0;
  if (++inputs % kInputsBetweenForgetting != 0) {
    return;
  }
  const ScheduleAccess schedules;
  const HistoryAccess history;
  require(executeSql(schedules.db(), "DELETE FROM poe_schedule;") &&
              executeSql(history.db(), "DELETE FROM poe_history;"),
          "the databases could not be emptied");
}
