#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <vector>

#include "base/sqlite_guard.h"
#include "daemon/paths.h"
#include "tests/support/daemon_process.h"
#include "tests/support/fixtures.h"
#include "tests/support/socket_client.h"

namespace fs = std::filesystem;
using switchsim::Operation;

namespace {

constexpr int kSpeed = 50;
constexpr const char* kUnit = R"({"unit":1})";

class DaemonTest : public RootTest {};

bool logHas(const std::string& text) {
  return countOf(readFile(kLogFilePath), text) > 0;
}

void fail(Operation operation, int32_t result, uint32_t times = 0) {
  switchsim::Fault fault;
  fault.operation = operation;
  fault.result = result;
  fault.times = times;
  ASSERT_EQ(switchsim::addFault(fault), "");
}

void writeFile(const char* path, const char* content) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path) << content;
}

std::string reset(const std::string& request) {
  return rpc("manual.reset", R"({"unit":1,"request":)" + request + "}");
}

std::string detailOf(int runId) {
  return rpc("history.detail", R"({"unit":1,"runId":)" + std::to_string(runId) + "}");
}

// Run 1 has restarted port 1 and waits to do port 2; run 2 holds ports 3 and 4 dark. Then the daemon is killed.
void leaveRunsInterrupted() {
  DaemonProcess daemon(TEST_DAEMON);
  ASSERT_TRUE(daemon.startReady());
  reset(R"({"ifNums":[1,2],"executionMode":"sequential","interPortDelaySec":3600})");
  reset(R"({"ifNums":[3,4],"offTimeSec":3600})");
  ASSERT_TRUE(waitUntil([] {
    return !switchsim::portView(4)->adminOn && countOf(detailOf(1), R"("status":"success")") == 1;
  })) << detailOf(1);
  daemon.signal(SIGKILL);
  ASSERT_EQ(daemon.wait(), -SIGKILL);
}

void executeOnHistory(const char* sql) {
  DatabasePtr db;
  ASSERT_TRUE(openDatabase(kHistoryDbPath, &db) && executeSql(db.get(), sql));
}

}  // namespace

TEST_F(DaemonTest, startsAnnouncedAndStopsWithoutTraceOnEitherSignalHoweverOften) {
  const std::vector<int> cases[] = {{SIGTERM}, {SIGINT}, {SIGTERM, SIGINT, SIGTERM}};
  for (const std::vector<int>& signals : cases) {
    SetUp();
    writeFile(kLogLevelPath, signals.size() > 1 ? "7" : "6");
    DaemonProcess daemon(TEST_DAEMON, kSpeed);
    ASSERT_TRUE(daemon.startReady([] { umask(0); }));
    const std::string pid = std::to_string(daemon.pid());
    EXPECT_EQ(readFile(kPidFilePath), pid + "\n");
    EXPECT_EQ(fs::status(kDataDirPath).permissions(), fs::perms(0755));
    EXPECT_EQ(switchsim::viewSwitch()->lastClientName, "quorin_poed_" + pid);
    EXPECT_EQ(switchsim::viewSwitch()->crashlogCount, 1U);
    EXPECT_TRUE(waitUntil([] { return logHas("] quorin_poed ready"); }));
    for (const int signalNumber : signals) {
      daemon.signal(signalNumber);
    }
    EXPECT_EQ(daemon.wait(), 0);
    EXPECT_FALSE(fs::exists(kPidFilePath) || fs::exists(kSocketPath));
    const std::string text = logText();
    EXPECT_LT(text.find("] quorin_poed starting (pid=" + pid + ")"), text.find("] quorin_poed ready")) << text;
    EXPECT_EQ(text.substr(text.rfind("] ")), "] quorin_poed exiting cleanly");
    EXPECT_EQ(countOf(text, "Register RPC to OpEN success. (client name = quorin_poed_" + pid + ")\n") +
                  countOf(text, "ICOS Version = switchsim 1.0\n") + countOf(text, "Open API Version = 1.0.0.0\n"),
              signals.size() > 1 ? 3 : 0)
        << text;
  }
}

