// The real daemon as a child process.
#ifndef QUORIN_TESTS_SUPPORT_DAEMON_PROCESS_H
#define QUORIN_TESTS_SUPPORT_DAEMON_PROCESS_H

#include <sys/types.h>

#include "tests/support/fixtures.h"

#ifdef __SANITIZE_THREAD__
constexpr int kThreadsAtRest = 5;  // of the daemon; one is the sanitizer's
#else
constexpr int kThreadsAtRest = 4;
#endif

class DaemonProcess {
 public:
  // program: the daemon whose paths are below this test's root. speed: how much faster than real
  // its clock runs, so that its ten-second polls take a moment.
  explicit DaemonProcess(std::string program, int speed = 1)
      : program_(programPath(program)), speed_(speed) {}
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
  int openDescriptors() const { return entriesOf("fd"); }
  int threads() const { return entriesOf("task"); }

 private:
  bool hasEnded() const;
  int entriesOf(const char* folder) const;  // of its folder below /proc

  std::string program_;
  int speed_;
  pid_t pid_ = -1;
};

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
    EXPECT_EQ(switchsim::misuseCount(), 0U) << switchsim::viewSwitch()->lastMisuse;
    RootTest::TearDown();
  }
  DaemonProcess daemon_{TEST_DAEMON, 20};
};
#endif

#endif
