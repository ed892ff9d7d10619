// When each open window run was begun, on the monotonic clock, so that its age survives a change of
// the wall clock. In memory only. No lock: used on the scheduler thread alone.
#ifndef QUORIN_SCHEDULER_OPEN_RUN_STAMPS_H
#define QUORIN_SCHEDULER_OPEN_RUN_STAMPS_H

#include <cstdint>

struct OpenScheduledRun;

constexpr int32_t kOpenRunStamps = 64;

// Stamps a run that begins now. A full table is logged and the run stays without a stamp.
void openRunStampAdd(int64_t runId);

// Removes a run's stamp; does nothing for a run without one.
void openRunStampRemove(int64_t runId);

// Removes the stamps of all runs but these. A stamp can outlive its run: on a full disk a run may
// begin that is never stored, and would keep its slot until the daemon ends.
void openRunStampKeepOnly(const OpenScheduledRun* runs, int32_t count);

// Seconds since the run was stamped, 0 or more; -1 when it has no stamp or the clock can't be read.
int64_t openRunStampAge(int64_t runId);

#endif
