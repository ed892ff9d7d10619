// Preloaded into clients of the daemon. Appends to the file that EXCHANGES names what each sends
// and is answered: a line with the number of bytes of both, then their bytes. What is not answered
// whole, or at greater length than a contract needs, is left out.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

namespace {

constexpr const char* kSocketName = "/quorin_poed.sock";
constexpr size_t kMaxBytes = 65536;

struct Exchange {
  std::string request;
  std::string answer;
};

// Of the connections to a daemon. Never destroyed: threads may outlast main.
std::mutex& mutex = *new std::mutex;
std::map<int, Exchange>& exchanges = *new std::map<int, Exchange>;  // guarded by mutex

template <typename Function>
Function* real(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool isDaemon(const sockaddr* address) {
  if (address->sa_family != AF_UNIX) {
    return false;
  }
  const std::string path = reinterpret_cast<const sockaddr_un*>(address)->sun_path;
  const size_t tail = strlen(kSocketName);
  return path.size() > tail && path.compare(path.size() - tail, tail, kSocketName) == 0;
}

void append(std::string Exchange::*text, int connection, const void* bytes, size_t size) {
  const std::lock_guard<std::mutex> lock(mutex);
  const auto found = exchanges.find(connection);
  if (found != exchanges.end() && (found->second.*text).size() <= kMaxBytes) {
    (found->second.*text).append(static_cast<const char*>(bytes), size);
  }
}

void write(const Exchange& exchange) {
  const auto& [request, answer] = exchange;
  const char* path = getenv("EXCHANGES");
  if (path == nullptr || answer.empty() || answer.back() != '\n' ||
      request.size() + answer.size() > kMaxBytes) {
    return;
  }
  const std::string record = std::to_string(request.size()) + " " + std::to_string(answer.size()) +
                             "\n" + request + answer;
  const int file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (file < 0 || ::write(file, record.data(), record.size()) < 0) {
    abort();
  }
  real(close, "close")(file);
}

}  // namespace

extern "C" {

int connect(int connection, const sockaddr* address, socklen_t size) {
  const int result = real(connect, "connect")(connection, address, size);
  if (result == 0 && isDaemon(address)) {
    const std::lock_guard<std::mutex> lock(mutex);
    exchanges[connection] = {};
  }
  return result;
}

ssize_t send(int connection, const void* bytes, size_t size, int flags) {
  const ssize_t sent = real(send, "send")(connection, bytes, size, flags);
  if (sent > 0) {
    append(&Exchange::request, connection, bytes, static_cast<size_t>(sent));
  }
  return sent;
}

ssize_t sendmsg(int connection, const msghdr* message, int flags) {
  const ssize_t sent = real(sendmsg, "sendmsg")(connection, message, flags);
  size_t left = sent > 0 ? static_cast<size_t>(sent) : 0;
  for (size_t i = 0; left > 0; ++i) {
    const iovec& part = message->msg_iov[i];
    const size_t bytes = part.iov_len < left ? part.iov_len : left;
    append(&Exchange::request, connection, part.iov_base, bytes);
    left -= bytes;
  }
  return sent;
}

ssize_t recv(int connection, void* bytes, size_t size, int flags) {
  const ssize_t received = real(recv, "recv")(connection, bytes, size, flags);
  if (received > 0 && (flags & MSG_PEEK) == 0) {
    append(&Exchange::answer, connection, bytes, static_cast<size_t>(received));
  }
  return received;
}

int close(int descriptor) {
  Exchange ended;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = exchanges.find(descriptor);
    if (found != exchanges.end()) {
      ended = std::move(found->second);
      exchanges.erase(found);
    }
  }
  write(ended);
  return real(close, "close")(descriptor);
}
}
