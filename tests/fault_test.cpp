// Real faults around the running daemon: while one lasts, requests are answered with codes and the
// log tells why; when it is over, everything works again without a restart.
#include <sqlite3.h>
#include <sys/resource.h>

#include "base/database.h"
#include "switchsim/shared_state.h"
#include "tests/support/daemon_process.h"

namespace {

constexpr int kSpeed = 20;  // of the daemon's clock
constexpr uintmax_t kLogLimitBytes = 1048576;
const std::string kFailed = "error 10000";
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
    EXPECT_EQ(errorOf("schedule.create", schedule(when)), "") << when;
    EXPECT_EQ(errorOf("bootdelay.set", R"({"unit":3,"delaySec":30})"), "") << when;
    EXPECT_EQ(errorsOfReading() + errorOf("sensors.all", kUnit1), "") << when;
    EXPECT_EQ(restart(), "success") << when;
  }

  static std::string schedule(const std::string& name) {
    return scheduleParams(fill(R"("name":"%","restartTime":"never","ifNums":[2])", name));
  }

  // Restarts port 1 and waits for the result of the run, or gives the error of the request.
  static std::string restart() {
    const JsonPtr answer = jsonParse(rpc("manual.reset", kReset).c_str());
    const int64_t run = jsonInt64Member(jsonMember(answer.get(), "result"), "runId", 0);
    if (run == 0) {
      return "error " + jsonText(answer, "error");
    }
    const std::string result = fill("SELECT overall_result FROM poe_history WHERE run_id=%", run);
    EXPECT_TRUE(waitUntil([&] { return query(result) != "NULL"; }));
    return query(result);
  }

  // "" for none, but not when there is no answer.
  static std::string errorOf(const std::string& method, const std::string& params) {
    const JsonPtr answer = jsonParse(rpc(method, params).c_str());
    return jsonText(answer, "ok") == "true" ? "" : "error " + jsonText(answer, "error");
  }
  static std::string errorsOfReading() {
    return errorOf("history.list", kUnit1) + errorOf("schedule.list", kUnit1);
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
  ASSERT_TRUE(daemon_.startReady());

  limit(RLIMIT_FSIZE, 0);
  EXPECT_EQ(errorOf("no.method", kUnit1), "error 17002") << "the log rotates meanwhile";
  const std::pair<const char*, std::string> changes[] = {
      {"schedule.create", schedule("full")},
      {"schedule.update", schedule("full").insert(1, R"("scheduleId":1,)")},
      {"schedule.delete", R"({"unit":1,"scheduleId":1})"},
      {"bootdelay.set", R"({"unit":3,"delaySec":60})"}};

  for (const auto& [method, params] : changes) {
    EXPECT_EQ(errorOf(method, params), kFailed) << method;
  }

  EXPECT_EQ(errorsOfReading(), "");
  const uint64_t before = switchsim::lastSeq();
  const int64_t unrecorded = jsonInt64Member(rpcResult("manual.reset", kReset).get(), "runId", 0);
  EXPECT_TRUE(waitUntil([&] { return acts(before) == "1- 1+"; })) << acts(before);

  limit(RLIMIT_FSIZE, RLIM_INFINITY);
  expectItWorks("with room again");
  const char* newest = "SELECT MAX(run_id) FROM poe_history";
  EXPECT_EQ(query(newest), std::to_string(unrecorded + 1)) << "its id was given to another";
  query(fill("DELETE FROM poe_history WHERE run_id=%", unrecorded + 1));
  EXPECT_EQ(restart(), "success");
  EXPECT_EQ(query(newest), std::to_string(unrecorded + 2));
  EXPECT_EQ(countOf(rpc("schedule.list", kUnit1), R"("name")"), 2)
      << "what was refused is not there";
  EXPECT_EQ(countOf(rpc("bootdelay.get", R"({"unit":3})"), R"("delaySec":30)"), 1);
  EXPECT_EQ(errorOf("other.method", kUnit1), "error 17002");
  EXPECT_EQ(logged("unknown RPC method: other.method"), 1);
  EXPECT_GE(fs::file_size(kOldLogFilePath), kLogLimitBytes - 1);
}

TEST_F(FaultTest, aDatabaseThatAnotherProcessLocksIsWaitedForThenReported) {
  const auto create = [] { return errorOf("schedule.create", schedule("locked")); };
  for (const char* path : {kScheduleDbPath, kHistoryDbPath}) {
    const bool schedules = path == kScheduleDbPath;
    DatabasePtr db;
    ASSERT_TRUE(openDatabase(path, &db) && executeSql(db.get(), "BEGIN IMMEDIATE;"));
    const int64_t beginMs = switchsim::monotonicMs();
    EXPECT_EQ(schedules ? create() : restart(), kFailed);
    EXPECT_GE((switchsim::monotonicMs() - beginMs) * kSpeed, 2900);
    EXPECT_EQ(schedules ? restart() : create(), schedules ? "success" : "");
    EXPECT_EQ(errorsOfReading(), "");

    ASSERT_TRUE(executeSql(db.get(), "COMMIT;"));
    rpc("schedule.delete", R"({"unit":1,"scheduleId":2})");
    expectItWorks(path);
  }

  EXPECT_GE(logged("database is locked"), 1);
}

TEST_F(FaultTest, withoutDescriptorsClientsWaitAndTheLogIsNotFlooded) {
  constexpr rlim_t kDescriptors = 24;
  limit(RLIMIT_NOFILE, kDescriptors);
  std::deque<SocketClient> silent(kDescriptors);
  ASSERT_TRUE(waitUntil([] { return logged("accept failed: Too many open files") >= 2; }));
  EXPECT_LT(logText().size(), 20000U);
  silent.clear();
  limit(RLIMIT_NOFILE, RLIM_INFINITY);
  expectItWorks("with descriptors again");
}
