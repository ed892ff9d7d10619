#include "ipc/rpc_params.h"

#include "base/json.h"

bool rpcUnitParam(const cJSON* params, int32_t* unit) {
  const int32_t value = jsonInt32Member(params, "unit", 0);
  if (value < 1) {
    return false;
  }
  *unit = value;
  return true;
}

bool rpcIdParam(const cJSON* params, const char* key, int64_t* id) {
  const int64_t value = jsonInt64Member(params, key, 0);
  if (value < 1) {
    return false;
  }
  *id = value;
  return true;
}
