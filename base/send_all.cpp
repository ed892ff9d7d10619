#include "base/send_all.h"

#include <sys/socket.h>

#include <cerrno>

bool sendAll(int connection, const std::string& bytes) {
  size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t n = send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (n < 0 && errno != EINTR) {
      return false;
    }
    sent += n > 0 ? static_cast<size_t>(n) : 0;
  }
  return true;
}
