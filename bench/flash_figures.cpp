// What the stores write to the flash.
//
// Counted are the bytes that this process hands to write(2) and pwrite(2), "wchar" of
// /proc/self/io: the write-ahead log's pages, and the database's when the log is carried over,
// which SQLite does every 1000 pages; each figure is the mean of so many runs that this is in it.
// Nothing is logged meanwhile, for the log is in /tmp, which is memory. The index of the
// write-ahead log is mapped, never synced, and not counted. Not counted either is what the file
// system and the flash make of these bytes.
#include <benchmark/benchmark.h>

#include <ctime>
#include <fstream>
#include <string>

#include "base/result_codes.h"
#include "bench/floors.h"
#include "bench/sample_data.h"
#include "bench/stores.h"
#include "daemon/daemon_context.h"
#include "daemon/paths.h"
#include "log/log.h"
#include "scheduler/scheduler_thread.h"
#include "switchsim/switch/switch_state.h"

namespace {

using benchmark::State;

constexpr int kPortsInAll = 2400;
constexpr int kDays = 60;
constexpr int kSchedulesADay = 20;

double bytesWritten() {
  std::ifstream io("/proc/self/io");
  std::string word;
  double bytes = 0;
  while (io >> word && word != "wchar:") {
  }
  must(static_cast<bool>(io >> bytes), "reading what was written");
  return bytes;
}

// Measures what a number of calls write, and reports it by the call.
template <typename Function>
void countBytes(State& state, Function function) {
  openHistoryOf(0);
  logOpen(0, LOG_DAEMON, "bench");
  const double before = bytesWritten();
  int calls = 0;
  for (auto _ : state) {
    function(calls++);
  }
  state.counters["value"] = (bytesWritten() - before) / calls / 1000;
  state.SetLabel("kB");
  logOpen(LOG_TO_FILE, LOG_DAEMON, "bench");
}

// A run as an executor carries it out.
void completeRun(int32_t ports) {
  const RunBeginRequest request = beginRequest(ports);
  const int64_t runId = historyRunBegin(&request);
  for (int32_t port = 1; port <= ports; ++port) {
    must(historyPortRecord(runId, static_cast<uint32_t>(port), PORT_SUCCESS, nullptr,
                           time(nullptr)) == RESULT_OK,
         "a record");
  }
  must(historyRunFinishDerived(runId, nullptr, time(nullptr)) == RESULT_OK, "a finish");
}

void setSwitchTime(int day, const char* time) {
  tm date{};
  date.tm_year = 126;
  date.tm_mday = 1 + day;
  mktime(&date);
  char text[32];
  strftime(text, sizeof text, "%Y-%m-%d ", &date);
  switchsim::setClock(switchsim::ClockMode::frozen, std::string(text) + time);
}

// Twenty daily windows of four ports each: the ticks at which they begin and end. The other 1438 of
// a day write nothing.
void passDay(int day) {
  for (const char* time : {"10:00:00", "12:00:00"}) {
    setSwitchTime(day, time);
    tickOnce();
  }
}

void passDays(State& state) {
  {
    const ScheduleAccess schedules;
    fillSchedules(schedules.db(), kSchedulesADay);
    must(executeSql(schedules.db(), "UPDATE poe_schedule SET recurrence='daily';"),
         "making schedules daily");
  }
  countBytes(state, passDay);
}

}  // namespace

void registerFlashFigures() {
  for (const int32_t ports : {kNarrowPorts, kWidePorts}) {
    const std::string name = "flash, a run of " + std::to_string(ports) + " ports/ours";
    benchmark::RegisterBenchmark(
        name.c_str(),
        [ports](State& state) { countBytes(state, [ports](int) { completeRun(ports); }); })
        ->Iterations(kPortsInAll / ports)
        ->Repetitions(1);
  }
  benchmark::RegisterBenchmark("flash, a day of 20 windows of 4 ports/ours", passDays)
      ->Iterations(kDays)
      ->Repetitions(1);
}
