// One exchange over the socket, within a time.
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "api/link.h"
#include "base/sleep.h"
#include "base/unique_fd.h"
#include "cli/failure.h"
#include "cli/files.h"
#include "cli/lab_clock.h"
#include "cli/text.h"
#include "cli/times.h"

namespace {

constexpr size_t kReadBytes = 65536;
constexpr int64_t kNoticeMs = 2000;
constexpr int32_t kBacklogPauseMs = 50;
constexpr int64_t kMaxPollMs = 60000;

[[noreturn]] void failNoDaemon(const std::string& socketPath, const std::string& why) {
  throw Failure(kExitNoDaemon,
                "no daemon answers at " + escaped(socketPath) + ": " + why +
                    "\nIs quorin_poed running? Start it, or name its socket with --socket PATH.");
}

[[noreturn]] void failNotPermitted(const std::string& socketPath) {
  struct stat status {};
  if (stat(socketPath.c_str(), &status) != 0) {
    throw Failure(kExitNotPermitted, "not allowed to look for the socket " + escaped(socketPath) +
                                         ": its folder is closed to this user");
  }
  const std::string group = groupName(status.st_gid);
  throw Failure(kExitNotPermitted, "not allowed to use the socket (" + userName(status.st_uid) +
                                       ":" + group + "): ask to be added to group " + group);
}

// The time that an exchange has, and what is said when it runs long.
class Patience {
 public:
  Patience(std::string method, int64_t timeoutMs,
           const std::function<void(const std::string&)>& say)
      : method_(std::move(method)), timeoutMs_(timeoutMs), say_(say) {}

  // Waits until the socket is ready for the events. Throws when the time is over.
  void waitFor(int connection, short events) {
    pollfd waited{connection, events, 0};
    int ready = 0;
    while (ready <= 0) {
      ready = poll(&waited, 1, static_cast<int>(sliceMs()));
      check();
    }
  }
  // Throws when the time is over; else says once that it takes long.
  void check() {
    const int64_t elapsedMs = monotonicMs() - startMs_;
    if (elapsedMs >= timeoutMs_) {
      fail();
    }
    if (!isNoticed_ && elapsedMs >= kNoticeMs) {
      isNoticed_ = true;
      notice();
    }
  }

 private:
  int64_t sliceMs() const {
    const int64_t elapsedMs = monotonicMs() - startMs_;
    const int64_t endMs = isNoticed_ ? timeoutMs_ : std::min(timeoutMs_, kNoticeMs);
    return std::clamp<int64_t>(endMs - elapsedMs, 0, kMaxPollMs);
  }
  void notice() const {
    if (method_.rfind("schedule.", 0) == 0 && !labFolder().empty() && systemSpeed() == 0) {
      throw Failure(kExitTimedOut,
                    std::string("the lab stands in the middle of a sweep, and ") +
                        (isChange(method_) ? "this is done" : "the answer comes") +
                        " once it goes on: switchsim lab at TIME, or switchsim lab speed 1");
    }
    if (say_) {
      const bool mayBeSwept = method_.rfind("schedule.", 0) == 0;
      say_(std::string("waiting for the daemon") +
           (mayBeSwept ? ", which may be switching ports of a schedule" : "") + ": up to " +
           durationText(timeoutMs_ - kNoticeMs) + " more (--timeout)");
    }
  }
  [[noreturn]] void fail() const {
    std::string text = "no answer to " + escaped(method_) + " within " + durationText(timeoutMs_) +
                       ": the daemon is busy or hangs.";
    text += isChange(method_) ? " It may still be done: look before you send it again."
                              : " Try again, or wait longer with --timeout.";
    throw Failure(kExitTimedOut, text);
  }

  std::string method_;
  int64_t timeoutMs_;
  const std::function<void(const std::string&)>& say_;
  int64_t startMs_ = monotonicMs();
  bool isNoticed_ = false;
};

sockaddr_un addressOf(const std::string& socketPath) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socketPath.size() >= sizeof address.sun_path) {
    failNoDaemon(socketPath, strerror(ENAMETOOLONG));
  }
  memcpy(address.sun_path, socketPath.c_str(), socketPath.size() + 1);
  return address;
}

// EAGAIN is a full queue of the daemon's: it will take us when it has worked some off.
UniqueFd connected(const std::string& socketPath, Patience* patience) {
  const sockaddr_un address = addressOf(socketPath);
  UniqueFd connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  while (!connection || connect(connection.get(), reinterpret_cast<const sockaddr*>(&address),
                                sizeof address) != 0) {
    if (errno == EACCES || errno == EPERM) {
      failNotPermitted(socketPath);
    }
    if (errno != EAGAIN && errno != EINTR) {
      failNoDaemon(socketPath, strerror(errno));
    }
    patience->check();
    sleepMilliseconds(kBacklogPauseMs);
  }
  return connection;
}

// False, with errno, when the daemon takes no more.
bool sendWithin(int connection, const std::string& bytes, Patience* patience) {
  size_t sent = 0;
  while (sent < bytes.size()) {
    patience->waitFor(connection, POLLOUT);
    const ssize_t n = send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (n < 0 && errno != EAGAIN && errno != EINTR) {
      return false;
    }
    sent += n > 0 ? static_cast<size_t>(n) : 0;
  }
  return true;
}

// False, with errno, when the stream breaks off; at its end true.
bool receiveWithin(int connection, std::string* text, Patience* patience) {
  std::string chunk(kReadBytes, '\0');
  for (;;) {
    patience->waitFor(connection, POLLIN);
    const ssize_t n = recv(connection, chunk.data(), chunk.size(), 0);
    if (n == 0) {
      return true;
    }
    if (n < 0 && errno != EAGAIN && errno != EINTR) {
      return false;
    }
    text->append(chunk, 0, n > 0 ? static_cast<size_t>(n) : 0);
  }
}

}  // namespace

std::string SocketDaemon::exchange(const std::string& method, const std::string& requestLine) {
  Patience patience(method, timeoutMs_, say_);
  const UniqueFd connection = connected(socketPath_, &patience);
  const char* mayBeDone = isChange(method) ? " (it may still be done)" : "";

  std::string answer;
  if (!sendWithin(connection.get(), requestLine + "\n", &patience) ||
      !receiveWithin(connection.get(), &answer, &patience)) {
    failNoDaemon(socketPath_, std::string(strerror(errno)) + mayBeDone);
  }
  if (answer.empty() || answer.back() != '\n') {
    failNoDaemon(socketPath_, std::string("the connection was closed before the answer was "
                                          "complete") +
                                  mayBeDone);
  }

  answer.pop_back();
  return answer;
}
