#include "base/send_all.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <array>
#include <cassert>
#include <cerrno>

#include "base/clock.h"
#include "base/sleep.h"

namespace {

constexpr int kPollMs = 1000;
constexpr int64_t kMaxSilentMs = int64_t{1000} * kMaxSilentSec;
constexpr size_t kMaxPieces = 8;

// What is still to be sent.
class Rest {
 public:
  explicit Rest(std::initializer_list<std::string_view> pieces) {
    assert(pieces.size() <= kMaxPieces);
    for (const std::string_view& piece : pieces) {
      parts_[count_++] = {const_cast<char*>(piece.data()), piece.size()};
    }
    skip(0);
  }
  bool empty() const { return first_ == count_; }
  // Whether anything was sent; the kernel takes at least a byte or says why not.
  bool sendSome(int connection) {
    msghdr message{};
    message.msg_iov = &parts_[first_];
    message.msg_iovlen = static_cast<decltype(message.msg_iovlen)>(count_ - first_);
    const ssize_t sent = sendmsg(connection, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    skip(sent > 0 ? static_cast<size_t>(sent) : 0);
    return sent > 0;
  }

 private:
  void skip(size_t bytes) {
    for (; first_ < count_ && bytes >= parts_[first_].iov_len; ++first_) {
      bytes -= parts_[first_].iov_len;
    }
    if (first_ < count_) {
      parts_[first_].iov_base = static_cast<char*>(parts_[first_].iov_base) + bytes;
      parts_[first_].iov_len -= bytes;
    }
  }

  std::array<iovec, kMaxPieces> parts_{};
  size_t first_ = 0;
  size_t count_ = 0;
};

}  // namespace

bool sendAll(int connection, std::initializer_list<std::string_view> pieces) {
  Rest rest(pieces);
  int64_t takenMs = monotonicMs();
  while (!rest.empty()) {
    if (rest.sendSome(connection)) {
      takenMs = monotonicMs();
      continue;
    }
    if (errno == EINTR) {
      continue;
    }
    if ((errno != EAGAIN && errno != EWOULDBLOCK) || monotonicMs() - takenMs >= kMaxSilentMs) {
      return false;
    }
    // No longer than a second: a socket takes more well before it counts as writable.
    pollfd writable{connection, POLLOUT, 0};
    clockPoll(&writable, 1, kPollMs);
  }

  return true;
}
