// Real faults around the running daemon: while one lasts, requests are answered with codes and the log tells why; when
// it is over, everything works again without a restart.
#include <grp.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "base/database.h"
#include "daemon/paths.h"
#include "switchsim/operations.h"
#include "tests/support/daemon_process.h"
#include "tests/support/fixtures.h"
#include "tests/support/socket_client.h"

namespace fs = std::filesystem;

namespace {

constexpr int kSpeed = 20;
constexpr uintmax_t kLogLimitBytes = 1048576;
const std::string kUnit1 = R"({"unit":1})";
const std::string kReset = R"({"unit":1,"request":{"ifNums":[1],"offTimeSec":1}})";
constexpr const char* kSkipped = "ordinary users can't enter the build folder";
const std::string kGone;  // the connection is closed without an answer

void surviveFileLimit() {
  signal(SIGXFSZ, SIG_IGN);
}

const uid_t kLonelyUser = 50000 + static_cast<uid_t>(getpid()) % 10000;

// As one whom file modes and, having no other process, exact numbers of processes bind.
void becomeOrdinary() {
  if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setuid(kLonelyUser) != 0)) {
    _exit(1);
  }
}

class FaultTest : public RootTest {
 protected:
  void SetUp() override {
    RootTest::SetUp();
    ASSERT_TRUE(daemon_.startReady(surviveFileLimit)) << logText();
    expectItWorks("at first");
  }
  void TearDown() override {
    EXPECT_EQ(daemon_.stop(), 0) << logText();
    EXPECT_EQ(switchsim::misuseCount(), 0U);
  }

  // False, with the daemon as it was, when an ordinary user can't enter the build folder.
  bool restartAsOrdinary() {
    EXPECT_EQ(daemon_.stop(), 0);
    const fs::path root = fs::path(kLogFilePath).parent_path().parent_path();
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
      fs::permissions(entry.path(), fs::perms::all);
    }
    if (daemon_.startReady(becomeOrdinary)) {
      return true;
    }
    constexpr int kExecFailed = 127;
    EXPECT_EQ(daemon_.wait(), kExecFailed) << logText();
    EXPECT_TRUE(daemon_.startReady()) << logText();
    return false;
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
      EXPECT_EQ(rpc(method, params).substr(0, 10), R"({"ok":true)") << method << " " << when << logText();
    }
    EXPECT_EQ(restart(), "success") << when;
  }

  static std::string schedule(const std::string& name) {
    return R"({"unit":1,"schedule":{"name":")" + name +
           R"(","scheduleType":"restart","recurrence":"daily","restartTime":"never","offTimeSec":1,"ifNums":[2]}})";
  }

  // Restarts port 1 and waits for the result of the run, or tells the error of the request.
  static std::string restart() {
    const JsonPtr answer = jsonParse(rpc("manual.reset", kReset).c_str());
    const int64_t run = jsonInt64Member(jsonMember(answer.get(), "result"), "runId", 0);
    if (run == 0) {
      return jsonText(answer, "error");
    }
    const std::string result = "SELECT overall_result FROM poe_history WHERE run_id=" + std::to_string(run) + ";";
    EXPECT_TRUE(waitUntil([&] { return queryValue(kHistoryDbPath, result) != "NULL"; })) << logText();
    return queryValue(kHistoryDbPath, result);
  }

  static std::string errorOf(const std::string& method, const std::string& params) {
    const std::string answer = rpc(method, params);
    return answer.empty() ? kGone : jsonText(jsonParse(answer.c_str()), "error");
  }

  // become: what the daemon did before it started, for only its own user may do this.
  void limit(decltype(RLIMIT_FSIZE) resource, rlim_t most, void (*become)() = surviveFileLimit) const {
    const pid_t helper = fork();
    if (helper == 0) {
      become();
      rlimit limits{};
      bool done = prlimit(daemon_.pid(), resource, nullptr, &limits) == 0;
      limits.rlim_cur = std::min(most, limits.rlim_max);
      done = done && prlimit(daemon_.pid(), resource, &limits, nullptr) == 0;
      _exit(done ? 0 : 1);
    }
    int status = -1;
    EXPECT_EQ(waitpid(helper, &status, 0), helper);
    ASSERT_EQ(status, 0);
  }

  DaemonProcess daemon_{TEST_DAEMON, kSpeed};
};

}  // namespace

