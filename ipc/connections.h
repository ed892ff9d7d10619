// The connections that are open, so that there are never too many of them.
//
// A connection is read until its request is complete, then worked; in the end its worker closes it.
// One that is still being read may have to make room: it is shut down, and its worker finds so and
// closes it. All of it happens under one lock, so a descriptor is never shut down after it was
// closed, and a request that is being worked is never cut off. Every function takes that lock for
// its own duration; no other lock is taken under it.
#ifndef QUORIN_IPC_CONNECTIONS_H
#define QUORIN_IPC_CONNECTIONS_H

#include <cstdint>

constexpr int32_t kMaxConnections = 256;

// Whether one more fits.
bool connectionsHaveRoom();

// Where none fits and none is on its way out yet, shuts down the one that has been silent longest
// among those whose request is not complete; where all are being worked there is nothing to do but
// to ask again.
void connectionsMakeRoom();

// Notes a connection that is read from now on. REQUIRES: connectionsHaveRoom said yes, to the same
// thread.
void connectionAdd(int connection);

// The connection has sent something.
void connectionHeard(int connection);

// The connection's request is complete. False when it had to make room: then there is no answer.
// Always true for a connection that was never added.
bool connectionToWork(int connection);

// Forgets the connection. REQUIRES: it is closed only afterwards, since its number may be another's
// at once.
void connectionRemove(int connection);

#endif
