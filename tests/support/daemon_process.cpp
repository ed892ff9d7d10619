#include "tests/support/daemon_process.h"

#include <cjson/cJSON.h>
#include <linux/sockios.h>
#include <semaphore.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/send_all.h"
#include "switchsim/lab/exec_program.h"

namespace {

constexpr int kNoEnd = -1000;
constexpr int kExecFailed = 127;

// What libfaketime leaves behind when its process is killed.
void removeRemainsOfFaketime(pid_t pid) {
  shm_unlink(fill("/faketime_shm_%", pid).c_str());
  sem_unlink(fill("/faketime_sem_%", pid).c_str());
}

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
  std::vector<std::string> settings = settings_;
  if (speed_ > 1) {
    // The daemon reads no file times, and the library's stat is not safe at exit.
    settings.insert(settings.end(), {"LD_PRELOAD=" FAKETIME_PRELOAD, fill("FAKETIME=+0 x%", speed_),
                                     "NO_FAKE_STAT=1"});
  }
  switchsim::execProgram(program_, settings);
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
  removeRemainsOfFaketime(std::exchange(pid_, -1));
  const int end = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  return ended ? end : kNoEnd;
}

int DaemonProcess::stop() {
  signal(SIGTERM);
  return wait();
}

int DaemonProcess::openDescriptors() const {
  const fs::directory_iterator entries(fill("/proc/%/fd", pid_));
  return static_cast<int>(std::distance(begin(entries), end(entries)));
}

SocketClient::SocketClient() : connection_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const timeval deadline{60, 0};
  setsockopt(connection_.get(), SOL_SOCKET, SO_RCVTIMEO, &deadline, sizeof deadline);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  strncpy(address.sun_path, kSocketPath, sizeof address.sun_path - 1);
  const auto* daemon = reinterpret_cast<const sockaddr*>(&address);
  if (connect(connection_.get(), daemon, sizeof address) != 0) {
    connection_.reset(-1);
  }
}

bool SocketClient::sendBytes(const std::string& bytes) {
  return sendAll(connection_.get(), {bytes});
}

bool SocketClient::isHeard() const {
  int unread = -1;
  return ioctl(connection_.get(), SIOCOUTQ, &unread) == 0 && unread == 0;
}

void SocketClient::endOfRequest() {
  shutdown(connection_.get(), SHUT_WR);
}

bool SocketClient::isAnswered() const {
  char byte = 0;
  return recv(connection_.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 1;
}

bool SocketClient::hasEnded() const {
  errno = 0;
  return !isAnswered() && errno != EAGAIN;
}

std::string SocketClient::readAll() {
  std::string text;
  char chunk[65536];
  for (ssize_t n = 0; (n = recv(connection_.get(), chunk, sizeof chunk, 0)) > 0;) {
    text.append(chunk, static_cast<size_t>(n));
  }
  return text;
}

std::string exchange(const std::string& bytes) {
  SocketClient client;
  if (!client.connected()) {
    return "not connected";
  }
  client.sendBytes(bytes);
  if (bytes.find('\n') == std::string::npos) {
    client.endOfRequest();
  }
  return client.readAll();
}

std::string rpc(const std::string& method, const std::string& params) {
  const std::string answer = exchange(requestText(method, params) + "\n");
  return answer.substr(0, answer.find_last_not_of('\n') + 1);
}

JsonPtr rpcResult(const std::string& method, const std::string& params) {
  const std::string answer = rpc(method, params);
  const JsonPtr envelope = jsonParse(answer.c_str());
  JsonPtr result(cJSON_DetachItemFromObject(envelope.get(), "result"));
  EXPECT_NE(result, nullptr) << method << " " << params << " answered " << answer;
  return result;
}
