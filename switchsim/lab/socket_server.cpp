#include "switchsim/lab/socket_server.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <optional>
#include <system_error>

#include "base/sleep.h"

namespace switchsim {
namespace {

constexpr int kBacklog = 64;
constexpr mode_t kWithoutOthers = 0117;  // what is left of 0777 is 0660
// Running out of descriptors makes accept fail at once, until a connection ends.
constexpr int32_t kFailedAcceptPauseMs = 100;

std::string why(const std::string& what) {
  return what + ": " + strerror(errno);
}

std::optional<sockaddr_un> addressOf(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    errno = path.empty() ? EINVAL : ENAMETOOLONG;
    return std::nullopt;
  }
  memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

UniqueFd unixSocket() {
  return UniqueFd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

// Makes the path free for a socket. Empty, or why it is not.
std::string freePath(const std::string& path) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) {
    return "";
  }
  if (!S_ISSOCK(status.st_mode)) {
    return path + " is there already, and no socket";
  }

  std::string refused;
  if (connectTo(path, &refused)) {
    return "somebody listens at " + path + " already";
  }
  return unlink(path.c_str()) == 0 ? "" : why("cannot replace " + path);
}

// Of the two signals, which are blocked for this thread and those that it starts.
UniqueFd blockSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return UniqueFd(signalfd(-1, &signals, SFD_CLOEXEC));
}

}  // namespace

UniqueFd connectTo(const std::string& path, std::string* error) {
  const std::optional<sockaddr_un> address = addressOf(path);
  UniqueFd connection = unixSocket();
  if (!address || connect(connection.get(), reinterpret_cast<const sockaddr*>(&*address),
                          sizeof *address) != 0) {
    *error = why("nobody answers at " + path);
    return {};
  }
  return connection;
}

SocketServer::~SocketServer() {
  if (!path_.empty()) {
    unlink(path_.c_str());
  }
}

std::string SocketServer::listenAt(const std::string& path) {
  std::string taken = freePath(path);
  if (!taken.empty()) {
    return taken;
  }

  const std::optional<sockaddr_un> address = addressOf(path);
  listener_ = unixSocket();
  const mode_t mask = umask(kWithoutOthers);
  const bool isBound =
      address &&
      bind(listener_.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0;
  umask(mask);
  if (!isBound || listen(listener_.get(), kBacklog) != 0) {
    return why("cannot listen at " + path);
  }

  path_ = path;
  signals_ = blockSignals();
  return signals_ ? "" : why("no descriptor for signals");
}

void SocketServer::run(const Serve& serve) {
  pollfd ready[] = {{listener_.get(), POLLIN, 0}, {signals_.get(), POLLIN, 0}};
  for (;;) {
    poll(ready, 2, -1);
    if (ready[1].revents != 0) {
      return endAll();
    }
    if (ready[0].revents != 0) {
      joinEnded();
      acceptOne(serve);
    }
  }
}

void SocketServer::acceptOne(const Serve& serve) {
  UniqueFd accepted(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  if (!accepted) {
    sleepMilliseconds(kFailedAcceptPauseMs);
    return;
  }

  Connection* connection = &connections_.emplace_back();
  connection->fd = std::move(accepted);
  try {
    connection->thread = std::thread([this, connection, serve] { serveOne(connection, serve); });
  } catch (const std::system_error& error) {
    fprintf(stderr, "switchsim: a connection is closed: %s\n", error.what());
    connections_.pop_back();
  }
}

void SocketServer::serveOne(Connection* connection, const Serve& serve) {
  try {
    serve(connection->fd.get(), signals_.get());
  } catch (const std::exception& error) {
    fprintf(stderr, "switchsim: a connection is closed: %s\n", error.what());
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  connection->fd.reset(-1);
  connection->hasEnded = true;
}

void SocketServer::joinEnded() {
  const auto isOver = [this](Connection& connection) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (!connection.hasEnded) {
        return false;
      }
    }
    connection.thread.join();
    return true;
  };
  connections_.remove_if(isOver);
}

void SocketServer::endAll() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const Connection& connection : connections_) {
      shutdown(connection.fd.get(), SHUT_RDWR);
    }
  }
  for (Connection& connection : connections_) {
    connection.thread.join();
  }
  connections_.clear();
}

}  // namespace switchsim