TEST_F(DaemonTest, aStartThatFailsEndsWithStatus1SaysWhyAndCleansNothingUp) {
  const fs::path parent = fs::path(kDataDirPath).parent_path();
  const std::string mkdirFailed = std::string("] mkdir(") + kDataDirPath + ") failed: ";
  struct {
    std::function<void()> prepare;
    std::vector<std::string> messages;
    bool pidFile;
  } cases[] = {
      {[&] { fs::remove_all(parent); }, {mkdirFailed + "No such file or directory"}, false},
      {[&] { fs::remove_all(parent), writeFile(parent.c_str(), ""); }, {mkdirFailed + "Not a directory"}, false},
      {[&] { fs::create_symlink("nowhere", kDataDirPath); }, {mkdirFailed + "File exists"}, false},
      {[] { fail(Operation::clientRegister, -7); },
       {"] \nFailed to initialize RPC to OpEN. Exiting (result = -7)\n", "] openapi client init failed"},
       true},
      {[] { switchsim::setServerUp(false); }, {"] openapi client init failed"}, true},
      {[] { fs::create_directories(kHistoryDbPath); },
       {"] history db open failed: unable to open database file", "] history store init failed"},
       true},
      {[] { writeFile(kHistoryDbPath, "This is no database, and it is long enough to be seen to be none."); },
       {"] history schema apply failed: file is not a database", "] history store init failed"},
       true},
      {[] { writeFile(kDataDirPath, "a file in the directory's place"); },
       {"] history db open failed: unable to open database file", "] history store init failed"},
       true}};
  for (const auto& c : cases) {
    SetUp();
    c.prepare();
    DaemonProcess daemon(TEST_DAEMON, kSpeed);
    daemon.start();
    const std::string pid = std::to_string(daemon.pid());
    EXPECT_EQ(daemon.wait(), 1) << c.messages[0];
    EXPECT_EQ(readFile(kPidFilePath), c.pidFile ? pid + "\n" : "") << c.messages[0];
    for (const std::string& message : c.messages) {
      EXPECT_TRUE(logHas(message)) << message << "\nmissing in " << logText();
    }
    EXPECT_EQ(countOf(logText(), "(ERROR)"), int(c.messages.size())) << logText();
    EXPECT_FALSE(logHas("quorin_poed ready") || logHas("exiting cleanly") || fs::exists(kSocketPath)) << logText();
  }
}

TEST_F(DaemonTest, whatIsNotEssentialDoesNotKeepItFromStarting) {
  struct {
    std::function<void()> prepare;
    std::vector<const char*> messages;
  } cases[] = {{[] { fs::create_directory(kPidFilePath); }, {}},
               {[] { writeFile(kSocketPath, "stale"), writeFile(kPidFilePath, "123456789 and more\n"); }, {}},
               {[] { fs::create_directory(kLogLevelPath), fs::create_directory(kDataDirPath); }, {}},
               {[] { fail(Operation::crashlogRegister, -1); }, {}},
               {[] { fail(Operation::osVersionGet, -1), fail(Operation::apiVersionGet, -1); },
                {"Network OS Version retrieve error\n", "Open API Version retrieve error\n"}},
               {[] { fs::create_directory(kSocketPath); }, {"] bind("}}};
  for (const auto& c : cases) {
    SetUp();
    c.prepare();
    DaemonProcess daemon(TEST_DAEMON, kSpeed);
    daemon.start();
    EXPECT_TRUE(waitUntil([] { return logHas("] quorin_poed ready"); })) << logText();
    const bool serves = fs::is_directory(kSocketPath) || waitUntil([] { return SocketClient().connected(); });
    EXPECT_TRUE(serves) << logText();
    EXPECT_EQ(daemon.stop(), 0);
    for (const char* message : c.messages) {
      EXPECT_TRUE(logHas(message)) << message << "\nmissing in " << logText();
    }
    EXPECT_EQ(countOf(logText(), "(ERROR)"), int(c.messages.size())) << logText();
  }
}

