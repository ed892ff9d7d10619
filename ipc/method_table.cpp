#include "ipc/method_table.h"

#include <cstring>

#include "ipc/history_methods.h"
#include "ipc/manual_reset.h"
#include "ipc/sensors_method.h"

const RpcMethod rpcMethodTable[] = {
    {"history.list", rpcHistoryList},
    {"history.detail", rpcHistoryDetail},
    {"manual.reset", rpcManualReset},
    {"sensors.all", rpcSensorsAll},
    {nullptr, nullptr},
};

RpcHandler rpcFindMethod(const char* name) {
  for (const RpcMethod* method = rpcMethodTable; method->name != nullptr; ++method) {
    if (strcmp(method->name, name) == 0) {
      return method->handler;
    }
  }
  return nullptr;
}
