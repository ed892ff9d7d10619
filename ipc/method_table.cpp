#include "ipc/method_table.h"

#include <cstring>

#include "ipc/boot_delay_methods.h"
#include "ipc/history_methods.h"
#include "ipc/manual_reset.h"
#include "ipc/schedule_methods.h"
#include "ipc/sensors_method.h"

const RpcMethod rpcMethodTable[] = {
    {"schedule.list", rpcScheduleList},     {"schedule.create", rpcScheduleCreate},
    {"schedule.get", rpcScheduleGet},       {"schedule.update", rpcScheduleUpdate},
    {"schedule.delete", rpcScheduleDelete}, {"history.list", rpcHistoryList},
    {"history.detail", rpcHistoryDetail},   {"manual.reset", rpcManualReset},
    {"sensors.all", rpcSensorsAll},         {"bootdelay.get", rpcBootDelayGet},
    {"bootdelay.set", rpcBootDelaySet},     {nullptr, nullptr},
};

RpcHandler rpcFindMethod(const char* name) {
  for (const RpcMethod* method = rpcMethodTable; method->name != nullptr; ++method) {
    if (strcmp(method->name, name) == 0) {
      return method->handler;
    }
  }
  return nullptr;
}
