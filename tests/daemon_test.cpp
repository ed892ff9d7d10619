#include <linux/capability.h>
#include <sqlite3.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/database.h"
#include "switchsim/switch/shared_state.h"
#include "tests/support/daemon_process.h"

using switchsim::Operation;

namespace {

constexpr int kSpeed = 50;  // of the daemon's clock
constexpr uid_t kAnother = 50000;
constexpr uintmax_t kLogLimitBytes = 1048576;
const std::string kFailed = "error 10000";
const std::string kUnit1 = R"({"unit":1})";
const std::string kSettings = R"({"unit":1,"delaySec":5})";
const std::string kReset = R"({"unit":1,"request":{"ifNums":[1],"offTimeSec":1}})";
// Of what the schema script makes: then it has nothing to write.
constexpr const char* kAllTables =
    "CREATE TABLE poe_schedule(unit); CREATE INDEX idx_poe_schedule_unit ON poe_schedule(unit); "
    "CREATE TABLE poe_schedule_days(day); CREATE TABLE poe_schedule_ifs(if_num);";
constexpr const char* kNoDatabase = "This is no database, and long enough to be seen to be none.";

class DaemonTest : public RootTest {
 protected:
  // The log's errors are these, one a part.
  static void expectErrors(const std::string& errors) {
    std::istringstream parts(errors);
    int count = 0;
    for (std::string error; std::getline(parts, error, '|'); ++count) {
      EXPECT_EQ(logged(error), 1) << error;
    }
    EXPECT_EQ(logged("(ERROR)"), count);
  }

  DaemonProcess daemon_{TEST_DAEMON, kSpeed};
};

// Faults around the running daemon: while one lasts, requests are answered with codes and the log
// tells why; when it is over, everything works again without a restart.
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

TEST_F(DaemonTest, startsAnnouncedAndStopsWithoutTraceOnEitherSignalHoweverOften) {
  const std::vector<int> cases[] = {{SIGTERM}, {SIGINT}, {SIGTERM, SIGINT, SIGTERM}};
  for (const std::vector<int>& signals : cases) {
    SetUp();
    writeFile(kLogLevelPath, signals.size() > 1 ? "7" : "6");
    ASSERT_TRUE(daemon_.startReady([] { umask(0); }));
    const std::string pid = std::to_string(daemon_.pid());
    EXPECT_EQ(readFile(kPidFilePath), pid + "\n");
    EXPECT_EQ(fs::status(kDataDirPath).permissions(), fs::perms(0755));
    EXPECT_EQ(switchsim::viewSwitch().lastClientName, "quorin_poed_" + pid);
    EXPECT_EQ(switchsim::viewSwitch().crashlogCount, 1U);
    EXPECT_TRUE(waitForLog("] quorin_poed ready"));
    for (const auto& task : fs::directory_iterator("/proc/" + pid + "/task")) {
      const std::string status = readFile(task.path() / "status");
      if (status.empty()) {
        continue;  // a client's, that has ended
      }
      const uint64_t blocked = std::stoull(status.substr(status.find("SigBlk:") + 7), nullptr, 16);
      const bool isMainThread = task.path().filename() == pid;
      EXPECT_NE((blocked >> (SIGTERM - 1)) % 2, isMainThread) << task;
    }
    for (const int signalNumber : signals) {
      daemon_.signal(signalNumber);
    }
    EXPECT_EQ(daemon_.wait(), 0);
    EXPECT_FALSE(fs::exists(kPidFilePath) || fs::exists(kSocketPath));
    const std::string text = logText();
    EXPECT_LT(text.find("poed starting (pid=" + pid + ")"), text.find("] quorin_poed ready"));
    EXPECT_EQ(text.substr(text.rfind("] ")), "] quorin_poed exiting cleanly");
    EXPECT_EQ(countOf(text, "ICOS Version = switchsim 1.0\n"), signals.size() > 1 ? 1 : 0) << text;
  }
}

TEST_F(DaemonTest, keepsItsDatabasesAndSettingsFromOthersAndHasWhatIsForAllReadable) {
  const std::string schedules = kScheduleDbPath, history = kHistoryDbPath,
                    settings = kBootDelayConfigPath, lock = kLockFilePath;

  for (const std::string& older : {schedules, history, schedules + "-wal", settings}) {
    writeFile(older, "");
    fs::permissions(older, fs::perms(0644));
  }

  ASSERT_TRUE(daemon_.startReady([] { umask(027); }));
  rpc("bootdelay.set", kSettings);

  const std::map<std::string, int> modes = {{schedules, 0600},          {schedules + "-wal", 0600},
                                            {schedules + "-shm", 0600}, {history, 0600},
                                            {history + "-wal", 0600},   {history + "-shm", 0600},
                                            {settings, 0600},           {lock, 0600},
                                            {kLogLevelPath, 0666},      {kLogFilePath, 0644},
                                            {kPidFilePath, 0644},       {kSocketPath, 0660}};
  for (const auto& [path, mode] : modes) {
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(mode)) << path;
  }
}

