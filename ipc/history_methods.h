// The methods that read the history. Handlers as described in ipc/method_table.h.
#ifndef QUORIN_IPC_HISTORY_METHODS_H
#define QUORIN_IPC_HISTORY_METHODS_H

#include <cstdint>

#include "base/json.h"

// "unit", "page" (1), "pageSize" (50): a page of the unit's runs, newest first.
int32_t rpcHistoryList(const cJSON* params, JsonPtr* result);

// "unit", "runId": one run with its ports.
int32_t rpcHistoryDetail(const cJSON* params, JsonPtr* result);

#endif
