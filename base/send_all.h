// Sending on a socket.
#ifndef QUORIN_BASE_SEND_ALL_H
#define QUORIN_BASE_SEND_ALL_H

#include <string>

// Sends every byte, without SIGPIPE; false as soon as the connection takes no more (errno says why).
bool sendAll(int connection, const std::string& bytes);

#endif