TEST_F(DaemonTest, waitsForTheSwitchOsThroughSixFailedChecksAndGivesUpAfterTheSeventh) {
  struct {
    uint32_t failures;
    int warnings;
    int status;
  } cases[] = {{1, 1, 0}, {3, 3, 0}, {6, 6, 0}, {7, 6, 1}};
  for (const auto& c : cases) {
    SetUp();
    fail(Operation::connectivityCheck, -5, c.failures);
    const auto begin = std::chrono::steady_clock::now();
    DaemonProcess daemon(TEST_DAEMON, kSpeed);
    EXPECT_EQ(daemon.startReady(), c.status == 0) << logText();
    const std::chrono::duration<double> waited = (std::chrono::steady_clock::now() - begin) * kSpeed;
    EXPECT_GE(waited.count(), c.warnings * 3.0);
    EXPECT_EQ(daemon.stop(), c.status);
    const char* warning = "] RPC call can fail until server starts. Keep trying (result = -5)\n";
    EXPECT_EQ(countOf(logText(), "(WARN)"), c.warnings) << logText();
    EXPECT_EQ(countOf(logText(), warning), c.warnings) << logText();
  }
}

TEST_F(DaemonTest, aStopSignalBeforeTheSwitchOsAnswersIsIgnored) {
  switchsim::setServerUp(false);
  DaemonProcess daemon(TEST_DAEMON, 2);
  daemon.start();
  ASSERT_TRUE(waitUntil([] { return logHas("Keep trying"); }));
  daemon.signal(SIGTERM);
  switchsim::setServerUp(true);
  EXPECT_TRUE(waitUntil([] { return SocketClient().connected(); })) << logText();
  daemon.signal(SIGKILL);
  EXPECT_EQ(daemon.wait(), -SIGKILL);
}

TEST_F(DaemonTest, leavesTheSwitchOsBeforeItClosesItsDatabase) {
  DaemonProcess daemon(TEST_DAEMON, kSpeed);
  ASSERT_TRUE(daemon.startReady());
  switchsim::Fault fault;
  fault.operation = Operation::clientTearDown;
  fault.delayMs = 3600000;
  fault.times = 1;
  ASSERT_EQ(switchsim::addFault(fault), "");
  daemon.signal(SIGTERM);
  ASSERT_TRUE(waitUntil([] { return switchsim::viewSwitch()->faults.empty(); })) << "never left: " << logText();
  std::string open;
  EXPECT_EQ(runCommand("ls -l /proc/" + std::to_string(daemon.pid()) + "/fd | grep history.db$", &open), 0);
  EXPECT_TRUE(fs::exists(kPidFilePath));
  EXPECT_TRUE(logHas("IPC server stopped") && logHas("cleanup thread stopping")) << logText();
}

TEST_F(DaemonTest, runsThatAKillInterruptedAreFailedAtTheNextStartThatCan) {
  leaveRunsInterrupted();
  const std::string pending = R"("status":"pending","errorMessage":null})";
  const std::string failed = R"("status":"failed","errorMessage":"Interrupted by unexpected reboot"})";
  const std::string kept = R"({"ifNum":1,"status":"success","errorMessage":null},{"ifNum":2,)";
  executeOnHistory("CREATE TRIGGER no BEFORE UPDATE ON poe_history BEGIN SELECT RAISE(ABORT, 'refused'); END;");
  for (const int start : {1, 2, 3}) {
    const bool reconciled = start > 1;
    DaemonProcess daemon(TEST_DAEMON, kSpeed);
    ASSERT_TRUE(daemon.startReady());
    const std::string port = reconciled ? failed : pending;
    for (const auto& [run, steps] :
         {std::pair(1, kept + port), std::pair(2, R"({"ifNum":3,)" + port + R"(,{"ifNum":4,)" + port)}) {
      const std::string detail = detailOf(run);
      EXPECT_EQ(countOf(detail, R"("portSteps":[)" + steps + "]"), 1) << start << detail;
      EXPECT_EQ(countOf(detail, R"("status":"failed","executionMode")"), reconciled ? 1 : 0) << start << detail;
      EXPECT_EQ(countOf(detail, R"("errorMessage":"Interrupted by unexpected reboot","allDay")"), reconciled ? 1 : 0)
          << start << detail;
    }
    EXPECT_EQ(daemon.stop(), 0);
    EXPECT_EQ(countOf(logText(), "] reconciled 2 interrupted PoE run(s) to failed on startup"), reconciled ? 1 : 0);
    EXPECT_EQ(countOf(logText(), "] reconcile runs step failed: refused"), 1) << logText();
    EXPECT_EQ(countOf(logText(), "] history reconcile of interrupted runs failed"), 1) << logText();
    executeOnHistory("DROP TRIGGER IF EXISTS no;");
  }
}

