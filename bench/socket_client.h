// A client as the protocol has it: each request is a connection.
#ifndef QUORIN_BENCH_SOCKET_CLIENT_H
#define QUORIN_BENCH_SOCKET_CLIENT_H

#include <sys/un.h>

#include <string>

class BenchClient {
 public:
  explicit BenchClient(const std::string& socketPath);

  // Connects, sends a line and reads to the end. Returns the bytes read, 0 when anything fails.
  size_t ask(const std::string& request, std::string* answer = nullptr) const;

  // Asks until there is an answer, for a server that is just starting.
  std::string askPatiently(const std::string& request) const;

 private:
  sockaddr_un address_{};
};

#endif
