// Sending on a socket.
#ifndef QUORIN_BASE_SEND_ALL_H
#define QUORIN_BASE_SEND_ALL_H

#include <initializer_list>
#include <string_view>

constexpr int kMaxSilentSec = 30;

// Sends every byte of the pieces, one after the other, without SIGPIPE. False as soon as the
// connection takes no more (errno says why), and when its other end takes nothing for kMaxSilentSec
// (EAGAIN).
bool sendAll(int connection, std::initializer_list<std::string_view> pieces);

#endif