TEST_F(DaemonTest, clientsOfAnyMannersCostNoDescriptorAndNeverItsLife) {
  DaemonProcess daemon(TEST_DAEMON, kSpeed);
  ASSERT_TRUE(daemon.startReady());
  const std::string sensors = R"({"method":"sensors.all","params":{"unit":1}})";
  rpc("history.list", kUnit);
  rpc("sensors.all", kUnit);
  ASSERT_TRUE(waitUntil([&] { return daemon.openDescriptors() > 0; }));
  const int before = daemon.openDescriptors();
  for (int i = 0; i < 500; ++i) {
    SocketClient();                               // says nothing
    SocketClient().sendBytes(R"({"method":"h)");  // breaks off
    SocketClient().sendBytes(sensors + "\n");     // does not wait for the answer
    exchange("no JSON\n");
    ASSERT_EQ(rpc("history.list", kUnit).substr(0, 10), R"({"ok":true)") << i;
  }
  EXPECT_TRUE(waitUntil([&] { return daemon.openDescriptors() <= before; })) << daemon.openDescriptors();
  EXPECT_EQ(daemon.stop(), 0);
}

TEST_F(DaemonTest, everyStopUnderLoadIsClean) {
  const char* wanted = getenv("QUORIN_STOP_CYCLES");
  const int cycles = wanted != nullptr ? std::stoi(wanted) : 6;
  const auto quietly = [] {
    dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);  // records that come after the log was closed
    setenv("NO_FAKE_STAT", "1", 1);  // the library that moves the clock crashes in stat while the process exits
  };
  for (int cycle = 0; cycle < cycles; ++cycle) {
    DaemonProcess daemon(TEST_DAEMON, 10);
    ASSERT_TRUE(daemon.startReady(quietly)) << cycle << logText();
    const std::vector<SocketClient> silent(200);
    EXPECT_TRUE(std::all_of(silent.begin(), silent.end(), [](const SocketClient& c) { return c.connected(); }));
    std::vector<std::future<void>> clients;
    std::atomic<int> listed{0};
    std::atomic<int> sensed{0};
    std::atomic<int> restarted{0};
    const auto keepAsking = [&](const char* method, std::atomic<int>* answered) {
      std::string answer;
      while (answer != "not connected") {
        const int i = restarted;
        answer = rpc(method, R"({"unit":1,"request":{"offTimeSec":)" + std::to_string(i % 30) + R"(,"ifNums":[)" +
                                 std::to_string(i % 7 + 1) + "," + std::to_string(i % 11 + 8) + "]}}");
        *answered += countOf(answer, R"("ok":true)");
      }
    };
    for (int i = 0; i < 2; ++i) {
      clients.push_back(std::async(std::launch::async, keepAsking, "history.list", &listed));
      clients.push_back(std::async(std::launch::async, keepAsking, "sensors.all", &sensed));
      clients.push_back(std::async(std::launch::async, keepAsking, "manual.reset", &restarted));
    }
    EXPECT_TRUE(waitUntil([&] { return listed > 20 && sensed > 20 && restarted > 20; }));
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait(30), 0) << "cycle " << cycle;
    EXPECT_FALSE(fs::exists(kPidFilePath) || fs::exists(kSocketPath)) << cycle;
  }
}
