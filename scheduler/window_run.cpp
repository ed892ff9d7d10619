#include "scheduler/window_run.h"

#include <ctime>

#include "base/clock.h"
#include "base/result_codes.h"
#include "history/run_lifecycle.h"
#include "log/log.h"
#include "scheduler/open_run_stamps.h"

namespace {

void unstampIfClosed(int64_t runId, int32_t rc) {
  if (rc != ERR_GENERAL) {
    openRunStampRemove(runId);
  }
}

// what: how the log calls it.
template <typename Close>
void closeRetrying(int64_t runId, const char* what, const Close& close) {
  int32_t rc = close();
  if (rc == ERR_GENERAL) {
    LOG_HERE(LOG_ERR, "run %lld: %s failed; retrying once", static_cast<long long>(runId), what);
    rc = close();
  }
  if (rc == ERR_GENERAL) {
    LOG_HERE(LOG_ERR, "run %lld: %s retry failed; run remains open; reaper backstop will close it",
             static_cast<long long>(runId), what);
  }
  unstampIfClosed(runId, rc);
}

}  // namespace

void windowRunFail(int64_t runId, const char* reason) {
  unstampIfClosed(runId, historyRunForceFail(runId, reason));
}

void windowRunFailRetrying(int64_t runId, const char* reason) {
  closeRetrying(runId, "force-fail", [&] { return historyRunForceFail(runId, reason); });
}

void windowRunFinishRestored(int64_t runId) {
  closeRetrying(runId, "derived finish",
                [&] { return historyRunFinishDerived(runId, nullptr, wallSeconds()); });
}
