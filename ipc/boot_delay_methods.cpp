#include "ipc/boot_delay_methods.h"

#include <cjson/cJSON.h>

#include "base/result_codes.h"
#include "config/boot_delay_config.h"
#include "ipc/rpc_params.h"

namespace {

// Reads a number from 0 to limit; a missing key leaves *value as it is only when the parameter is
// optional.
bool readSeconds(const cJSON* params, const char* key, bool optional, uint32_t limit,
                 uint32_t* value) {
  const cJSON* member = jsonMember(params, key);
  if (member == nullptr) {
    return optional;
  }
  if (!cJSON_IsNumber(member)) {
    return false;
  }
  *value = static_cast<uint32_t>(
      jsonToInt32(member->valuedouble));  // a negative number is far too large
  return *value <= limit;
}

// False for what is there but names no mode.
bool readMode(const cJSON* params, ExecutionMode* mode) {
  return executionModeOf(jsonTextMember(params, "executionMode"), mode) ||
         jsonMember(params, "executionMode") == nullptr;
}

}  // namespace

int32_t rpcBootDelayGet(const cJSON* params, JsonPtr* result) {
  int32_t unit = 0;
  if (!rpcUnitParam(params, &unit)) {
    return ERR_INVALID_ARG;
  }

  BootDelayConfig config;
  const int32_t rc = bootDelayConfigGet(unit, &config);
  if (rc != RESULT_OK) {
    return rc;
  }

  JsonPtr answer = JsonObject()
                       .number("delaySec", config.delaySec)
                       .text("executionMode", executionModeText(config.executionMode))
                       .number("interPortDelaySec", config.interPortDelaySec)
                       .take();
  if (answer == nullptr) {
    return ERR_GENERAL;
  }

  *result = std::move(answer);
  return RESULT_OK;
}

int32_t rpcBootDelaySet(const cJSON* params, JsonPtr*) {
  int32_t unit = 0;
  BootDelayConfig config;
  const bool valid = rpcUnitParam(params, &unit) &&
                     readSeconds(params, "delaySec", false, kMaxBootDelaySec, &config.delaySec) &&
                     readMode(params, &config.executionMode) &&
                     readSeconds(params, "interPortDelaySec", true, kMaxBootInterPortDelaySec,
                                 &config.interPortDelaySec);
  return valid ? bootDelayConfigSet(unit, &config) : ERR_INVALID_ARG;
}
