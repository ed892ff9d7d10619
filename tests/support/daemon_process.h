// The real daemon as a child process, and a bare client of its socket, for requests that no good
// client sends.
#ifndef QUORIN_TESTS_SUPPORT_DAEMON_PROCESS_H
#define QUORIN_TESTS_SUPPORT_DAEMON_PROCESS_H

#include <sys/types.h>

#include "base/unique_fd.h"
#include "tests/support/fixtures.h"

#ifdef __SANITIZE_THREAD__
constexpr int kSanitizerThreads = 1;
#else
constexpr int kSanitizerThreads = 0;
#endif
// Of the daemon; an emulator has one of its own.
inline const int kThreadsAtRest =
    4 + kSanitizerThreads + (getenv("SWITCHSIM_EMULATOR") != nullptr ? 1 : 0);

class DaemonProcess {
 public:
  // program: the daemon whose paths are below this test's root. speed: how much faster than real
  // its clock runs, so that its ten-second polls take a moment. settings: of its environment.
  explicit DaemonProcess(const char* name, int speed = 1, std::vector<std::string> settings = {})
      : program_(programPath(name)), speed_(speed), settings_(std::move(settings)) {}
  ~DaemonProcess();  // kills what still runs
  DaemonProcess(const DaemonProcess&) = delete;
  DaemonProcess& operator=(const DaemonProcess&) = delete;

  // Starts it; beforeExec runs in the child, for limits of its own.
  void start(const std::function<void()>& beforeExec = {});
  // Starts it and waits until its socket accepts connections; false when it ends or takes too long.
  bool startReady(const std::function<void()>& beforeExec = {});
  void signal(int signalNumber) const;
  // Waits for its end: its exit status, or -N when signal N ended it, or -1000 when it is not
  // running or had to be killed after a minute and a half.
  int wait();
  // SIGTERM, then wait.
  int stop();
  pid_t pid() const { return pid_; }
  int openDescriptors() const;
  int threads() const { return statusOf(pid_, "Threads:"); }

 private:
  bool hasEnded() const;

  std::string program_;
  int speed_;
  std::vector<std::string> settings_;
  pid_t pid_ = -1;
};

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

// Sends the bytes as they are, without a newline half-closes the connection, and returns everything
// that came back.
std::string exchange(const std::string& bytes);

// One request; params is JSON. The answer as received, without its newline; "" when there is none.
std::string rpc(const std::string& method, const std::string& params);

// The "result" of a request that must succeed; null (a failed test) when it does not.
JsonPtr rpcResult(const std::string& method, const std::string& params);

#ifdef TEST_DAEMON
// The daemon on this test's root, ready to answer; it ends well, having used the switch as one may.
class RunningDaemonTest : public RootTest {
 protected:
  void SetUp() override {
    RootTest::SetUp();
    ASSERT_TRUE(daemon_.startReady());
  }
  void TearDown() override {
    EXPECT_EQ(daemon_.stop(), 0);
    EXPECT_EQ(switchsim::misuseCount(), 0U) << switchsim::viewSwitch().lastMisuse;
    RootTest::TearDown();
  }
  static constexpr int kSpeed = 20;  // of the daemon's clock
  DaemonProcess daemon_{TEST_DAEMON, kSpeed};
};
#endif

#endif
