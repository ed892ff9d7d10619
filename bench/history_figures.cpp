// Runs: begun, recorded port by port, shown, purged.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "base/result_codes.h"
#include "bench/floors.h"
#include "bench/sample_data.h"
#include "bench/stores.h"
#include "daemon/paths.h"
#include "history/history_queries.h"

namespace {

using benchmark::State;
using Clock = std::chrono::steady_clock;

constexpr int64_t kStartedAt = 1767225600;
constexpr int64_t kDaySec = 86400;
constexpr int64_t kMillion = 1000000;

// The bare transactions of a run, on a database of their own with the same tables and in the same
// mode, with statements that are prepared once: to begin a run, its row and a pending row for each
// port, in one transaction; to record a port, the look whether the run is running and the row, each
// committed by itself, as the daemon has it.
class RunFloor {
 public:
  int64_t begin() {
    begin_.readAll();
    insert_
        .bind(int64_t{1}, "scheduled", int64_t{1}, "Schedule 1", "power_off", "simultaneous",
              int64_t{0}, int64_t{0}, kStartedAt, "running")
        .readAll();
    const int64_t runId = sqlite3_last_insert_rowid(db_.get());
    for (int64_t port = 1; port <= kWidePorts; ++port) {
      pending_.bind(runId, port, kStartedAt).readAll();
    }
    commit_.readAll();
    return runId;
  }

  void record(int64_t runId, int64_t port) {
    const char* noError = nullptr;
    status_.bind(runId).readAll();
    record_.bind(runId, port, "success", noError, kStartedAt).readAll();
  }

 private:
  static DatabasePtr open() {
    openHistoryOf(0);
    copyDatabase(kHistoryDbPath, floorPath("runs.db"));
    return openFloorDatabase(floorPath("runs.db"));
  }

  DatabasePtr db_{open()};
  FloorStatement begin_{db_, "BEGIN;"};
  FloorStatement commit_{db_, "COMMIT;"};
  FloorStatement insert_{
      db_,
      "INSERT INTO poe_history (unit, trigger_source, schedule_id, schedule_name, schedule_type, "
      "execution_mode, inter_port_delay, all_day_snapshot, started_at, status) "
      "VALUES (?,?,?,?,?,?,?,?,?,?);"};
  FloorStatement pending_{db_,
                          "INSERT INTO poe_history_port (run_id, if_num, status, executed_at) "
                          "VALUES (?, ?, 'pending', ?);"};
  FloorStatement status_{db_, "SELECT status FROM poe_history WHERE run_id=?;", "t"};
  FloorStatement record_{
      db_,
      "INSERT OR REPLACE INTO poe_history_port (run_id, if_num, status, error_msg, executed_at) "
      "VALUES (?, ?, ?, ?, ?);"};
};

RunFloor& runFloor() {
  static RunFloor floor;
  return floor;
}

void beginOurs(State& state) {
  openHistoryOf(0);
  const RunBeginRequest request = beginRequest(kWidePorts);
  for (auto _ : state) {
    must(historyRunBegin(&request) > 0, "a begin");
  }
}

void beginFloor(State& state) {
  RunFloor& floor = runFloor();
  for (auto _ : state) {
    floor.begin();
  }
}

void recordOurs(State& state) {
  openHistoryOf(0);
  const RunBeginRequest request = beginRequest(kWidePorts);
  const int64_t runId = historyRunBegin(&request);
  uint32_t port = 0;
  for (auto _ : state) {
    port = port % kWidePorts + 1;
    must(historyPortRecord(runId, port, PORT_SUCCESS, nullptr, kStartedAt) == RESULT_OK,
         "a record");
  }
}

void recordFloor(State& state) {
  RunFloor& floor = runFloor();
  const int64_t runId = floor.begin();
  int64_t port = 0;
  for (auto _ : state) {
    port = port % kWidePorts + 1;
    floor.record(runId, port);
  }
}

void pageOurs(State& state, int64_t runs) {
  openHistoryOf(runs);
  for (auto _ : state) {
    JsonPtr answer;
    must(historyList(1, 1, 50, &answer) == RESULT_OK, "a page");
  }
}

void detailOurs(State& state, int64_t runs) {
  openHistoryOf(runs);
  for (auto _ : state) {
    JsonPtr answer;
    must(historyDetail(1, runs, &answer) == RESULT_OK, "a detail");
  }
}

// The same statements as the floors of history.list and history.detail run over the socket, on the
// same file, without building an answer.
template <typename Read>
void readFloor(State& state, int64_t runs, Read read) {
  openHistoryOf(runs);
  const DatabasePtr db = openFloorDatabase(kHistoryDbPath);
  for (auto _ : state) {
    benchmark::DoNotOptimize(read(db));
  }
}

template <typename Function>
void registerTimed(const std::string& name, Function function) {
  benchmark::RegisterBenchmark(name.c_str(), function)
      ->UseRealTime()
      ->Unit(benchmark::kMicrosecond);
}

int64_t oldestStart() {
  const DatabasePtr db = openFloorDatabase(kHistoryDbPath);
  return FloorStatement(db, "SELECT MIN(started_at) FROM poe_history;", "i").readAll();
}

double msSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// How long somebody else waits for a run's detail while a day of runs is purged.
void purge(State& state) {
  openHistoryCopyOf(kMillion);
  const int64_t cutoff = oldestStart() + kDaySec;
  double longestMs = 0;
  for (auto _ : state) {
    std::atomic<bool> isOver{false};
    std::thread other([&] {
      do {
        const auto start = Clock::now();
        JsonPtr answer;
        must(historyDetail(1, kMillion, &answer) == RESULT_OK, "a detail");
        longestMs = std::max(longestMs, msSince(start));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      } while (!isOver);
    });
    must(historyPurgeBefore(cutoff) > 0, "a purge");
    isOver = true;
    other.join();
  }
  state.counters["value"] = longestMs;
  state.SetLabel("ms");
}

}  // namespace

void registerHistoryFigures() {
  registerTimed("begin of a run of 48 ports/ours", beginOurs);
  registerTimed("begin of a run of 48 ports/floor", beginFloor);
  registerTimed("record of a port/ours", recordOurs);
  registerTimed("record of a port/floor", recordFloor);
  constexpr std::pair<int64_t, const char*> kSizes[] = {
      {1000, ", 1,000 runs/"}, {100000, ", 100,000 runs/"}, {kMillion, ", 1,000,000 runs/"}};
  for (const auto& [runs, shown] : kSizes) {
    const std::string page = std::string("history page of 50 x 48 ports") + shown;
    const std::string detail = std::string("history detail of 48 ports") + shown;
    registerTimed(page + "ours", [runs = runs](State& state) { pageOurs(state, runs); });
    registerTimed(page + "floor", [runs = runs](State& state) {
      readFloor(state, runs, [](const DatabasePtr& db) { return historyPageFloor(db, 1); });
    });
    registerTimed(detail + "ours", [runs = runs](State& state) { detailOurs(state, runs); });
    registerTimed(detail + "floor", [runs = runs](State& state) {
      readFloor(state, runs,
                [runs](const DatabasePtr& db) { return historyDetailFloor(db, 1, runs); });
    });
  }
}

void registerPurgeFigure() {
  constexpr int kDays = 5;
  benchmark::RegisterBenchmark("purge of a day out of 1,000,000 runs, longest wait/ours", purge)
      ->Iterations(1)
      ->Repetitions(kDays);
}
