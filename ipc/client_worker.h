// One connection: one request in, one answer out.
#ifndef QUORIN_IPC_CLIENT_WORKER_H
#define QUORIN_IPC_CLIENT_WORKER_H

#include <cstdint>

struct cJSON;

// Thread body: serves the connection whose descriptor is passed as the pointer's value, and closes it. A request that
// can't be read, is empty or finds no memory gets no answer, only the closed connection. Returns null.
void* clientWorker(void* descriptor);

// Writes {"ok", "error" unless code is 0, "result" if there is one} and a newline. Gives up silently when the client is
// gone. result may be null and stays the caller's.
void sendResponse(int connection, int32_t code, const cJSON* result);

#endif
