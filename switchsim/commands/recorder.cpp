#include "switchsim/commands/recorder.h"

#include <poll.h>
#include <sys/socket.h>

#include <cstdio>

#include "base/send_all.h"
#include "base/sleep.h"
#include "cli/lab_clock.h"
#include "switchsim/lab/socket_server.h"

namespace switchsim {
namespace {

class Relay {
 public:
  Relay(int client, int daemon) : client_(client), daemon_(daemon) {}

  // False when it was cut off.
  bool run(int stopFd) {
    bool goesOn = true;
    while (goesOn) {
      pollfd ready[] = {
          {isClientDone_ ? -1 : client_, POLLIN, 0}, {daemon_, POLLIN, 0}, {stopFd, POLLIN, 0}};
      poll(ready, 3, -1);
      if (ready[2].revents != 0) {
        return false;
      }
      if (ready[0].revents != 0) {
        passRequest();
      }
      goesOn = ready[1].revents == 0 || passAnswer();
    }
    exchange_.tookMs = monotonicMs() - requestedMs_;
    return true;
  }

  const Exchange& exchange() const { return exchange_; }
  bool isEmpty() const { return !isRequested_ && exchange_.answer.empty(); }

 private:
  // What follows the newline is passed on, but is no part of the request.
  void passRequest() {
    const ssize_t n = recv(client_, chunk_, sizeof chunk_, 0);
    if (n <= 0) {
      isClientDone_ = true;
      shutdown(daemon_, SHUT_WR);
      noteRequest(!exchange_.request.empty());
      return;
    }

    const std::string_view bytes(chunk_, static_cast<size_t>(n));
    if (!isRequested_) {
      exchange_.request += bytes.substr(0, bytes.find('\n'));
      noteRequest(bytes.find('\n') != std::string_view::npos);
    }
    isClientDone_ = !sendAll(daemon_, {bytes});
  }

  void noteRequest(bool isWhole) {
    if (isWhole && !isRequested_) {
      isRequested_ = true;
      requestedMs_ = monotonicMs();
      exchange_.atMs = systemMs();
    }
  }

  // False at the end. A client that has gone does not cut the record short.
  bool passAnswer() {
    const ssize_t n = recv(daemon_, chunk_, sizeof chunk_, 0);
    if (n <= 0) {
      return false;
    }
    const std::string_view bytes(chunk_, static_cast<size_t>(n));
    exchange_.answer += bytes;
    isClientGone_ = isClientGone_ || !sendAll(client_, {bytes});
    return true;
  }

  int client_;
  int daemon_;
  bool isClientDone_ = false;  // sends no more
  bool isClientGone_ = false;  // takes no more
  bool isRequested_ = false;   // the request is whole
  int64_t requestedMs_ = monotonicMs();
  Exchange exchange_{systemMs(), 0, "", ""};
  char chunk_[65536];
};

}  // namespace

void recordConnection(int client, const std::string& daemonPath, int stopFd, RecordingFile* file) {
  std::string error;
  const UniqueFd daemon = connectTo(daemonPath, &error);
  if (!daemon) {
    fprintf(stderr, "switchsim: %s\n", error.c_str());
    return;
  }

  const auto relay = std::make_unique<Relay>(client, daemon.get());
  if (relay->run(stopFd) && !relay->isEmpty()) {
    file->append(relay->exchange());
  }
}

}  // namespace switchsim
