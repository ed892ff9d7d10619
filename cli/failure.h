// How a command ends, and the one way in which it gives up.
#ifndef QUORIN_CLI_FAILURE_H
#define QUORIN_CLI_FAILURE_H

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <utility>

// The exit status of the program.
enum ExitCode : int {
  kExitDone = 0,
  kExitNotAsWished =
      1,  // carried out, but a port is not back, a check warns, the output is cut off
  kExitUsage = 2,
  kExitDaemonError = 4,
  kExitNotPermitted = 5,
  kExitTimedOut = 6,
  kExitNoDaemon = 8,
  kExitNoSuch = 10,  // no such port, schedule, unit or run
  kExitInterrupted = 130,
};

// Ends a command. The text says what, why and what to do, without the program's name and without a
// line end; what comes from outside is escaped in it (cli/text.h). Caught by Program::run, or
// by a command that can go on without what failed.
class Failure : public std::exception {
 public:
  Failure(ExitCode status, std::string text, std::optional<int32_t> code = {})
      : status_(status), text_(std::move(text)), code_(code) {}
  ExitCode status() const { return status_; }
  const char* what() const noexcept override { return text_.c_str(); }
  // The daemon's, of base/result_codes.h, where it answered with an error.
  std::optional<int32_t> code() const { return code_; }
  // The same with another text.
  Failure retold(std::string text) const { return {status_, std::move(text), code_}; }

 private:
  ExitCode status_;
  std::string text_;
  std::optional<int32_t> code_;
};

// For what ends in kExitNotAsWished.
[[noreturn]] inline void fail(const std::string& text) {
  throw Failure(kExitNotAsWished, text);
}

// The daemon answered a request with an error.
class DaemonError : public Failure {
 public:
  DaemonError(ExitCode status, int32_t code, std::string text)
      : Failure(status, std::move(text), code) {}
};

#endif
