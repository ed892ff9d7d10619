// Asking the daemon.
#ifndef QUORIN_API_LINK_H
#define QUORIN_API_LINK_H

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "base/json.h"

// Whatever answers requests: the daemon behind its socket, or in tests a table of answers.
class Daemon {
 public:
  virtual ~Daemon() = default;

  // Sends one request line (without its newline) of the method and gives the answer line back,
  // without its newline. Throws Failure when none comes.
  virtual std::string exchange(const std::string& method, const std::string& requestLine) = 0;

  // How long each exchange from now on may take.
  virtual void setTimeout(int64_t /*milliseconds*/) {}

  // The "result" of a request; null when the method has none. Throws Failure when no answer comes
  // or one that lacks what the method's answers have, and DaemonError, said in words for this
  // request, when the answer is an error.
  JsonPtr ask(const char* method, JsonPtr params);
};

// A request line; null params leave "params" out. Throws std::bad_alloc.
std::string requestLine(const std::string& method, JsonPtr params);

// The tree of an answer line. Throws Failure when it is no answer of a daemon.
JsonPtr parsedAnswer(const std::string& answerLine);

// Whether the method changes something, which may still happen after the client has given up.
bool isChange(const std::string& method);

class SocketDaemon : public Daemon {
 public:
  // timeoutMs is for a whole exchange. say takes what is worth knowing while waiting, one line.
  SocketDaemon(std::string socketPath, int64_t timeoutMs,
               std::function<void(const std::string&)> say)
      : socketPath_(std::move(socketPath)), timeoutMs_(timeoutMs), say_(std::move(say)) {}

  // Failures: no daemon, not permitted, timed out.
  std::string exchange(const std::string& method, const std::string& requestLine) override;
  void setTimeout(int64_t milliseconds) override { timeoutMs_ = milliseconds; }

 private:
  std::string socketPath_;
  int64_t timeoutMs_;
  std::function<void(const std::string&)> say_;
};

#endif
