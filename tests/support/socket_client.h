// A bare client of the daemon's socket, for requests that no good client sends.
#ifndef QUORIN_TESTS_SUPPORT_SOCKET_CLIENT_H
#define QUORIN_TESTS_SUPPORT_SOCKET_CLIENT_H

#include <string>

#include "base/json.h"
#include "base/unique_fd.h"

class SocketClient {
 public:
  // Connects to the daemon's socket. What it waits for comes within a minute or not at all.
  SocketClient();

  bool connected() const { return static_cast<bool>(connection_); }
  bool sendBytes(const std::string& bytes);
  // Whether the daemon has taken all that was sent.
  bool isHeard() const;
  void endOfRequest();      // half-closes the connection
  bool isAnswered() const;  // whether something came that was not read yet
  bool hasEnded() const;    // whether the daemon has closed the connection without an answer
  // Everything until the daemon closes the connection, or what came before an error.
  std::string readAll();

 private:
  UniqueFd connection_;
};

// Sends the bytes as they are, half-closes when asked to, and returns everything that came back.
std::string exchange(const std::string& bytes, bool halfClose = false);

// One request; params is JSON. The answer as received, without its newline; "" when there is none.
std::string rpc(const std::string& method, const std::string& params);

// The "result" of a request that must succeed; null (a failed test) when it does not.
JsonPtr rpcResult(const std::string& method, const std::string& params);

#endif