TEST_F(FaultTest, aFullDiskRefusesChangesOnly) {
  EXPECT_EQ(daemon_.stop(), 0);
  fs::resize_file(kLogFilePath, kLogLimitBytes - 1);
  ASSERT_TRUE(daemon_.startReady(surviveFileLimit)) << logText();
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
  EXPECT_EQ(queryValue(kHistoryDbPath, "SELECT MAX(run_id) FROM poe_history;"), std::to_string(unrecorded + 1))
      << "the id of the run that is not recorded was given to another";
  executeOn(kHistoryDbPath, "DELETE FROM poe_history WHERE run_id=" + std::to_string(unrecorded + 1));
  EXPECT_EQ(restart(), "success");
  EXPECT_EQ(queryValue(kHistoryDbPath, "SELECT MAX(run_id) FROM poe_history;"), std::to_string(unrecorded + 2));
  EXPECT_EQ(countOf(rpc("schedule.list", kUnit1), R"("name")"), 2) << "what was refused is not there";
  EXPECT_EQ(countOf(rpc("bootdelay.get", R"({"unit":3})"), R"("delaySec":30)"), 1);
  EXPECT_EQ(errorOf("other.method", kUnit1), "17002");
  EXPECT_EQ(countOf(logText(), "unknown RPC method: other.method"), 1) << logText();
  EXPECT_GE(fs::file_size(kOldLogFilePath), kLogLimitBytes - 1);
}

TEST_F(FaultTest, aDataDirectoryThatCannotBeWrittenRefusesSettingsAndTheNextStart) {
  if (!restartAsOrdinary()) {
    GTEST_SKIP() << kSkipped;
  }
  fs::permissions(kDataDirPath, fs::perms(0555));
  EXPECT_EQ(errorOf("bootdelay.set", R"({"unit":3,"delaySec":60})"), "10000");
  EXPECT_EQ(errorOf("schedule.create", schedule("open already")), "");
  EXPECT_EQ(daemon_.stop(), 0);
  fs::permissions(kScheduleDbPath, fs::perms(0444));
  daemon_.start(becomeOrdinary);
  EXPECT_EQ(daemon_.wait(), 1);
  EXPECT_EQ(countOf(logText(), "schedule db open failed: attempt to write a readonly database"), 1) << logText();
  fs::permissions(kScheduleDbPath, fs::perms(0666));
  fs::permissions(kDataDirPath, fs::perms::all);
  ASSERT_TRUE(daemon_.startReady(becomeOrdinary)) << logText();
  expectItWorks("writable");
}

TEST_F(FaultTest, aDatabaseThatAnotherProcessLocksIsWaitedForThenReported) {
  for (const char* path : {kScheduleDbPath, kHistoryDbPath}) {
    DatabasePtr db;
    ASSERT_TRUE(openDatabase(path, &db) && executeSql(db.get(), "BEGIN IMMEDIATE;")) << sqlite3_errmsg(db.get());
    const bool schedules = path == kScheduleDbPath;
    const auto create = [] { return errorOf("schedule.create", schedule("locked")); };
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(schedules ? create() : restart(), "10000");
    const std::chrono::duration<double> waited = (std::chrono::steady_clock::now() - begin) * kSpeed;
    EXPECT_GE(waited.count(), 2.9);
    EXPECT_EQ(schedules ? restart() : create(), schedules ? "success" : "");
    EXPECT_EQ(errorOf("history.list", kUnit1) + errorOf("schedule.list", kUnit1), "") << "reading goes on";
    ASSERT_TRUE(executeSql(db.get(), "COMMIT;"));
    rpc("schedule.delete", R"({"unit":1,"scheduleId":2})");
    expectItWorks(path);
  }
  EXPECT_GE(countOf(logText(), "database is locked"), 1) << logText();
}

