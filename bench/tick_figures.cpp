// A minute's look at all schedules, of which none fires.
//
// "Due by time" are those whose window begins or ends in the minute, but on other days: the daemon
// must look their days up. It is a Saturday, and they have Monday to Friday.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstring>

#include "bench/floors.h"
#include "bench/sample_data.h"
#include "bench/stores.h"
#include "daemon/daemon_context.h"
#include "daemon/paths.h"
#include "scheduler/evaluation.h"

namespace {

using benchmark::State;

constexpr int64_t kSaturday = 6;
constexpr int kStartTimeColumn = 7;
constexpr int kEndTimeColumn = 8;

struct Minute {
  const char* due;
  const char* time;
};
// As sample_data.h has the schedules' times.
constexpr Minute kMinutes[] = {{"none", "09:17"}, {"1 %", "08:00"}, {"all", "12:00"}};

void openSchedulesOf(int64_t count) {
  static int64_t present = 0;
  if (present != count) {
    const ScheduleAccess schedules;
    fillSchedules(schedules.db(), count);
    present = count;
  }
}

void tickOurs(State& state, int64_t count, const char* time) {
  openSchedulesOf(count);
  TickTime now;
  now.year = 2026;
  now.month = 1;
  now.day = 3;
  now.weekday = kSaturday;
  now.hour = atoi(time);
  now.minute = atoi(time + 3);
  for (auto _ : state) {
    const ScheduleAccess schedules;
    evaluateSchedules(schedules, now);
  }
}

// A scan of the same columns of the same file, each column read as what it is, with a statement
// that is prepared once; where one of the two times is the minute's, by comparing the text, one
// look for the day with another such statement.
void tickFloor(State& state, int64_t count, const char* time) {
  openSchedulesOf(count);
  const DatabasePtr db = openFloorDatabase(kScheduleDbPath);
  FloorStatement scan(db, FLOOR_SCHEDULE_SQL ";", kFloorScheduleColumns);
  FloorStatement day(db, "SELECT 1 FROM poe_schedule_days WHERE schedule_id=? AND day=? LIMIT 1;",
                     "i");
  const auto isDue = [&](int column) { return strcmp(columnText(scan.get(), column), time) == 0; };
  for (auto _ : state) {
    while (scan.next()) {
      if (isDue(kStartTimeColumn) || isDue(kEndTimeColumn)) {
        day.bind(sqlite3_column_int64(scan.get(), 0), kSaturday).readAll();
      }
    }
    benchmark::DoNotOptimize(scan.sum() + day.sum());
  }
}

}  // namespace

void registerTickFigures() {
  constexpr struct {
    int64_t count;
    const char* shown;
  } kSizes[] = {{1000, "1,000"}, {10000, "10,000"}, {100000, "100,000"}};
  for (const auto& [count, shown] : kSizes) {
    for (const auto& [due, time] : kMinutes) {
      const std::string name = std::string("tick over ") + shown + " schedules, " + due + " due/";
      for (const auto& [side, tick] : {std::pair{"ours", &tickOurs}, {"floor", &tickFloor}}) {
        benchmark::RegisterBenchmark(
            (name + side).c_str(),
            [tick = tick, count = count, time = time](State& state) { tick(state, count, time); })
            ->UseRealTime()
            ->Unit(benchmark::kMicrosecond);
      }
    }
  }
}
