// The method that reads a unit's PoE ports. Handler as described in ipc/method_table.h.
#ifndef QUORIN_IPC_SENSORS_METHOD_H
#define QUORIN_IPC_SENSORS_METHOD_H

#include <cstdint>

#include "base/json.h"

// "unit": the readings and settings of all its PoE ports.
int32_t rpcSensorsAll(const cJSON* params, JsonPtr* result);

#endif
