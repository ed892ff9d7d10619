// The parameter rules that methods share. Keys are looked up ignoring case.
#ifndef QUORIN_IPC_RPC_PARAMS_H
#define QUORIN_IPC_RPC_PARAMS_H

#include <cstdint>

struct cJSON;

// "unit": a number whose integer value is at least 1. False, with *unit untouched, when it is not.
bool rpcUnitParam(const cJSON* params, int32_t* unit);

// An identifier under the given key: a number, truncated to 64 bits, at least 1. False, with *id
// untouched, when it is not.
bool rpcIdParam(const cJSON* params, const char* key, int64_t* id);

#endif
