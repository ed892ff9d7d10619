#include "bench/socket_client.h"

#include <sys/socket.h>

#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "base/send_all.h"
#include "base/unique_fd.h"
#include "bench/must.h"

BenchClient::BenchClient(const std::string& socketPath) {
  address_.sun_family = AF_UNIX;
  strncpy(address_.sun_path, socketPath.c_str(), sizeof address_.sun_path - 1);
}

size_t BenchClient::ask(const std::string& request, std::string* answer) const {
  const UniqueFd connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (connect(connection.get(), reinterpret_cast<const sockaddr*>(&address_), sizeof address_) !=
          0 ||
      !sendAll(connection.get(), {request})) {
    return 0;
  }
  thread_local std::vector<char> chunk(65536);
  size_t bytes = 0;
  for (ssize_t n = 0; (n = recv(connection.get(), chunk.data(), chunk.size(), 0)) > 0;) {
    bytes += static_cast<size_t>(n);
    if (answer != nullptr) {
      answer->append(chunk.data(), static_cast<size_t>(n));
    }
  }
  return bytes;
}

std::string BenchClient::askPatiently(const std::string& request) const {
  constexpr int kMostTries = 100000;
  std::string answer;
  for (int tries = 0; ask(request, &answer) == 0; ++tries) {
    must(tries < kMostTries, "waiting for a server");
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
  return answer;
}
