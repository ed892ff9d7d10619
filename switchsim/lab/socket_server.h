// A listening Unix socket that serves each of its connections on a thread, until SIGINT or SIGTERM.
#ifndef QUORIN_SWITCHSIM_LAB_SOCKET_SERVER_H
#define QUORIN_SWITCHSIM_LAB_SOCKET_SERVER_H

#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "base/unique_fd.h"

namespace switchsim {

// Connects to a socket; none, and why in *error, when nobody listens there.
UniqueFd connectTo(const std::string& path, std::string* error);

class SocketServer {
 public:
  // Serves a connection; from several threads at once. It must return soon after stopFd is
  // readable; its connection is shut down then.
  using Serve = std::function<void(int connection, int stopFd)>;

  SocketServer() = default;
  ~SocketServer();  // removes the socket
  SocketServer(const SocketServer&) = delete;
  SocketServer& operator=(const SocketServer&) = delete;

  // Listens, for owner and group (0660). A socket that nobody listens on is replaced; another
  // file, or one where somebody does, is left alone. Empty, or why not. From here on SIGINT and
  // SIGTERM end `run` instead of the process. REQUIRES: no other thread runs yet.
  std::string listenAt(const std::string& path);
  // Serves until one of the signals comes and every connection has ended.
  void run(const Serve& serve);

 private:
  struct Connection {
    UniqueFd fd;
    std::thread thread;
    bool hasEnded = false;  // guarded by mutex_
  };

  void acceptOne(const Serve& serve);
  void serveOne(Connection* connection, const Serve& serve);
  void joinEnded();
  void endAll();

  std::string path_;  // empty until it listens
  UniqueFd listener_;
  UniqueFd signals_;
  std::mutex mutex_;
  std::list<Connection> connections_;  // only run's thread adds and removes
};

}  // namespace switchsim

#endif
