// The methods that manage schedules. Handlers as described in ipc/method_table.h; codes of
// config/schedule_store.h.
#ifndef QUORIN_IPC_SCHEDULE_METHODS_H
#define QUORIN_IPC_SCHEDULE_METHODS_H

#include <cstdint>

#include "base/json.h"

int32_t rpcScheduleList(const cJSON* params, JsonPtr* result);    // "unit"
int32_t rpcScheduleCreate(const cJSON* params, JsonPtr* result);  // "unit", "schedule"
int32_t rpcScheduleGet(const cJSON* params, JsonPtr* result);     // "unit", "scheduleId"
int32_t rpcScheduleUpdate(const cJSON* params,
                          JsonPtr* result);  // "unit", "scheduleId", "schedule"
int32_t rpcScheduleDelete(const cJSON* params, JsonPtr* result);  // "unit", "scheduleId"; no answer

#endif