TEST_F(DaemonTest, aSecondStartTellsOfTheFirstAndTouchesNothing) {
  ASSERT_TRUE(daemon_.startReady());
  rpc("manual.reset", R"({"unit":1,"request":{"ifNums":[1],"offTimeSec":9999}})");
  const std::string first = std::to_string(daemon_.pid());
  DaemonProcess second(TEST_DAEMON, kSpeed);
  second.start();
  EXPECT_EQ(second.wait(), 1);
  EXPECT_EQ(logged("another quorin_poed is running (pid " + first + ")"), 1);
  EXPECT_EQ(readFile(kPidFilePath), first + "\n");
  EXPECT_EQ(runCount("status='running'"), 1);
  daemon_.signal(SIGKILL);
  daemon_.wait();
  second.startReady();
  EXPECT_EQ(second.stop(), 0) << "nothing is left of the first one's lock";
}

TEST_F(DaemonTest, aStartTellsWhatFailsAndEndsWithStatus1OnlyWhereItMust) {
  const std::string mkdirFailed = fill("] mkdir(%) failed: ", kDataDirPath);
  const std::tuple<int, std::function<void()>, std::string> cases[] = {
      {1, [] { fs::remove_all(fs::path(kDataDirPath).parent_path()); },
       mkdirFailed + "No such file or directory"},
      {1, [] { fs::create_symlink("nowhere", kDataDirPath); }, mkdirFailed + "File exists"},
      {1, [] { failCalls(Operation::clientRegister, 0, -7); },
       "] \nFailed to initialize RPC to OpEN. Exiting (result = -7)\n|] openapi client init "
       "failed"},
      {1, [] { fs::create_directories(kHistoryDbPath); },
       "] history db open failed: unable to open database file|] history store init failed"},
      {1, [] { writeFile(kHistoryDbPath, kNoDatabase); },
       "] history schema apply failed: file is not a database|] history store init failed"},
      {1, [] { writeFile(kScheduleDbPath, kNoDatabase); },
       "] schedule schema apply failed: file is not a database|] schedule store init failed"},
      {1,
       [] {
         writeFile(kScheduleDbPath, "");
         queryValue(kScheduleDbPath, "PRAGMA journal_mode=WAL;");
         executeOn(kScheduleDbPath, kAllTables);
         EXPECT_EQ(chmod(kScheduleDbPath, 0444) + chown(kScheduleDbPath, kAnother, kAnother), 0);
       },
       "] schedule schema apply failed: attempt to write a readonly database|] schedule store init "
       "failed"},
      {0, [] { fs::create_directory(kPidFilePath); }, ""},
      {0, [] { writeFile(kSocketPath, "stale"), writeFile(kPidFilePath, "123456789 and more\n"); },
       ""},
      {0, [] { fs::create_directory(kLogLevelPath), fs::create_directory(kDataDirPath); }, ""},
      {0, [] { failCalls(Operation::crashlogRegister); }, ""},
      {0, [] { failCalls(Operation::osVersionGet), failCalls(Operation::apiVersionGet); },
       "Network OS Version retrieve error\n|Open API Version retrieve error\n"},
      {0, [] { fs::create_directory(kSocketPath); }, "] bind("}};

  for (const auto& [status, prepare, errors] : cases) {
    if (geteuid() != 0 && countOf(errors, "readonly") > 0) {
      continue;  // nobody else's files to be had
    }
    SetUp();
    prepare();
    // Modes bind it.
    daemon_.start([] {
      prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
      prctl(PR_CAPBSET_DROP, CAP_FOWNER);
    });
    const std::string pid = fill("%\n", daemon_.pid());

    if (status == 0) {
      ASSERT_TRUE(waitForLog("] quorin_poed ready"));
      EXPECT_TRUE(fs::is_directory(kSocketPath) ||
                  waitUntil([] { return SocketClient().connected(); }));
      EXPECT_EQ(readFile(kPidFilePath), fs::is_directory(kPidFilePath) ? "" : pid);
      daemon_.signal(SIGTERM);
    }
    EXPECT_EQ(daemon_.wait(), status) << errors;
    if (status == 1) {
      EXPECT_EQ(readFile(kPidFilePath), countOf(errors, "mkdir") == 0 ? pid : "") << errors;
      EXPECT_FALSE(fs::exists(kSocketPath));
    }

    expectErrors(errors);
    EXPECT_EQ(logged("quorin_poed ready") + logged("exiting cleanly"), status == 0 ? 2 : 0);
  }
}

