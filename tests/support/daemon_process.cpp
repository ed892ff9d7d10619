#include "tests/support/daemon_process.h"

#include <semaphore.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "tests/support/fixtures.h"
#include "tests/support/socket_client.h"

namespace {

constexpr int kNoEnd = -1000;
constexpr int kExecFailed = 127;

}  // namespace

DaemonProcess::~DaemonProcess() {
  signal(SIGKILL);
  wait();
}

void DaemonProcess::start(const std::function<void()>& beforeExec) {
  pid_ = fork();
  if (pid_ != 0) {
    return;
  }
  if (beforeExec) {
    beforeExec();
  }
  if (speed_ > 1) {
    setenv("LD_PRELOAD", FAKETIME_PRELOAD, 1);
    setenv("FAKETIME", ("+0 x" + std::to_string(speed_)).c_str(), 1);
    setenv("TSAN_OPTIONS", "suppressions=" TSAN_SUPPRESSIONS, 1);
    // The daemon reads no file times, and the library's stat is not safe at exit.
    setenv("NO_FAKE_STAT", "1", 1);
  }
  execl(program_.c_str(), program_.c_str(), nullptr);
  _exit(kExecFailed);
}

bool DaemonProcess::startReady(const std::function<void()>& beforeExec) {
  start(beforeExec);
  bool connected = false;
  waitUntil([&] {
    connected = SocketClient().connected();
    return connected || hasEnded();
  });
  return connected;
}

bool DaemonProcess::hasEnded() const {
  siginfo_t info{};
  return waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         info.si_pid == pid_;
}

void DaemonProcess::signal(int signalNumber) const {
  if (pid_ > 0) {  // others mean groups of processes
    kill(pid_, signalNumber);
  }
}

int DaemonProcess::wait() {
  if (pid_ <= 0) {
    return kNoEnd;
  }
  int status = 0;
  const bool ended = waitUntil([&] { return waitpid(pid_, &status, WNOHANG) == pid_; });
  if (!ended) {
    signal(SIGKILL);
    waitpid(pid_, &status, 0);
  }
  // The library that moves the clock leaves these behind when its process is killed.
  const std::string pid = std::to_string(std::exchange(pid_, -1));
  shm_unlink(("/faketime_shm_" + pid).c_str());
  sem_unlink(("/faketime_sem_" + pid).c_str());
  const int end = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  return ended ? end : kNoEnd;
}

int DaemonProcess::stop() {
  signal(SIGTERM);
  return wait();
}

int DaemonProcess::entriesOf(const char* folder) const {
  const fs::directory_iterator entries("/proc/" + std::to_string(pid_) + "/" + folder);
  return static_cast<int>(std::distance(begin(entries), end(entries)));
}
