// The daemon as a process: what it holds of the memory, and how long it takes to its first answer.
#include <benchmark/benchmark.h>

#include <chrono>
#include <thread>

#include "base/sleep.h"
#include "bench/daemon_world.h"
#include "bench/floors.h"
#include "bench/sample_data.h"
#include "daemon/paths.h"
#include "ipc/request_reader.h"

namespace {

using benchmark::State;
using Clock = std::chrono::steady_clock;

constexpr int kClients = 8;
constexpr int64_t kMixedRequests = 10000;
constexpr int64_t kRunsAtStart = 100000;
constexpr int32_t kRestMs = 1000;
constexpr int kRepetitions = 3;

void fillSome(sqlite3* schedules, sqlite3* history) {
  fillSchedules(schedules, 20);
  fillHistory(history, 50, 50);
}

void fillManyRuns(sqlite3*, sqlite3* history) {
  fillHistory(history, kRunsAtStart, 0);
}

std::string mixedRequest(int64_t number) {
  switch (number % 10) {
    case 0:
      return createRequest(number);
    case 1:
      return deleteRequest(number / 10);
    case 2:
      return requestLine("manual.reset", R"({"unit":1,"request":{"ifNums":[1,2,3,4]}})");
    case 3:
      return requestLine("history.list", R"({"unit":1})");
    case 4:
      return requestLine("history.detail", R"({"unit":1,"runId":7})");
    case 5:
      return requestLine("sensors.all", R"({"unit":1})");
    case 6:
      return requestLine("bootdelay.set", R"({"unit":1,"delaySec":0})");
    case 7:
      return requestLine("schedule.list", R"({"unit":1})");
    case 8:
      return requestLine("schedule.get", R"({"unit":1,"scheduleId":20})");
    default:
      return requestLine("no.method", R"({"unit":1})");
  }
}

// One after the other of all clients, every method, each request answered.
void askMixed() {
  std::atomic<int64_t> next{0};
  std::vector<std::thread> clients;
  clients.reserve(kClients);
  for (int i = 0; i < kClients; ++i) {
    clients.emplace_back([&next] {
      const BenchClient client(kSocketPath);
      for (int64_t number = 0; (number = next++) < kMixedRequests;) {
        must(client.ask(mixedRequest(number)) > 0, "a request of many");
      }
    });
  }
  for (std::thread& client : clients) {
    client.join();
  }
}

// As large as a request may be, and of the largest tree that this can have; it is refused.
void askLargest() {
  std::string request = R"({"method":"schedule.create","params":{"unit":1,"schedule":{"ifNums":[1)";
  while (request.size() < kMaxRequestBytes - 10) {
    request += ",1";
  }
  must(BenchClient(kSocketPath).ask(request + "]}}}\n") > 0, "the largest request");
}

void askNothing() {}

void askBoth() {
  askLargest();
  askMixed();
}

// The resident set of a daemon of 20 schedules and 50 runs, a second after the last request.
void memoryAfter(State& state, void (*load)()) {
  for (auto _ : state) {
    const auto daemon = startDaemon(fillSome);
    load();
    sleepMilliseconds(kRestMs);
    state.counters["value"] = static_cast<double>(daemon->residentKb()) / 1000;
  }
  state.SetLabel("MB");
}

// From the fork to the first answer, after a kill.
void start(State& state) {
  startDaemon(fillManyRuns);
  const std::string request = requestLine("bootdelay.get", R"({"unit":1})");
  for (auto _ : state) {
    const auto begin = Clock::now();
    const auto daemon = startDaemonAgain();
    BenchClient(kSocketPath).askPatiently(request);
    state.counters["value"] =
        std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
  }
  state.SetLabel("ms");
}

template <typename Function>
void registerValue(const char* name, Function function) {
  benchmark::RegisterBenchmark(name, function)->Iterations(1)->Repetitions(kRepetitions);
}

}  // namespace

void registerProcessFigures() {
  constexpr std::pair<const char*, void (*)()> kLoads[] = {
      {"memory, idle/ours", askNothing},
      {"memory, after the largest request/ours", askLargest},
      {"memory, after 10,000 mixed requests/ours", askMixed},
      {"memory, after the largest request and 10,000/ours", askBoth}};
  for (const auto& [name, load] : kLoads) {
    registerValue(name, [load = load](State& state) { memoryAfter(state, load); });
  }
  registerValue("start to first answer, 100,000 runs/ours", start);
}
