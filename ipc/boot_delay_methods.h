// The methods that read and replace a unit's boot-delay settings. Handlers as described in
// ipc/method_table.h.
#ifndef QUORIN_IPC_BOOT_DELAY_METHODS_H
#define QUORIN_IPC_BOOT_DELAY_METHODS_H

#include <cstdint>

#include "base/json.h"

// "unit".
int32_t rpcBootDelayGet(const cJSON* params, JsonPtr* result);

// "unit", "delaySec" 0 to 600, "executionMode" ("simultaneous"), "interPortDelaySec" 0 to 300 (0).
// The settings are replaced whole: what is left out gets its default. No answer.
int32_t rpcBootDelaySet(const cJSON* params, JsonPtr* result);

#endif
