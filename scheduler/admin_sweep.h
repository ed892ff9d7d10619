// Switching the PoE of a list of ports on the calling thread, port by port.
#ifndef QUORIN_SCHEDULER_ADMIN_SWEEP_H
#define QUORIN_SCHEDULER_ADMIN_SWEEP_H

#include <cstdint>
#include <vector>

enum class SweepMode : int32_t {
  recordFinish = 0,  // outcomes recorded, run finished from the counts
  recordOpen = 1,    // outcomes recorded, run left open until its window's end
  restore =
      2,  // the worse of old and new outcome recorded, run finished from its ports, stamp removed
  unrecorded = 3,  // one summary line in the log
};

struct AdminSweepRequest {
  int32_t unit = 0;
  std::vector<uint32_t> ifNums;   // ascending
  int32_t interPortDelaySec = 0;  // after each handled port but the last
  int64_t runId = 0;              // 0 when unrecorded
  int32_t adminMode = 0;          // OPENCLT_ADMIN_ENABLE or _DISABLE
  SweepMode sweepMode = SweepMode::unrecorded;
};

// Returns when every port is done. A port that another run holds is skipped. Once a stop is asked
// for, the remaining pauses are left out but no port is. REQUIRES: the scheduler thread; holds the
// schedule mutex, no history mutex.
void executorAdminSweep(const AdminSweepRequest& request);

#endif
