// The method that power-cycles ports now. Handler as described in ipc/method_table.h.
#ifndef QUORIN_IPC_MANUAL_RESET_H
#define QUORIN_IPC_MANUAL_RESET_H

#include <cstdint>

#include "base/json.h"

// "unit", "request" {"ifNums", "offTimeSec", "executionMode", "interPortDelaySec"}: begins a run
// over the given ports, or over all PoE ports of the unit that are enabled, starts its executor and
// answers with the run's id and the resolved ports while the executor works. A port of another
// unit, or one without PoE, rejects the whole request with ERR_INVALID_ARG.
int32_t rpcManualReset(const cJSON* params, JsonPtr* result);

#endif
