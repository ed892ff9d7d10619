#include "ipc/manual_reset.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <new>
#include <vector>

#include "base/result_codes.h"
#include "daemon/daemon_context.h"
#include "history/run_lifecycle.h"
#include "ipc/rpc_params.h"
#include "log/log.h"
#include "poe/executor.h"
#include "poe/port_actions.h"
#include "rules/run_words.h"

namespace {

constexpr const char* kRunName = "Manual Restart";
constexpr const char* kRunIdKey = "runId";
constexpr int kMaxGivenPorts = 512;
constexpr int32_t kMaxCollectedPorts = 128;

struct ResetRequest {
  int32_t unit = 0;
  int32_t offTimeSec = 0;
  int32_t interPortDelaySec = 0;
  ExecutionMode executionMode = EXECUTION_SIMULTANEOUS;
};

// Any word but a mode's counts as simultaneous.
ExecutionMode readExecutionMode(const cJSON* request) {
  ExecutionMode mode = EXECUTION_SIMULTANEOUS;
  executionModeOf(jsonTextMember(request, "executionMode"), &mode);
  return mode;
}

// The numbers among the first elements of the array, in order; repeated ones are kept.
std::vector<uint32_t> readGivenPorts(const cJSON* array) {
  std::vector<uint32_t> ifNums;
  int seen = 0;
  const cJSON* element = nullptr;
  cJSON_ArrayForEach(element, array) {
    if (seen++ == kMaxGivenPorts) {
      break;
    }
    if (cJSON_IsNumber(element)) {
      ifNums.push_back(static_cast<uint32_t>(jsonToInt32(element->valuedouble)));
    }
  }
  return ifNums;
}

// Fills *ifNums with the ports to restart. Returns a result code.
int32_t resolvePorts(int32_t unit, const cJSON* request, std::vector<uint32_t>* ifNums) {
  const cJSON* given = jsonMember(request, "ifNums");
  if (!cJSON_IsArray(given) || cJSON_GetArraySize(given) == 0) {
    *ifNums = poeUnitEnabledPortsGet(unit, kMaxCollectedPorts);
    return ifNums->empty() ? ERR_INVALID_ARG : RESULT_OK;
  }
  *ifNums = readGivenPorts(given);
  uint32_t badIfNum = 0;
  if (poePortsCheckUnit(unit, ifNums->data(), static_cast<int32_t>(ifNums->size()), &badIfNum) !=
      0) {
    LOG_HERE(LOG_WARNING, "manual-reset: ifNum %d does not belong to unit %d — rejecting",
             static_cast<int>(badIfNum), unit);
    return ERR_INVALID_ARG;
  }
  return RESULT_OK;
}

// Begins the run and starts its executor. Returns the run's id, or 0 when either fails, and once a
// stop is asked for: the end of the process might leave the ports dark.
int64_t startRun(const ResetRequest& request, const std::vector<uint32_t>& ifNums) {
  if (stopRequested()) {
    return 0;
  }

  RunBeginRequest begin;
  begin.unit = request.unit;
  begin.trigger = RUN_TRIGGER_MANUAL;
  begin.scheduleName = kRunName;
  begin.action = POE_ACTION_RESTART;
  begin.executionMode = request.executionMode;
  begin.interPortDelaySec = request.interPortDelaySec;
  begin.ifNums = ifNums.data();
  begin.ifCount = static_cast<int32_t>(ifNums.size());
  const int64_t runId = historyRunBegin(&begin);
  if (runId <= 0) {
    return 0;
  }

  PoeActionJob job = poeActionJobOf(begin, runId);
  job.offTimeSec = request.offTimeSec;
  if (poeActionSpawn(&job) != 0) {
    historyRunForceFail(runId, kRunNotSpawned);
    return 0;
  }

  return runId;
}

// The answer, whose run id is still to come; null when memory runs out. The ports may be left out.
JsonPtr buildAnswer(const ResetRequest& request, const std::vector<uint32_t>& ifNums) {
  JsonPtr answer = JsonObject()
                       .number(kRunIdKey, 0)
                       .text("triggered", runTriggerText(RUN_TRIGGER_MANUAL))
                       .null("scheduleId")
                       .text("scheduleName", kRunName)
                       .text("scheduleType", poeActionText(POE_ACTION_RESTART))
                       .number("unit", request.unit)
                       .text("executionMode", executionModeText(request.executionMode))
                       .number("offTimeSec", request.offTimeSec)
                       .number("interPortDelaySec", request.interPortDelaySec)
                       .take();
  if (answer != nullptr) {
    jsonAdd(answer.get(), "resolvedIfNums", jsonNumbers(ifNums));
  }

  return answer;
}

}  // namespace

int32_t rpcManualReset(const cJSON* params, JsonPtr* result) try {
  ResetRequest reset;
  const cJSON* request = jsonMember(params, "request");
  if (!rpcUnitParam(params, &reset.unit) || request == nullptr) {
    return ERR_INVALID_ARG;
  }

  reset.offTimeSec = jsonInt32Member(request, "offTimeSec", 0);
  reset.interPortDelaySec = jsonInt32Member(request, "interPortDelaySec", 0);
  reset.executionMode = readExecutionMode(request);
  std::vector<uint32_t> ifNums;
  const int32_t rc = resolvePorts(reset.unit, request, &ifNums);
  if (rc != RESULT_OK) {
    return rc;
  }

  // First the answer: a run that nobody is told of must not begin.
  JsonPtr answer = buildAnswer(reset, ifNums);
  const int64_t runId = answer != nullptr ? startRun(reset, ifNums) : 0;
  if (runId == 0) {
    return ERR_GENERAL;
  }

  cJSON_SetNumberValue(cJSON_GetObjectItem(answer.get(), kRunIdKey), static_cast<double>(runId));
  *result = std::move(answer);
  return RESULT_OK;
} catch (const std::bad_alloc&) {
  return ERR_GENERAL;  // thrown only while the ports are resolved, so no run has begun
}
