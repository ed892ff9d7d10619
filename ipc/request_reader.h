// Reading one request from a connection.
#ifndef QUORIN_IPC_REQUEST_READER_H
#define QUORIN_IPC_REQUEST_READER_H

#include <cstddef>
#include <string>

#include "ipc/held_bytes.h"

constexpr size_t kMaxRequestBytes = size_t{1024} * 1024;

// Reads the bytes up to the first newline, which is not kept, or to the end of the stream; what
// follows the newline is never looked at, and what of it came along with it is gone. The request's
// memory is counted in *held. False when the stream ends before its first byte, when reading fails,
// for a request above kMaxRequestBytes, when clients make the daemon hold too much, and for one
// that had to make room while it was silent. Waits for a silent client without limit. Throws
// std::bad_alloc.
bool readRequest(int connection, HeldBytes* held, std::string* request);

#endif
