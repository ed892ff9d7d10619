#include "ipc/sensors_method.h"

#include "base/result_codes.h"
#include "ipc/rpc_params.h"
#include "poe/sensors.h"

int32_t rpcSensorsAll(const cJSON* params, JsonPtr* result) {
  int32_t unit = 0;
  if (!rpcUnitParam(params, &unit)) {
    return ERR_INVALID_ARG;
  }
  return sensorsAll(static_cast<uint32_t>(unit), result);
}
