// One connection: one request in, one answer out.
#ifndef QUORIN_IPC_CLIENT_WORKER_H
#define QUORIN_IPC_CLIENT_WORKER_H

#include <cstdint>

#include "base/json.h"

// Thread body: serves the connection whose descriptor is passed as the pointer's value, and closes
// it. A request that can't be read, is empty or finds no memory gets no answer, only the closed
// connection; so does one that had to make room for another connection. Large requests are carried
// out one at a time: their trees take many times their text. Returns null.
void* clientWorker(void* descriptor);

// Writes {"ok", "error" unless code is 0, "result" if there is one} and a newline. Gives up
// silently when the client is gone or takes nothing for 30 seconds, or when clients make the daemon
// hold too much. result may be null; it is printed and freed before the first byte is sent.
void sendResponse(int connection, int32_t code, JsonPtr result);

#endif
