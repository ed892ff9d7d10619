// The connections that are open, so that there are never too many of them.
//
// A connection's worker waits for more of the request, takes it, and in the end works. While it
// waits it may be told to leave: the connection is shut down, and the worker finds so and closes
// it. That happens only to one that has been silent for kMinSilentMs with nothing unread in its
// socket, so no client that goes on sending loses its answer. All of it happens under one lock, so
// a descriptor is never shut down after it was closed. Every function takes that lock for its own
// duration; no other lock is taken under it.
#ifndef QUORIN_IPC_CONNECTIONS_H
#define QUORIN_IPC_CONNECTIONS_H

#include <cstddef>
#include <cstdint>

constexpr int32_t kMaxConnections = 256;
constexpr int64_t kMinSilentMs = 500;

// Whether one more fits.
bool connectionsHaveRoom();

// Where none fits and none is on its way out yet, tells the one to leave that has been silent
// longest; where none may be told there is nothing to do but to ask again.
void connectionsMakeRoom();

// The same to the one that has been silent longest of those that hold memory. False where there is
// none, true when one is on its way out: what it holds is free in a moment.
bool connectionsFreeMemory();

// Notes a connection. REQUIRES: connectionsHaveRoom said yes, to the same thread.
void connectionAdd(int connection);

// Its worker waits for more of the request from now on, holding so many bytes of
// ipc/held_bytes.h. May be called for a connection that was never added, like connectionSpoke; both
// then do nothing.
void connectionWaits(int connection, size_t heldBytes);

// There is something to take, or its end: from now on it can't be told to leave. False when it was:
// then there is no answer.
bool connectionSpoke(int connection);

// Forgets the connection. REQUIRES: it is closed only afterwards, since its number may be another's
// at once.
void connectionRemove(int connection);

#endif
