#include "bench/daemon_world.h"

#include <benchmark/benchmark.h>

#include <filesystem>

#include "base/database.h"
#include "bench/must.h"
#include "daemon/paths.h"
#include "switchsim/switch_state.h"
#include "tests/support/in_process.h"

namespace {

constexpr const char* kQuietNight = "2026-01-03 03:17:00";
constexpr uint32_t kPoePorts = 48;
constexpr uint32_t kPorts = 52;

}  // namespace

std::string requestLine(const std::string& method, const std::string& params) {
  return R"({"method":")" + method + R"(","params":)" + params + "}\n";
}

std::unique_ptr<ChildProcess> startDaemonAgain() {
  return std::make_unique<ChildProcess>("bench_poed");
}

std::unique_ptr<ChildProcess> startDaemon(Fill fill) {
  makeRoot({1, kPorts, kPoePorts});
  must(switchsim::setClock(switchsim::ClockMode::frozen, kQuietNight).empty(), "setting the clock");
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
  return std::filesystem::path(kLogFilePath).parent_path().parent_path() / name;
}

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  must(!benchmark::ReportUnrecognizedArguments(argc, argv), "reading the arguments");
  registerSocketFigures();
  registerProcessFigures();
  benchmark::RunSpecifiedBenchmarks();
}
