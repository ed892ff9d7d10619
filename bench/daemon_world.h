// The real daemon as a process, on a fresh root with a simulated switch of 48 PoE ports whose clock
// stands still in a night without schedules.
#ifndef QUORIN_BENCH_DAEMON_WORLD_H
#define QUORIN_BENCH_DAEMON_WORLD_H

#include <sys/types.h>
#include <sys/un.h>

#include <memory>
#include <string>
#include <vector>

struct sqlite3;

// A program of this build as a child, killed when its owner or this process goes.
class ChildProcess {
 public:
  // program: its name in the folder of this one.
  explicit ChildProcess(const std::string& program, std::vector<std::string> arguments = {});
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t pid() const { return pid_; }
  // What it holds of the memory, in kB.
  int64_t residentKb() const;

 private:
  pid_t pid_;
};

// A client as the protocol has it: each request is a connection.
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

// Puts something into the daemon's databases.
using Fill = void (*)(sqlite3* schedules, sqlite3* history);

// A line of the socket that is a request.
std::string requestLine(const std::string& method, const std::string& params);

// One that creates, or deletes, a schedule of unit 1.
std::string createRequest(int64_t number);
std::string deleteRequest(int64_t scheduleId);

// Starts the daemon on a new root, fills its databases, and returns once it answers.
std::unique_ptr<ChildProcess> startDaemon(Fill fill);
// Starts it once more on the root as it is; it need not answer yet.
std::unique_ptr<ChildProcess> startDaemonAgain();

// The path of a file in the daemon's root.
std::string inRoot(const char* name);

void registerSocketFigures();
void registerProcessFigures();

#endif