TEST_F(FaultTest, aDatabaseThatWasOverwrittenWhileItWasDownCostsAnswersOnly) {
  EXPECT_EQ(daemon_.stop(), 0);
  const auto size = fs::file_size(kScheduleDbPath);
  std::fstream(kScheduleDbPath, std::ios::in | std::ios::out | std::ios::binary).seekp(4096)
      << std::string(size - 4096, 'x');
  ASSERT_TRUE(daemon_.startReady(surviveFileLimit)) << logText();
  EXPECT_EQ(errorOf("schedule.create", schedule("corrupt")) + errorOf("schedule.list", kUnit1), "1000010000");
  EXPECT_EQ(restart(), "success") << "the rest goes on";
  EXPECT_GE(countOf(logText(), "schedules could not be read to the end: database disk image is malformed"), 1);
  EXPECT_EQ(daemon_.stop(), 0);
  fs::resize_file(kScheduleDbPath, 100);
  daemon_.start(surviveFileLimit);
  EXPECT_EQ(daemon_.wait(), 1);
  EXPECT_EQ(countOf(logText(), "schedule schema apply failed: database disk image is malformed"), 1) << logText();
  fs::resize_file(kScheduleDbPath, 0);
  ASSERT_TRUE(daemon_.startReady(surviveFileLimit)) << logText();
  expectItWorks("with a fresh database");
}

TEST_F(FaultTest, aSwitchThatRefusesOrIsSlowFailsPortsNotTheDaemon) {
  using switchsim::Operation;
  for (auto i = static_cast<int>(Operation::osVersionGet); i <= static_cast<int>(Operation::cliShow); ++i) {
    const auto operation = static_cast<Operation>(i);
    const bool isNeededToKnowPort = operation == Operation::unitSlotPortGet || operation == Operation::sensorsGet;
    const std::string restarted = operation == Operation::adminEnableSet ? "failed"
                                  : isNeededToKnowPort                   ? "10003"
                                                                         : "success";
    const std::string_view what = switchsim::operationName(operation);
    switchsim::Fault fault;
    fault.operation = operation;
    fault.result = -1;
    ASSERT_EQ(switchsim::addFault(fault), "");
    EXPECT_EQ(restart(), restarted) << what << logText();
    EXPECT_EQ(errorOf("sensors.all", kUnit1), "") << what;
    fault.result = 0;
    fault.delayMs = 100;
    ASSERT_EQ(switchsim::clearFaults() + switchsim::addFault(fault), "");
    EXPECT_EQ(restart(), "success") << "late: " << what << logText();
    ASSERT_EQ(switchsim::clearFaults(), "");
  }
  rpc("manual.reset", R"({"unit":1,"request":{"ifNums":[1],"offTimeSec":100}})");
  ASSERT_TRUE(waitUntil([] { return !switchsim::portView(1)->adminOn; }));
  ASSERT_EQ(switchsim::setServerUp(false), "");
  const std::string failed = "SELECT COUNT(*) FROM poe_history_port WHERE error_msg='power_on failed';";
  EXPECT_TRUE(waitUntil([&] { return queryValue(kHistoryDbPath, failed) == "1"; })) << logText();
  EXPECT_EQ(restart(), "10003");
  ASSERT_EQ(switchsim::setServerUp(true), "");
  expectItWorks("with the switch back");
}

TEST_F(FaultTest, withoutThreadsRequestsAreDroppedAndRunsFail) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "counts the processes of a user, which must be one of its own";
  }
  if (!restartAsOrdinary()) {
    GTEST_SKIP() << kSkipped;
  }
  EXPECT_EQ(errorOf("history.list", kUnit1), "") << "the connection that tried the start is over by now";
  ASSERT_TRUE(waitUntil([&] { return daemon_.threads() == DaemonProcess::kThreadsAtRest; }));
  limit(RLIMIT_NPROC, DaemonProcess::kThreadsAtRest, becomeOrdinary);
  EXPECT_EQ(rpc("history.list", kUnit1), kGone);
  EXPECT_EQ(countOf(logText(), "client worker create failed: Resource temporarily unavailable"), 1) << logText();
  limit(RLIMIT_NPROC, DaemonProcess::kThreadsAtRest + 1, becomeOrdinary);
  EXPECT_EQ(errorOf("manual.reset", kReset), "10000") << logText();
  EXPECT_EQ(queryValue(kHistoryDbPath, "SELECT error_message FROM poe_history ORDER BY run_id DESC LIMIT 1;"),
            "spawn failed");
  EXPECT_EQ(countOf(logText(), "executor could not be started: Resource temporarily unavailable"), 1) << logText();
  limit(RLIMIT_NPROC, RLIM_INFINITY, becomeOrdinary);
  expectItWorks("with threads again");
}
