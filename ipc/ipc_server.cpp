#include "ipc/ipc_server.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/clock.h"
#include "base/detached_thread.h"
#include "base/unique_fd.h"
#include "daemon/bounds.h"
#include "daemon/daemon_context.h"
#include "daemon/paths.h"
#include "ipc/client_worker.h"
#include "ipc/connections.h"
#include "ipc/freed_memory.h"
#include "log/log.h"

namespace {

constexpr int kListenBacklog = 32;
constexpr int kStopPollMs = 500;
constexpr mode_t kSocketMode = 0660;
// Running out of descriptors makes accept fail at once, again and again, until a connection ends.
constexpr int32_t kFailedAcceptPauseMs = 1000;
// How long a new client waits before it is looked whether there is room for it now.
constexpr int32_t kFullPauseMs = 5;

bool bindSocket(int listener) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  snprintf(address.sun_path, sizeof address.sun_path, "%s", kSocketPath);
  return bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

// The listening socket, or none (logged).
UniqueFd openListener() {
  unlink(kSocketPath);
  UniqueFd listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!listener) {
    LOG_HERE(LOG_ERR, "socket(AF_UNIX) failed: %s", strerror(errno));
    return {};
  }
  if (!bindSocket(listener.get())) {
    LOG_HERE(LOG_ERR, "bind(%s) failed: %s", kSocketPath, strerror(errno));
    return {};
  }

  chmod(kSocketPath, kSocketMode);
  if (listen(listener.get(), kListenBacklog) != 0) {
    LOG_HERE(LOG_ERR, "listen() failed: %s", strerror(errno));
    return {};
  }

  return listener;
}

void serveConnection(UniqueFd connection) {
  const int descriptor = connection.get();
  connectionAdd(descriptor);
  if (startDetachedThread(clientWorker,
                          reinterpret_cast<void*>(static_cast<intptr_t>(descriptor))) != 0) {
    LOG_HERE(LOG_ERR, "client worker create failed: %s", strerror(errno));
    connectionRemove(descriptor);
    return;
  }
  connection.release();  // the worker's now
}

// Whether there may be another connection to accept.
bool acceptConnection(int listener) {
  UniqueFd connection(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
  if (connection) {
    serveConnection(std::move(connection));
    return true;
  }
  if (errno != EINTR && errno != EAGAIN) {
    LOG_HERE(LOG_ERR, "accept failed: %s", strerror(errno));
    clockPauseOutside(std::chrono::milliseconds(kFailedAcceptPauseMs));
  }
  return false;
}

// Accepts the connections that wait, as many as may at a time, as far as there is room; without
// any, one that is silent is told to leave, if there is one, and the new ones go on waiting.
void acceptWaiting(int listener) {
  int accepted = 0;
  while (accepted < kListenBacklog && !stopRequested() && connectionsHaveRoom() &&
         acceptConnection(listener)) {
    ++accepted;
  }
  if (accepted == 0 && !connectionsHaveRoom()) {
    connectionsMakeRoom();
    clockPauseOutside(std::chrono::milliseconds(kFullPauseMs));
  }
}

void acceptUntilStopped(int listener) {
  while (!stopRequested()) {
    pollfd readable{listener, POLLIN, 0};
    const int ready = clockPoll(&readable, 1, kStopPollMs);
    if (ready < 0 && errno != EINTR) {
      LOG_HERE(LOG_ERR, "poll failed: %s", strerror(errno));
      return;
    }
    if (ready > 0) {
      acceptWaiting(listener);
    }
    returnFreedMemory();
    boundsReport();
  }
}

}  // namespace

void* ipcServerThread(void*) {
  {
    const UniqueFd listener = openListener();
    if (!listener) {
      return nullptr;
    }
    LOG_HERE(LOG_INFO, "IPC listening on %s", kSocketPath);
    acceptUntilStopped(listener.get());
  }
  unlink(kSocketPath);
  LOG_HERE(LOG_INFO, "IPC server stopped");
  return nullptr;
}
