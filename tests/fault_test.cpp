// Real faults around the running daemon: while one lasts, requests are answered with codes and the
// log tells why; when it is over, everything works again without a restart.
#include <sqlite3.h>
#include <sys/resource.h>

#include <csignal>

#include "base/database.h"
#include "daemon/paths.h"
#include "tests/support/daemon_process.h"
#include "tests/support/socket_client.h"

namespace {

constexpr int kSpeed = 20;  // of the daemon's clock
constexpr uintmax_t kLogLimitBytes = 1048576;
const std::string kUnit1 = R"({"unit":1})";
const std::string kReset = R"({"unit":1,"request":{"ifNums":[1],"offTimeSec":1}})";

class FaultTest : public RunningDaemonTest {
 protected:
  void SetUp() override {
    signal(SIGXFSZ, SIG_IGN);  // which the daemon inherits
    RunningDaemonTest::SetUp();
    expectItWorks("at first");
  }

  // Every kind of request does its work.
  static void expectItWorks(const std::string& when) {
    for (const auto& [method, params] : {
             std::pair<std::string, std::string>{"schedule.create", schedule(when)},
             {"schedule.list", kUnit1},
             {"bootdelay.set", R"({"unit":3,"delaySec":30})"},
             {"sensors.all", kUnit1},
             {"history.list", kUnit1},
         }) {
      EXPECT_EQ(rpc(method, params).substr(0, 10), R"({"ok":true)")
          << method << " " << when << logText();
    }
    EXPECT_EQ(restart(), "success") << when;
  }

  static std::string schedule(const std::string& name) {
    return scheduleParams(R"("name":")" + name + R"(","restartTime":"never","ifNums":[2])");
  }

  // Restarts port 1 and waits for the result of the run, or tells the error of the request.
  static std::string restart() {
    const JsonPtr answer = jsonParse(rpc("manual.reset", kReset).c_str());
    const int64_t run = jsonInt64Member(jsonMember(answer.get(), "result"), "runId", 0);
    if (run == 0) {
      return jsonText(answer, "error");
    }
    const std::string result =
        "SELECT overall_result FROM poe_history WHERE run_id=" + std::to_string(run) + ";";
    EXPECT_TRUE(waitUntil([&] { return queryValue(kHistoryDbPath, result) != "NULL"; }))
        << logText();
    return queryValue(kHistoryDbPath, result);
  }

  static std::string errorOf(const std::string& method, const std::string& params) {
    return jsonText(jsonParse(rpc(method, params).c_str()), "error");
  }

  void limit(decltype(RLIMIT_FSIZE) resource, rlim_t most) const {
    rlimit limits{};
    ASSERT_EQ(prlimit(daemon_.pid(), resource, nullptr, &limits), 0);
    limits.rlim_cur = std::min(most, limits.rlim_max);
    ASSERT_EQ(prlimit(daemon_.pid(), resource, &limits, nullptr), 0);
  }
};

}  // namespace

TEST_F(FaultTest, aFullDiskRefusesChangesOnly) {
  EXPECT_EQ(daemon_.stop(), 0);
  fs::resize_file(kLogFilePath, kLogLimitBytes - 1);
  ASSERT_TRUE(daemon_.startReady()) << logText();
  limit(RLIMIT_FSIZE, 0);
  EXPECT_EQ(errorOf("no.method", kUnit1), "17002") << "the log rotates meanwhile";
  EXPECT_EQ(errorOf("schedule.create", schedule("full")), "10000");
  EXPECT_EQ(errorOf("schedule.update", schedule("full").insert(1, R"("scheduleId":1,)")), "10000");
  EXPECT_EQ(errorOf("schedule.delete", R"({"unit":1,"scheduleId":1})"), "10000");
  EXPECT_EQ(errorOf("bootdelay.set", R"({"unit":3,"delaySec":60})"), "10000");
  EXPECT_EQ(errorOf("history.list", kUnit1) + errorOf("schedule.list", kUnit1), "");
  const uint64_t before = switchsim::lastSeq();
  const int64_t unrecorded = jsonInt64Member(rpcResult("manual.reset", kReset).get(), "runId", 0);
  EXPECT_TRUE(waitUntil([&] { return acts(before) == "1- 1+"; })) << acts(before);
  limit(RLIMIT_FSIZE, RLIM_INFINITY);
  expectItWorks("with room again");
  EXPECT_EQ(queryValue(kHistoryDbPath, "SELECT MAX(run_id) FROM poe_history;"),
            std::to_string(unrecorded + 1))
      << "the id of the run that is not recorded was given to another";
  executeOn(kHistoryDbPath,
            "DELETE FROM poe_history WHERE run_id=" + std::to_string(unrecorded + 1));
  EXPECT_EQ(restart(), "success");
  EXPECT_EQ(queryValue(kHistoryDbPath, "SELECT MAX(run_id) FROM poe_history;"),
            std::to_string(unrecorded + 2));
  EXPECT_EQ(countOf(rpc("schedule.list", kUnit1), R"("name")"), 2)
      << "what was refused is not there";
  EXPECT_EQ(countOf(rpc("bootdelay.get", R"({"unit":3})"), R"("delaySec":30)"), 1);
  EXPECT_EQ(errorOf("other.method", kUnit1), "17002");
  EXPECT_EQ(countOf(logText(), "unknown RPC method: other.method"), 1) << logText();
  EXPECT_GE(fs::file_size(kOldLogFilePath), kLogLimitBytes - 1);
}

TEST_F(FaultTest, aDatabaseThatAnotherProcessLocksIsWaitedForThenReported) {
  for (const char* path : {kScheduleDbPath, kHistoryDbPath}) {
    DatabasePtr db;
    ASSERT_TRUE(openDatabase(path, &db) && executeSql(db.get(), "BEGIN IMMEDIATE;"))
        << sqlite3_errmsg(db.get());
    const bool schedules = path == kScheduleDbPath;
    const auto create = [] { return errorOf("schedule.create", schedule("locked")); };
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(schedules ? create() : restart(), "10000");
    const std::chrono::duration<double> waited =
        (std::chrono::steady_clock::now() - begin) * kSpeed;
    EXPECT_GE(waited.count(), 2.9);
    EXPECT_EQ(schedules ? restart() : create(), schedules ? "success" : "");
    EXPECT_EQ(errorOf("history.list", kUnit1) + errorOf("schedule.list", kUnit1), "")
        << "reading goes on";
    ASSERT_TRUE(executeSql(db.get(), "COMMIT;"));
    rpc("schedule.delete", R"({"unit":1,"scheduleId":2})");
    expectItWorks(path);
  }
  EXPECT_GE(countOf(logText(), "database is locked"), 1) << logText();
}

TEST_F(FaultTest, withoutDescriptorsClientsWaitAndTheLogIsNotFlooded) {
  constexpr rlim_t kDescriptors = 24;
  limit(RLIMIT_NOFILE, kDescriptors);
  std::deque<SocketClient> silent(kDescriptors);
  ASSERT_TRUE(waitUntil([] {
    return countOf(logText(), "accept failed: Too many open files") >= 2;
  })) << logText();
  EXPECT_LT(logText().size(), 20000U);
  silent.clear();
  limit(RLIMIT_NOFILE, RLIM_INFINITY);
  expectItWorks("with descriptors again");
}
