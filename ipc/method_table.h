// The methods of the control interface.
#ifndef QUORIN_IPC_METHOD_TABLE_H
#define QUORIN_IPC_METHOD_TABLE_H

#include <cstdint>

#include "base/json.h"

// Carries out one method. params may be null; *result starts empty and may be filled whatever the
// code. Returns a result code, which goes to the client unchanged. Runs on the connection's worker
// thread, holding no lock.
using RpcHandler = int32_t (*)(const cJSON* params, JsonPtr* result);

struct RpcMethod {
  const char* name;
  RpcHandler handler;
};

// All methods, ended by an empty entry.
extern const RpcMethod rpcMethodTable[];

// The handler of the method with exactly this name, or null.
RpcHandler rpcFindMethod(const char* name);

#endif
