#include "ipc/connections.h"

#include <sys/socket.h>

#include "base/thread_annotations.h"

namespace {

enum class Stage : uint8_t { reading, working, leaving };

struct Connection {
  int descriptor;
  Stage stage;
  uint64_t lastHeard;  // when, as a count of what was heard from all
};

Mutex connectionsMutex;
Connection connections[kMaxConnections] GUARDED_BY(
    connectionsMutex);  // the first connectionCount are in use
int32_t connectionCount GUARDED_BY(connectionsMutex) = 0;
uint64_t heardCount GUARDED_BY(connectionsMutex) = 0;

Connection* find(int descriptor) REQUIRES(connectionsMutex) {
  for (int32_t i = 0; i < connectionCount; ++i) {
    if (connections[i].descriptor == descriptor) {
      return &connections[i];
    }
  }
  return nullptr;
}

// Null when every connection is being worked, or one is leaving already.
Connection* findToLeave() REQUIRES(connectionsMutex) {
  Connection* longestSilent = nullptr;
  for (Connection& connection : connections) {
    if (connection.stage == Stage::leaving) {
      return nullptr;
    }
    const bool isSilentLonger =
        longestSilent == nullptr || connection.lastHeard < longestSilent->lastHeard;
    if (connection.stage == Stage::reading && isSilentLonger) {
      longestSilent = &connection;
    }
  }
  return longestSilent;
}

}  // namespace

bool connectionsHaveRoom() {
  const MutexLock lock(connectionsMutex);
  return connectionCount < kMaxConnections;
}

void connectionsMakeRoom() {
  const MutexLock lock(connectionsMutex);
  Connection* leaving = connectionCount == kMaxConnections ? findToLeave() : nullptr;
  if (leaving != nullptr) {
    leaving->stage = Stage::leaving;
    shutdown(leaving->descriptor, SHUT_RDWR);
  }
}

void connectionAdd(int connection) {
  const MutexLock lock(connectionsMutex);
  connections[connectionCount++] = {connection, Stage::reading, ++heardCount};
}

void connectionHeard(int connection) {
  const MutexLock lock(connectionsMutex);
  Connection* heard = find(connection);
  if (heard != nullptr) {
    heard->lastHeard = ++heardCount;
  }
}

bool connectionToWork(int connection) {
  const MutexLock lock(connectionsMutex);
  Connection* complete = find(connection);
  if (complete == nullptr) {
    return true;
  }
  if (complete->stage == Stage::leaving) {
    return false;
  }
  complete->stage = Stage::working;
  return true;
}

void connectionRemove(int connection) {
  const MutexLock lock(connectionsMutex);
  Connection* gone = find(connection);
  if (gone != nullptr) {
    *gone = connections[--connectionCount];
  }
}
