// Carrying out a PoE action on a set of ports.
#ifndef QUORIN_POE_ACTION_RUN_H
#define QUORIN_POE_ACTION_RUN_H

#include <cstdint>

#include "history/run_lifecycle.h"

// The executor's input. The run has been begun and stays "running" until the executor finishes it.
struct PoeActionJob {
  int32_t trigger = RUN_TRIGGER_SCHEDULED;  // only says whose executors poeActionSpawn counts
  int32_t unit = 0;                         // of every port
  int64_t runId = 0;
  const char* scheduleName = nullptr;  // borrowed, carried for the caller, not read here
  int32_t action = 0;                  // PoeActionType; any other code is carried out as a restart
  ExecutionMode executionMode = EXECUTION_SIMULTANEOUS;
  int32_t interPortDelaySec = 0;  // between ports in sequential mode; 0 or less: none
  int32_t offTimeSec =
      0;  // how long a restart leaves ports dark; 0 or less: the switch's own port reset
  int32_t allDay = 0;       // carried for the caller, not read here
  int32_t keepRunOpen = 0;  // non-zero: outcomes are merged worst-of and the run is left running
  const uint32_t* ifNums = nullptr;  // in execution order
  int32_t ifCount = 0;
};

// Carries out the job on the calling thread and reports through the history only. Ports are claimed
// with portLockTry, held while they are worked and released; a port that another run holds is
// recorded as skipped. Never looks at the stop flag. The caller holds no history mutex and no port
// lock.
//
// A restart with an off time switches all its ports off, waits once, and switches them on again one
// after the other; it always finishes its run. Any other job works one port after the other.
// Simultaneous mode only drops the delay between ports.
void poeActionRun(const PoeActionJob* job);

#endif
