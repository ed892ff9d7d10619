#include "ipc/request_reader.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr size_t kChunkBytes = 4096;

ssize_t receive(int connection, char* bytes, size_t size, int flags) {
  ssize_t received = 0;
  do {
    received = recv(connection, bytes, size, flags);
  } while (received < 0 && errno == EINTR);
  return received;
}

}  // namespace

bool readRequest(int connection, std::string* request) {
  char chunk[kChunkBytes];
  for (;;) {
    // Looking first and then taking just what belongs to the request spares a system call for every byte.
    const ssize_t waiting = receive(connection, chunk, sizeof chunk, MSG_PEEK);
    if (waiting <= 0) {
      return waiting == 0 && !request->empty();
    }
    const auto* newline = static_cast<const char*>(memchr(chunk, '\n', static_cast<size_t>(waiting)));
    const size_t textBytes = newline != nullptr ? static_cast<size_t>(newline - chunk) : static_cast<size_t>(waiting);
    if (request->size() + textBytes > kMaxRequestBytes) {
      return false;
    }
    const size_t take = textBytes + (newline != nullptr ? 1 : 0);
    const ssize_t taken = receive(connection, chunk, take, MSG_WAITALL);
    if (taken != static_cast<ssize_t>(take)) {
      return false;
    }
    request->append(chunk, textBytes);
    if (newline != nullptr) {
      return true;
    }
  }
}
