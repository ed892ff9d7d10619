#include "ipc/history_methods.h"

#include "base/result_codes.h"
#include "history/history_queries.h"
#include "ipc/rpc_params.h"

namespace {

constexpr int32_t kDefaultPage = 1;
constexpr int32_t kDefaultPageSize = 50;

}  // namespace

int32_t rpcHistoryList(const cJSON* params, JsonPtr* result) {
  int32_t unit = 0;
  if (!rpcUnitParam(params, &unit)) {
    return ERR_INVALID_ARG;
  }
  const int32_t page = jsonInt32Member(params, "page", kDefaultPage);
  const int32_t pageSize = jsonInt32Member(params, "pageSize", kDefaultPageSize);
  return historyList(unit, page, pageSize, result);
}

int32_t rpcHistoryDetail(const cJSON* params, JsonPtr* result) {
  int32_t unit = 0;
  int64_t runId = 0;
  if (!rpcUnitParam(params, &unit) || !rpcIdParam(params, "runId", &runId)) {
    return ERR_INVALID_ARG;
  }
  return historyDetail(unit, runId, result);
}
