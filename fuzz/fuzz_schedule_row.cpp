// Any strings and numbers in a schedule's row, as another program may have written them: the minute
// passes, nothing fires twice in it, and the schedule can still be listed.
#include <fuzzer/FuzzedDataProvider.h>
#include <sqlite3.h>

#include <string>

#include "base/database.h"
#include "base/json.h"
#include "base/result_codes.h"
#include "config/schedule_store.h"
#include "daemon/daemon_context.h"
#include "fuzz/in_process.h"
#include "scheduler/evaluation.h"
#include "scheduler/reaper.h"
#include "switchsim/switch/switch_state.h"

namespace {

constexpr size_t kMaxTextBytes = 80;
constexpr int kInterPortDelayColumn = 12;
constexpr int64_t kMaxPauseSec = 1000;

void insertRow(sqlite3* db, int64_t id, FuzzedDataProvider& input) {
  const StatementPtr row =
      prepareStatement(db,
                       "INSERT OR IGNORE INTO poe_schedule VALUES "
                       "(?1,1,?2,?3,?4,?5,?6,?7,?8,?9,?10,?11,?12,?13,?14,0);");
  require(row != nullptr, "no statement");
  sqlite3_bind_int64(row.get(), 1, id);
  for (int index = 2; index <= 9; ++index) {
    const std::string text = input.ConsumeRandomLengthString(kMaxTextBytes);
    sqlite3_bind_text(row.get(), index, text.data(), static_cast<int>(text.size()),
                      SQLITE_TRANSIENT);
  }

  for (int index = 10; index <= 14; ++index) {
    const auto number = input.ConsumeIntegral<int64_t>();
    // A sweep counts its pauses in seconds, also where they take no time.
    sqlite3_bind_int64(row.get(), index,
                       index == kInterPortDelayColumn ? number % kMaxPauseSec : number);
  }

  sqlite3_step(row.get());
  const std::string children =
      "INSERT OR IGNORE INTO poe_schedule_ifs VALUES (" + std::to_string(id) + ",1),(" +
      std::to_string(id) + "," + std::to_string(input.ConsumeIntegral<int64_t>()) +
      "); INSERT OR IGNORE INTO poe_schedule_days VALUES (" + std::to_string(id) + "," +
      std::to_string(input.ConsumeIntegralInRange(-1, 32)) + ");";
  executeSql(db, children.c_str());
}

TickTime takeTime(FuzzedDataProvider& input) {
  const auto number = [&](int from, int to) { return input.ConsumeIntegralInRange(from, to); };
  return {number(1900, 9999), number(1, 12), number(1, 31), number(0, 23), number(0, 59), 0,
          number(0, 6)};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  openInProcess();
  static int64_t id = 0;  // fired occurrences are remembered by id
  FuzzedDataProvider input(data, size);
  const TickTime now = takeTime(input);
  {
    const ScheduleAccess access;
    executeSql(access.db(), "DELETE FROM poe_schedule;");
    insertRow(access.db(), ++id, input);
    evaluateSchedules(access, now);
    const uint64_t last = switchsim::lastSeq();
    evaluateSchedules(access, now);
    require(switchsim::lastSeq() == last, "nothing fires twice");
  }

  reapOrphanedWindowRuns();
  JsonPtr list;
  require(scheduleList(1, &list) == RESULT_OK, "schedules can be listed");
  forgetOften();
  return 0;
}
