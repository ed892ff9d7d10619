// Reading one request from a connection.
#ifndef QUORIN_IPC_REQUEST_READER_H
#define QUORIN_IPC_REQUEST_READER_H

#include <cstddef>
#include <string>

constexpr size_t kMaxRequestBytes = size_t{8} * 1024 * 1024;

// Reads the bytes up to the first newline, which is taken but not kept, or to the end of the stream; what follows the
// newline is never taken. False when the stream ends before its first byte, when reading fails, and for a request above
// kMaxRequestBytes. Waits for a silent client without limit. Throws std::bad_alloc.
bool readRequest(int connection, std::string* request);

#endif
