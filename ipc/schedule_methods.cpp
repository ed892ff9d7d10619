#include "ipc/schedule_methods.h"

#include "base/result_codes.h"
#include "config/schedule_store.h"
#include "ipc/rpc_params.h"

namespace {

struct ScheduleParams {
  int32_t unit = 0;
  int64_t scheduleId = 0;
};

bool readScheduleParams(const cJSON* params, ScheduleParams* read) {
  return rpcUnitParam(params, &read->unit) && rpcIdParam(params, "scheduleId", &read->scheduleId);
}

}  // namespace

int32_t rpcScheduleList(const cJSON* params, JsonPtr* result) {
  int32_t unit = 0;
  return rpcUnitParam(params, &unit) ? scheduleList(unit, result) : ERR_INVALID_ARG;
}

int32_t rpcScheduleCreate(const cJSON* params, JsonPtr* result) {
  int32_t unit = 0;
  const cJSON* content = jsonMember(params, "schedule");
  if (!rpcUnitParam(params, &unit) || content == nullptr) {
    return ERR_INVALID_ARG;
  }
  return scheduleCreate(unit, content, result);
}

int32_t rpcScheduleGet(const cJSON* params, JsonPtr* result) {
  ScheduleParams read;
  return readScheduleParams(params, &read) ? scheduleGet(read.unit, read.scheduleId, result)
                                           : ERR_INVALID_ARG;
}

int32_t rpcScheduleUpdate(const cJSON* params, JsonPtr* result) {
  ScheduleParams read;
  const cJSON* content = jsonMember(params, "schedule");
  if (!readScheduleParams(params, &read) || content == nullptr) {
    return ERR_INVALID_ARG;
  }
  return scheduleUpdate(read.unit, read.scheduleId, content, result);
}

int32_t rpcScheduleDelete(const cJSON* params, JsonPtr*) {
  ScheduleParams read;
  return readScheduleParams(params, &read) ? scheduleDelete(read.unit, read.scheduleId)
                                           : ERR_INVALID_ARG;
}
