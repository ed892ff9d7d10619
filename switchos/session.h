// The session with the switch OS.
#ifndef QUORIN_SWITCHOS_SESSION_H
#define QUORIN_SWITCHOS_SESSION_H

#include <cstdint>

#include "switchos/openclt.h"

// The process's one client handle, passed to every operation of the switch OS. Zero until
// initHandler fills it, valid until openapiClientTearDown. Used by all threads without a lock: the
// client library is safe for concurrent calls.
extern OpenClientHandle openApiClient;

// Registers this process as "<name>_<pid>" ("common_<pid>" for a null name; at most 99 characters)
// and waits for the server: up to 7 checks, 3 seconds apart. Logs the versions of the switch OS and
// of its interface; failing to read them is not a failure. Returns 0, or -1 when registering fails
// or no server answers.
int32_t initHandler(const char* name, OpenClientHandle* handle);

#endif
