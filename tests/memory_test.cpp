// Memory runs out at the n-th allocation of a request or a minute, for every n: once, twice or from
// then on. Only this thread's allocations count, so that every n is the same place each time.
#include <cjson/cJSON.h>
#include <sqlite3.h>

#include <cerrno>
#include <new>

#include "scheduler/scheduler_thread.h"
#include "tests/support/fixtures.h"
#include "tests/support/in_process.h"

namespace {

constexpr int64_t kNever = INT64_MAX;
constexpr int kMaxAllocations = 20000;

constexpr int64_t kFailures[] = {1, 2, kNever};  // in a row
thread_local int64_t allocationsLeft = kNever;   // until one fails
thread_local int64_t failures = 0;
sqlite3_mem_methods sqliteMemory;

bool mayAllocate() {
  if (allocationsLeft == kNever) {
    return true;
  }
  const int64_t left = allocationsLeft--;
  const bool may = left > 0 || left <= -failures;
  errno = may ? errno : ENOMEM;
  return may;
}

void* allocate(size_t size) {
  return mayAllocate() ? malloc(size) : nullptr;
}

void* sqliteAllocate(int size) {
  return mayAllocate() ? sqliteMemory.xMalloc(size) : nullptr;
}

void* sqliteReallocate(void* memory, int size) {
  return mayAllocate() ? sqliteMemory.xRealloc(memory, size) : nullptr;
}

void takeOverAllocators() {
  sqlite3_config(SQLITE_CONFIG_GETMALLOC, &sqliteMemory);
  sqlite3_mem_methods ours = sqliteMemory;
  ours.xMalloc = sqliteAllocate;
  ours.xRealloc = sqliteReallocate;
  sqlite3_config(SQLITE_CONFIG_MALLOC, &ours);
  cJSON_Hooks hooks{allocate, free};
  cJSON_InitHooks(&hooks);
}

// Runs work while so many allocations fail after the n-th. True when it got there.
template <typename Work>
bool withFailuresAfter(int64_t n, int64_t count, const Work& work) {
  failures = count;
  allocationsLeft = n;
  work();
  return std::exchange(allocationsLeft, kNever) < 0;
}

class MemoryTest : public TickTest {
 protected:
  static void SetUpTestSuite() { takeOverAllocators(); }

  // One request through a connection's worker, on this thread. The answer without its newline.
  std::string ask(const std::string& request, int64_t n = kNever, int64_t count = 0) {
    const auto serve = [&](const auto& work) { failed_ = withFailuresAfter(n, count, work); };
    const std::string answer = askWorker(request, serve);
    return answer.substr(0, answer.find('\n'));
  }

  // All schedules, each with the number of its days and ports; then the delays of units 1 and 2.
  std::string stored() {
    const std::string schedules = queryValue(kScheduleDbPath, R"sql(
        SELECT GROUP_CONCAT(name || ' ' || recurrence
          || ' ' || (SELECT COUNT(*) FROM poe_schedule_days d WHERE d.schedule_id=s.schedule_id)
          || ' ' || (SELECT COUNT(*) FROM poe_schedule_ifs i WHERE i.schedule_id=s.schedule_id))
        FROM poe_schedule s)sql");
    return schedules + "; " + delay(1) + ", " + delay(2);
  }
  std::string delay(int unit) {
    const std::string answer = ask(requestText("bootdelay.get", fill(R"({"unit":%})", unit)));
    const JsonPtr tree = jsonParse(answer.c_str());
    return printJson(jsonMember(jsonMember(tree.get(), "result"), "delaySec"));
  }

  static void reset() {
    writeFile(kBootDelayConfigPath, R"({"units":{"1":{"delaySec":60},"2":{"delaySec":60}}})");
    executeOn(kScheduleDbPath, R"sql(
        PRAGMA foreign_keys=ON;
        DELETE FROM poe_schedule;
        INSERT INTO poe_schedule VALUES
          (1, 1, 'old', 'restart', '', '', 'daily', '', '', '03:00', 1, 0, 0, 0, 1, 0);
        INSERT INTO poe_schedule_ifs VALUES (1, 1);)sql");
  }

  bool failed_ = false;  // whether the last request got to its failing allocation
  const std::string create_ = requestText(
      "schedule.create", scheduleParams(R"("name":"new","scheduleType":"power_off",)"
                                        R"("startTime":"12:00","endTime":"12:00","ifNums":[3,4])"));
};

}  // namespace

// Not inlined, or the compiler finds that new and free do not match.
__attribute__((noinline)) void* operator new(size_t size) {
  void* memory = allocate(size);
  return memory != nullptr ? memory : throw std::bad_alloc();
}
__attribute__((noinline)) void operator delete(void* memory) noexcept {
  free(memory);
}
__attribute__((noinline)) void operator delete(void* memory, size_t) noexcept {
  free(memory);
}