TEST_F(DaemonTest, whatIsAcknowledgedIsSyncedBeforeAndWhatCannotBeIsNot) {
  const std::string calls = fs::path(kLogFilePath).replace_filename("calls");
  const std::string saved = "sync bootdelay.json.tmp; rename bootdelay.json; sync quorin_poed; ";
  const auto callsOf = [&](const std::function<void()>& act) {
    writeFile(calls, "");
    act();
    return replaced(readFile(calls), "\n", "; ");
  };
  std::vector<std::string> settings = {"LD_PRELOAD=" SYNC_CALLS_PRELOAD, "SYNC_CALLS=" + calls};
  {
    DaemonProcess daemon(TEST_DAEMON, 1, settings);
    const std::string start = callsOf([&] { ASSERT_TRUE(daemon.startReady()); });
    EXPECT_EQ(countOf(start, "make quorin_poed; sync fastpath; sync schedule.db-journal; "), 1);
    EXPECT_EQ(countOf(start, saved), 1) << start;
    const std::string schedule = scheduleParams(R"("restartTime":"never","ifNums":[2])");
    EXPECT_EQ(callsOf([&] { rpc("schedule.create", schedule); }), "sync schedule.db-wal; answer; ");
    EXPECT_EQ(callsOf([] { rpc("bootdelay.set", kSettings); }), saved + "answer; ");
  }
  settings.emplace_back("SYNC_FAILS=quorin_poed");
  DaemonProcess daemon(TEST_DAEMON, 1, settings);
  ASSERT_TRUE(daemon.startReady());
  EXPECT_EQ(rpc("bootdelay.set", kSettings), R"({"ok":false,"error":10000})");
  expectErrors("bootdelay config may not outlast a power cut: Input/output error");
}

TEST_F(DaemonTest, waitsForTheSwitchOsThroughSixFailedChecksAndGivesUpAfterTheSeventh) {
  for (const auto& [failures, warnings, status] : {std::array{1, 1, 0}, {6, 6, 0}, {7, 6, 1}}) {
    SetUp();
    failCalls(Operation::connectivityCheck, 0, -5, static_cast<uint32_t>(failures));
    const int64_t beginMs = switchsim::monotonicMs();
    EXPECT_EQ(daemon_.startReady(), status == 0);
    EXPECT_GE((switchsim::monotonicMs() - beginMs) * kSpeed, warnings * 3000);
    EXPECT_EQ(daemon_.stop(), status);
    const char* warning = "] RPC call can fail until server starts. Keep trying (result = -5)\n";
    EXPECT_EQ(std::pair(logged("(WARN)"), logged(warning)), std::pair(warnings, warnings));
  }
}

TEST_F(DaemonTest, aStopSignalBeforeTheSwitchOsAnswersIsIgnored) {
  switchsim::setServerUp(false);
  DaemonProcess slow(TEST_DAEMON, 2);
  slow.start();
  ASSERT_TRUE(waitForLog("Keep trying"));
  slow.signal(SIGTERM);
  switchsim::setServerUp(true);
  EXPECT_TRUE(waitUntil([] { return SocketClient().connected(); }));
  slow.signal(SIGKILL);
  EXPECT_EQ(slow.wait(), -SIGKILL);
}

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
