#include "client/rpc_client.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

#include "base/send_all.h"
#include "base/unique_fd.h"

namespace {

constexpr size_t kReadBytes = 65536;

bool connectTo(int connection, const std::string& socketPath) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socketPath.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  memcpy(address.sun_path, socketPath.c_str(), socketPath.size() + 1);
  return connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

bool receiveAll(int connection, std::string* text) {
  std::string chunk(kReadBytes, '\0');
  for (;;) {
    const ssize_t n = recv(connection, chunk.data(), chunk.size(), 0);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n < 0) {
      return false;
    }
    if (n == 0) {
      return true;
    }
    text->append(chunk, 0, static_cast<size_t>(n));
  }
}

}  // namespace

bool rpcExchange(const std::string& socketPath, const std::string& request, std::string* answer,
                 std::string* error) {
  const UniqueFd connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!connection || !connectTo(connection.get(), socketPath)) {
    *error = strerror(errno);
    return false;
  }
  if (!sendAll(connection.get(), {request, "\n"}) || !receiveAll(connection.get(), answer)) {
    *error = strerror(errno);
    return false;
  }
  if (answer->empty() || answer->back() != '\n') {
    *error = "the connection was closed before the answer was complete";
    return false;
  }

  answer->pop_back();
  return true;
}