TEST_F(MemoryTest, aRequestWithoutMemoryDoesAllOrNothingAndSaysWhich) {
  const std::string before = "old daily 0 1; 60, 60";
  const std::string updated = "old monthly 2 2; 60, 60";
  const std::string one = R"("unit":1,"scheduleId":1)";
  const char* update =
      R"("name":"old","recurrence":"monthly","recurrenceDays":[1,2],"ifNums":[1,2])";
  const std::pair<std::string, std::string> cases[] = {
      // with what is stored when it is answered with ok
      {create_, "old daily 0 1,new daily 0 2; 60, 60"},
      {requestText("schedule.update", scheduleParams(update, one)), updated},
      {requestText("schedule.delete", "{" + one + "}"), "NULL; 60, 60"},
      {requestText("schedule.get", "{" + one + "}"), before},
      {requestText("schedule.list", R"({"unit":1})"), before},
      {requestText("history.list", R"({"unit":1})"), before},
      {requestText("history.detail", R"({"unit":1,"runId":1})"), before},
      {requestText("bootdelay.set", R"({"unit":2,"delaySec":30})"), "old daily 0 1; 60, 30"},
      {requestText("bootdelay.get", R"({"unit":1})"), before},
      {requestText("sensors.all", R"({"unit":1})"), before},
      {requestText("manual.reset", R"({"unit":1,"request":{"ifNums":[1,2]}})"), before},
  };
  ask(cases[10].first);  // a run for the history

  for (const auto& [request, whenDone] : cases) {
    for (int n = 0, reached = 1; n < kMaxAllocations && reached > 0; ++n) {
      reached = 0;
      for (const int64_t count : kFailures) {
        reset();
        const std::string answer = ask(request, n, count);
        const bool failed = failed_, ok = answer.rfind(R"({"ok":true)", 0) == 0;
        reached += failed ? 1 : 0;
        SCOPED_TRACE(fill("%. %: %", n, request, answer));
        EXPECT_TRUE(ok || answer.empty() || answer.rfind(R"({"ok":false,"error":1)", 0) == 0);
        EXPECT_TRUE(failed || ok);
        EXPECT_TRUE(!ok || countOf(request, "reset") == 0 ||
                    countOf(answer, R"("interPortDelaySec":0)") == 1);
        // Days that find no memory are none, and the answer shows it.
        const bool lostDays = ok && whenDone == updated && countOf(answer, "recurrenceDays") == 0;
        const std::string after = lostDays ? "old monthly 0 2; 60, 60" : whenDone;
        const std::string now = stored();
        ASSERT_TRUE(now == (ok ? after : before) || (answer.empty() && now == after)) << now;
      }
    }
  }
}

TEST_F(MemoryTest, aMinuteWithoutMemoryPassesTheNextIsCarriedOutAndAnOpenWindowOutlivesThem) {
  createWindow("power_off", "12:00", "13:00", R"("endDate":"2095-01-01","ifNums":[1])");
  EXPECT_EQ(tickAt("2095-01-01 12:00"), "1-");
  query("UPDATE poe_history SET started_at=started_at-200000");  // as if the clock had been moved
  ask(create_);
  time_t noon = 4102488000;  // 2100-01-01 12:00:00
  const auto nextNoon = [&noon] {
    char text[32];
    strftime(text, sizeof text, "%F %T", gmtime(&noon));
    noon += 86400;
    switchsim::setClock(switchsim::ClockMode::frozen, text);
  };

  for (const int64_t count : kFailures) {
    bool reached = true;
    for (int n = 0; n < kMaxAllocations && reached; ++n) {
      nextNoon();
      reached = withFailuresAfter(n, count, tickOnce);
      nextNoon();
      const uint64_t before = switchsim::lastSeq();
      tickOnce();
      ASSERT_EQ(acts(before), "3- 4- 3+ 4+") << "after allocation " << n;
      ASSERT_EQ(query("SELECT overall_result FROM poe_history ORDER BY run_id DESC"), "success");
      ASSERT_EQ(query("SELECT status FROM poe_history WHERE run_id=1"), "running") << n;
    }
    EXPECT_FALSE(reached);
  }
}

TEST_F(MemoryTest, aCorruptSettingsFileIsNotTakenForWantOfMemory) {
  writeFile(kBootDelayConfigPath, R"({"units":{)");
  errno = ENOMEM;  // of an earlier failure
  EXPECT_EQ(ask(requestText("bootdelay.set", R"({"unit":1,"delaySec":5})")), R"({"ok":true})");
}
