#include "ipc/request_reader.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/clock.h"
#include "daemon/bounds.h"
#include "ipc/connections.h"

namespace {

constexpr size_t kLeastRoomBytes = 4096;
constexpr size_t kReadBytes =
    16384;  // of the stack: a few pages, and few calls for a large request

// Waits until there is something to receive, or the connection's end; meanwhile it may have to make
// room, and then this is false.
bool waitForMore(int connection, const HeldBytes& held) {
  connectionWaits(connection, held.counted());
  pollfd readable{connection, POLLIN, 0};
  while (clockPoll(&readable, 1, -1) < 0 && errno == EINTR) {
  }
  return connectionSpoke(connection);
}

ssize_t receive(int connection, char* bytes, size_t size) {
  ssize_t received = 0;
  do {
    received = recv(connection, bytes, size, 0);
  } while (received < 0 && errno == EINTR);
  return received;
}

// Makes room for so many bytes of the request, in steps that double.
bool reserve(size_t bytes, HeldBytes* held, std::string* request) {
  if (bytes > kMaxRequestBytes) {
    boundReached(Bound::requestBytes);
    return false;
  }
  if (bytes <= request->capacity()) {
    return true;
  }
  const size_t room = std::max({bytes, 2 * request->capacity(), kLeastRoomBytes});
  if (!held->resize(room)) {
    return false;
  }
  request->reserve(room);
  return true;
}

}  // namespace

bool readRequest(int connection, HeldBytes* held, std::string* request) {
  char chunk[kReadBytes];
  while (waitForMore(connection, *held)) {
    const ssize_t received = receive(connection, chunk, sizeof chunk);
    if (received <= 0) {
      return received == 0 && !request->empty();
    }
    const auto* newline =
        static_cast<const char*>(memchr(chunk, '\n', static_cast<size_t>(received)));
    const size_t textBytes =
        newline != nullptr ? static_cast<size_t>(newline - chunk) : static_cast<size_t>(received);
    if (!reserve(request->size() + textBytes, held, request)) {
      return false;
    }

    request->append(chunk, textBytes);
    if (newline != nullptr) {
      return true;
    }
  }
  return false;
}
