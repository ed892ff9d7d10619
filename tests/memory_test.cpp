// Memory runs out at the n-th allocation of a request, for every n, once only or from then on.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "base/unique_fd.h"
#include "daemon/paths.h"
#include "ipc/client_worker.h"
#include "scheduler/scheduler_thread.h"
#include "tests/support/fixtures.h"

namespace {

constexpr int64_t kNever = INT64_MAX;
constexpr int kMaxAllocations = 20000;

std::atomic<int64_t> allocationsLeft{kNever};  // until one fails
std::atomic<bool> failsOnce{true};
sqlite3_mem_methods sqliteMemory;

bool mayAllocate() {
  if (allocationsLeft == kNever) {
    return true;
  }
  const int64_t left = allocationsLeft.fetch_sub(1);
  return left > 0 || (failsOnce && left < 0);
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

// Runs work while the n-th allocation fails. True when there were that many.
template <typename Work>
bool withFailureAt(int64_t n, bool once, const Work& work) {
  failsOnce = once;
  allocationsLeft = n;
  work();
  return allocationsLeft.exchange(kNever) < 0;
}

class MemoryTest : public StoreTest {
 protected:
  static void SetUpTestSuite() { takeOverAllocators(); }

  // One request through a connection's worker, on this thread. The answer without its newline.
  static std::string ask(const std::string& request) {
    bool reached = false;
    return ask(request, kNever, true, &reached);
  }

  static std::string ask(const std::string& request, int64_t n, bool once, bool* reached) {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const UniqueFd client(ends[0]);
    EXPECT_EQ(write(client.get(), request.data(), request.size()), static_cast<ssize_t>(request.size()));
    shutdown(client.get(), SHUT_WR);
    *reached = withFailureAt(n, once, [&] { clientWorker(reinterpret_cast<void*>(static_cast<intptr_t>(ends[1]))); });
    std::string answer(65536, '\0');
    const ssize_t size = recv(client.get(), answer.data(), answer.size(), MSG_WAITALL);
    answer.resize(size > 0 ? static_cast<size_t>(size - 1) : 0);
    return answer;
  }

  static std::string request(const std::string& method, const std::string& params) {
    return R"({"method":")" + method + R"(","params":)" + params + "}";
  }
  // All schedules, each with the number of its days and ports.
  static std::string schedules() {
    return queryValue(
        kScheduleDbPath,
        "SELECT GROUP_CONCAT(name || ' ' || recurrence || ' ' || (SELECT COUNT(*) FROM poe_schedule_days d "
        "WHERE d.schedule_id=s.schedule_id) || ' ' || (SELECT COUNT(*) FROM poe_schedule_ifs i WHERE "
        "i.schedule_id=s.schedule_id)) FROM poe_schedule s;");
  }

  static void resetSchedules() {
    executeOn(kScheduleDbPath,
              "PRAGMA foreign_keys=ON; DELETE FROM poe_schedule; INSERT INTO poe_schedule VALUES "
              "(1,1,'old','restart',NULL,NULL,'daily',NULL,NULL,'03:00',1,0,0,0,1,0); "
              "INSERT INTO poe_schedule_ifs VALUES (1,1);");
  }

  const std::string create_ = request(
      "schedule.create", R"({"unit":1,"schedule":{"name":"new","scheduleType":"power_off","recurrence":"daily",)"
                         R"("startTime":"12:00","endTime":"12:00","ifNums":[3,4]}})");
  const std::string getUnit1_ = request("bootdelay.get", R"({"unit":1})");
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
  const std::string before = "old daily 0 1";
  const std::string updated = "old monthly 2 2";
  const struct {
    std::string request;
    std::string after;  // the schedules, when it is answered with ok
  } cases[] = {
      {create_, before + ",new daily 0 2"},
      {request("schedule.update",
               R"({"unit":1,"scheduleId":1,"schedule":{"name":"old","scheduleType":"restart","recurrence":"monthly",)"
               R"("restartTime":"04:00","offTimeSec":1,"recurrenceDays":[1,2],"ifNums":[1,2]}})"),
       updated},
      {request("schedule.delete", R"({"unit":1,"scheduleId":1})"), "NULL"},
      {request("schedule.get", R"({"unit":1,"scheduleId":1})"), before},
      {request("schedule.list", R"({"unit":1})"), before},
      {request("history.list", R"({"unit":1})"), before},
      {request("history.detail", R"({"unit":1,"runId":1})"), before},
      {request("bootdelay.set", R"({"unit":2,"delaySec":30})"), before},
      {getUnit1_, before},
      {request("sensors.all", R"({"unit":1})"), before},
      {request("manual.reset", R"({"unit":1,"request":{"ifNums":[1,2]}})"), before},
  };
  ask(request("manual.reset", R"({"unit":1,"request":{"ifNums":[1]}})"));  // a run for the history
  ask(request("bootdelay.set", R"({"unit":1,"delaySec":60})"));
  const std::string unit1 = ask(getUnit1_);
  for (const auto& c : cases) {
    for (int n = 0, reached = 2; n < kMaxAllocations && reached > 0; ++n) {
      reached = 0;
      for (const bool once : {true, false}) {
        bool failed = false;
        resetSchedules();
        const std::string answer = ask(c.request, n, once, &failed);
        reached += failed ? 1 : 0;
        const bool ok = answer.rfind(R"({"ok":true)", 0) == 0;
        const std::string what = std::to_string(n) + c.request + answer;
        EXPECT_TRUE(ok || answer.empty() || answer.rfind(R"({"ok":false,"error":1)", 0) == 0) << what;
        EXPECT_TRUE(failed || ok) << what;
        // Days that find no memory are none, and the answer shows it.
        const bool lostDays = ok && c.after == updated && answer.find("recurrenceDays") == std::string::npos;
        const std::string after = lostDays ? "old monthly 0 2" : c.after;
        EXPECT_TRUE(schedules() == (ok ? after : before) || (answer.empty() && schedules() == after))
            << what << schedules();
        ASSERT_EQ(ask(getUnit1_), unit1) << what;
      }
    }
  }
}

TEST_F(MemoryTest, aMinuteWithoutMemoryPassesAndTheNextIsCarriedOut) {
  ask(create_);
  bool reached = true;
  int minute = 0;
  for (; minute < kMaxAllocations && reached; ++minute) {
    char day[32];
    snprintf(day, sizeof day, "2%03d-01-01 12:00:00", minute % 1000);
    ASSERT_EQ(switchsim::setClock(switchsim::ClockMode::frozen, day), "");
    reached = withFailureAt(minute, true, tickOnce);
  }
  EXPECT_FALSE(reached);
  EXPECT_EQ(query("SELECT overall_result FROM poe_history ORDER BY run_id DESC LIMIT 1;"), "success") << logText();
}
