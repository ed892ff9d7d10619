#include "bench/daemon_world.h"

#include <benchmark/benchmark.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "base/send_all.h"
#include "base/unique_fd.h"
#include "bench/floors.h"
#include "daemon/paths.h"
#include "switchsim/switch/switch_state.h"
#include "tests/support/in_process.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kQuietNight = "2026-01-03 03:17:00";
constexpr uint32_t kPoePorts = 48;
constexpr uint32_t kPorts = 52;

}  // namespace

ChildProcess::ChildProcess(const std::string& program, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), fs::read_symlink("/proc/self/exe").replace_filename(program));
  std::vector<char*> texts;
  texts.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) {
    texts.push_back(argument.data());
  }
  texts.push_back(nullptr);

  pid_ = fork();
  must(pid_ >= 0, "fork");
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    execv(texts[0], texts.data());
    _exit(1);
  }
}

ChildProcess::~ChildProcess() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

int64_t ChildProcess::residentKb() const {
  std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
  std::string word;
  while (status >> word && word != "VmRSS:") {
  }
  int64_t kb = 0;
  must(static_cast<bool>(status >> kb), "reading a process's memory");
  return kb;
}

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

std::string requestLine(const std::string& method, const std::string& params) {
  return R"({"method":")" + method + R"(","params":)" + params + "}\n";
}

std::unique_ptr<ChildProcess> startDaemonAgain() {
  return std::make_unique<ChildProcess>("bench_poed");
}

std::unique_ptr<ChildProcess> startDaemon(Fill fill) {
  makeRoot({1, kPorts, kPoePorts});
  switchsim::setClock(switchsim::ClockMode::frozen, kQuietNight);
  auto daemon = startDaemonAgain();
  BenchClient(kSocketPath).askPatiently("?\n");

  DatabasePtr schedules;
  DatabasePtr history;
  must(openDatabase(kScheduleDbPath, &schedules) && openDatabase(kHistoryDbPath, &history),
       "opening the daemon's databases");
  fill(schedules.get(), history.get());
  return daemon;
}

std::string inRoot(const char* name) {
  return fs::path(kLogFilePath).parent_path().parent_path() / name;
}

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  must(!benchmark::ReportUnrecognizedArguments(argc, argv), "reading the arguments");
  registerSocketFigures();
  registerProcessFigures();
  benchmark::RunSpecifiedBenchmarks();
}
