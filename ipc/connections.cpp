#include "ipc/connections.h"

#include <poll.h>
#include <sys/socket.h>

#include "base/clock.h"
#include "base/sleep.h"
#include "base/thread_annotations.h"
#include "daemon/bounds.h"

namespace {

enum class Stage : uint8_t { waiting, working, leaving };

struct Connection {
  int descriptor;
  Stage stage;
  int64_t lastHeardMs;  // monotonic
  size_t heldBytes;     // while it waits
};

Mutex connectionsMutex;
Connection connections[kMaxConnections] GUARDED_BY(
    connectionsMutex);  // the first connectionCount are in use
int32_t connectionCount GUARDED_BY(connectionsMutex) = 0;

Connection* find(int descriptor) REQUIRES(connectionsMutex) {
  for (int32_t i = 0; i < connectionCount; ++i) {
    if (connections[i].descriptor == descriptor) {
      return &connections[i];
    }
  }
  return nullptr;
}

bool hasUnread(const Connection& connection) {
  pollfd socket{connection.descriptor, POLLIN, 0};
  return clockPoll(&socket, 1, 0) != 0;
}

// Sees to it that one that holds so many bytes leaves: the one that has been silent longest, unless
// one is on its way already. False when there is none.
bool makeOneLeave(size_t leastHeldBytes) REQUIRES(connectionsMutex) {
  Connection* longestSilent = nullptr;
  int64_t heardBeforeMs = monotonicMs() - kMinSilentMs + 1;
  for (int32_t i = 0; i < connectionCount; ++i) {
    Connection& connection = connections[i];
    if (connection.stage == Stage::working || connection.heldBytes < leastHeldBytes) {
      continue;
    }
    if (connection.stage == Stage::leaving) {
      return true;
    }
    if (connection.lastHeardMs < heardBeforeMs && !hasUnread(connection)) {
      longestSilent = &connection;
      heardBeforeMs = connection.lastHeardMs;
    }
  }
  if (longestSilent == nullptr) {
    return false;
  }

  longestSilent->stage = Stage::leaving;
  shutdown(longestSilent->descriptor, SHUT_RDWR);
  boundReached(Bound::connections);
  return true;
}

}  // namespace

bool connectionsHaveRoom() {
  const MutexLock lock(connectionsMutex);
  return connectionCount < kMaxConnections;
}

void connectionsMakeRoom() {
  const MutexLock lock(connectionsMutex);
  if (connectionCount == kMaxConnections) {
    makeOneLeave(0);
  }
}

bool connectionsFreeMemory() {
  const MutexLock lock(connectionsMutex);
  return makeOneLeave(1);
}

void connectionAdd(int connection) {
  const MutexLock lock(connectionsMutex);
  connections[connectionCount++] = {connection, Stage::working, monotonicMs(), 0};
}

void connectionWaits(int connection, size_t heldBytes) {
  const MutexLock lock(connectionsMutex);
  Connection* waits = find(connection);
  if (waits != nullptr) {
    waits->stage = Stage::waiting;
    waits->heldBytes = heldBytes;
  }
}

bool connectionSpoke(int connection) {
  const MutexLock lock(connectionsMutex);
  Connection* spoke = find(connection);
  if (spoke == nullptr) {
    return true;
  }
  if (spoke->stage == Stage::leaving) {
    return false;
  }
  spoke->stage = Stage::working;
  spoke->lastHeardMs = monotonicMs();
  return true;
}

void connectionRemove(int connection) {
  const MutexLock lock(connectionsMutex);
  Connection* gone = find(connection);
  if (gone != nullptr) {
    *gone = connections[--connectionCount];
  }
}
