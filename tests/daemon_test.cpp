#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "daemon/paths.h"
#include "tests/support/daemon_process.h"
#include "tests/support/socket_client.h"

using switchsim::Operation;

namespace {

constexpr int kSpeed = 50;
constexpr uid_t kAnother = 50000;
constexpr const char* kNoDatabase =
    "This is no database, and it is long enough to be seen to be none.";

using DaemonTest = RootTest;

bool logHas(const std::string& text) {
  return countOf(readFile(kLogFilePath), text) > 0;
}

// The log's errors are these, one a part.
void expectErrors(const std::string& errors) {
  std::istringstream parts(errors);
  int count = 0;
  for (std::string error; std::getline(parts, error, '|'); ++count) {
    EXPECT_EQ(countOf(readFile(kLogFilePath), error), 1) << error;
  }
  EXPECT_EQ(countOf(readFile(kLogFilePath), "(ERROR)"), count) << readFile(kLogFilePath);
}

// Whether another user can open the file, which reading and locking begin with; when not root,
// always.
bool isOpenToAnother(const std::string& path) {
  const pid_t another = fork();
  if (another == 0) {
    const bool isAnother = geteuid() != 0 || (setgroups(0, nullptr) == 0 && setuid(kAnother) == 0);
    _exit(isAnother && open(path.c_str(), O_RDONLY) >= 0 ? 1 : 0);
  }
  int opened = 0;
  waitpid(another, &opened, 0);
  return opened != 0;
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
    for (const auto& task : fs::directory_iterator("/proc/" + pid + "/task")) {
      const std::string status = readFile(task.path() / "status");
      if (status.empty()) {
        continue;  // a client's, that has ended
      }
      const uint64_t blocked = std::stoull(status.substr(status.find("SigBlk:") + 7), nullptr, 16);
      EXPECT_EQ((blocked >> (SIGTERM - 1)) % 2, task.path().filename() != pid)
          << "only the main thread is interrupted";
    }
    for (const int signalNumber : signals) {
      daemon.signal(signalNumber);
    }
    EXPECT_EQ(daemon.wait(), 0);
    EXPECT_FALSE(fs::exists(kPidFilePath) || fs::exists(kSocketPath));
    const std::string text = logText();
    EXPECT_LT(text.find("] quorin_poed starting (pid=" + pid + ")"),
              text.find("] quorin_poed ready"))
        << text;
    EXPECT_EQ(text.substr(text.rfind("] ")), "] quorin_poed exiting cleanly");
    EXPECT_EQ(countOf(text, "ICOS Version = switchsim 1.0\n"), signals.size() > 1 ? 1 : 0) << text;
  }
}

TEST_F(DaemonTest, keepsItsDatabasesAndSettingsFromOthersAndHasWhatIsForAllReadable) {
  const std::string schedules = kScheduleDbPath, history = kHistoryDbPath;
  fs::create_directories(kDataDirPath);
  for (const std::string& older :
       {schedules, history, schedules + "-wal", std::string(kBootDelayConfigPath)}) {
    writeFile(older, "");
    fs::permissions(older, fs::perms(0644));
  }
  DaemonProcess daemon(TEST_DAEMON, kSpeed);
  ASSERT_TRUE(daemon.startReady([] { umask(027); })) << logText();
  rpc("bootdelay.set", R"({"unit":1,"delaySec":5})");
  const bool canTry =
      geteuid() == 0 &&
      isOpenToAnother(kLogFilePath);  // not where the build folder is closed to others
  for (const std::string& path :
       {schedules, schedules + "-wal", schedules + "-shm", history, history + "-wal",
        history + "-shm", std::string(kBootDelayConfigPath), std::string(kLockFilePath)}) {
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600)) << path;
    EXPECT_TRUE(!canTry || !isOpenToAnother(path)) << path;
  }
  const std::pair<std::string, fs::perms> forOthers[] = {{kLogLevelPath, fs::perms(0666)},
                                                         {kLogFilePath, fs::perms(0644)},
                                                         {kPidFilePath, fs::perms(0644)},
                                                         {kSocketPath, fs::perms(0660)}};
  for (const auto& [path, mode] : forOthers) {
    EXPECT_EQ(fs::status(path).permissions(), mode) << path;
  }
}

TEST_F(DaemonTest, aSecondStartTellsOfTheFirstAndTouchesNothing) {
  DaemonProcess first(TEST_DAEMON, kSpeed);
  ASSERT_TRUE(first.startReady()) << logText();
  rpc("manual.reset", R"({"unit":1,"request":{"ifNums":[1],"offTimeSec":9999}})");
  DaemonProcess second(TEST_DAEMON, kSpeed);
  second.start();
  EXPECT_EQ(second.wait(), 1);
  EXPECT_EQ(countOf(logText(),
                    "another quorin_poed is running (pid " + std::to_string(first.pid()) + ")"),
            1);
  EXPECT_EQ(readFile(kPidFilePath), std::to_string(first.pid()) + "\n");
  EXPECT_EQ(jsonText(rpcResult("history.detail", R"({"unit":1,"runId":1})"), "status"), "running");
  first.signal(SIGKILL);
  first.wait();
  second.startReady();
  EXPECT_EQ(second.stop(), 0) << "nothing is left of the first one's lock" << logText();
}

TEST_F(DaemonTest, aStartThatFailsEndsWithStatus1SaysWhyAndCleansNothingUp) {
  const std::string mkdirFailed = std::string("] mkdir(") + kDataDirPath + ") failed: ";
  const std::tuple<std::function<void()>, std::string, bool> cases[] = {
      // whether it leaves a pid file
      {[] { fs::remove_all(fs::path(kDataDirPath).parent_path()); },
       mkdirFailed + "No such file or directory", false},
      {[] { fs::create_symlink("nowhere", kDataDirPath); }, mkdirFailed + "File exists", false},
      {[] { failCalls(Operation::clientRegister, 0, -7); },
       "] \nFailed to initialize RPC to OpEN. Exiting (result = -7)\n|] openapi client init failed",
       true},
      {[] { fs::create_directories(kHistoryDbPath); },
       "] history db open failed: unable to open database file|] history store init failed", true},
      {[] { writeFile(kHistoryDbPath, kNoDatabase); },
       "] history schema apply failed: file is not a database|] history store init failed", true},
      {[] { writeFile(kScheduleDbPath, kNoDatabase); },
       "] schedule schema apply failed: file is not a database|] schedule store init failed", true},
      {[] {
         writeFile(kScheduleDbPath, "");
         EXPECT_EQ(chmod(kScheduleDbPath, 0444) + chown(kScheduleDbPath, kAnother, kAnother), 0);
       },
       "] schedule db open failed: attempt to write a readonly database|] schedule store init "
       "failed",
       true}};
  for (const auto& [prepare, errors, leavesPidFile] : cases) {
    if (geteuid() != 0 && countOf(errors, "readonly") > 0) {
      continue;  // nobody else's files to be had
    }
    SetUp();
    prepare();
    DaemonProcess daemon(TEST_DAEMON, kSpeed);
    daemon.start([] {
      prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE), prctl(PR_CAPBSET_DROP, CAP_FOWNER);
    });  // modes bind it
    const std::string pid = std::to_string(daemon.pid());
    EXPECT_EQ(daemon.wait(), 1) << errors;
    EXPECT_EQ(readFile(kPidFilePath), leavesPidFile ? pid + "\n" : "") << errors;
    expectErrors(errors);
    EXPECT_FALSE(logHas("quorin_poed ready") || logHas("exiting cleanly") ||
                 fs::exists(kSocketPath))
        << logText();
  }
}

TEST_F(DaemonTest, whatIsNotEssentialDoesNotKeepItFromStarting) {
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[] { fs::create_directory(kPidFilePath); }, ""},
      {[] { writeFile(kSocketPath, "stale"), writeFile(kPidFilePath, "123456789 and more\n"); },
       ""},
      {[] { fs::create_directory(kLogLevelPath), fs::create_directory(kDataDirPath); }, ""},
      {[] { failCalls(Operation::crashlogRegister); }, ""},
      {[] { failCalls(Operation::osVersionGet), failCalls(Operation::apiVersionGet); },
       "Network OS Version retrieve error\n|Open API Version retrieve error\n"},
      {[] { fs::create_directory(kSocketPath); }, "] bind("}};
  for (const auto& [prepare, errors] : cases) {
    SetUp();
    prepare();
    DaemonProcess daemon(TEST_DAEMON, kSpeed);
    daemon.start();
    EXPECT_TRUE(waitUntil([] { return logHas("] quorin_poed ready"); })) << logText();
    const bool serves =
        fs::is_directory(kSocketPath) || waitUntil([] { return SocketClient().connected(); });
    EXPECT_TRUE(serves) << logText();
    EXPECT_EQ(readFile(kPidFilePath),
              fs::is_directory(kPidFilePath) ? "" : std::to_string(daemon.pid()) + "\n");
    EXPECT_EQ(daemon.stop(), 0);
    expectErrors(errors);
  }
}

TEST_F(DaemonTest, waitsForTheSwitchOsThroughSixFailedChecksAndGivesUpAfterTheSeventh) {
  for (const auto& [failures, warnings, status] : {std::array{1, 1, 0}, {6, 6, 0}, {7, 6, 1}}) {
    SetUp();
    failCalls(Operation::connectivityCheck, 0, -5, static_cast<uint32_t>(failures));
    const auto begin = std::chrono::steady_clock::now();
    DaemonProcess daemon(TEST_DAEMON, kSpeed);
    EXPECT_EQ(daemon.startReady(), status == 0) << logText();
    const std::chrono::duration<double> waited =
        (std::chrono::steady_clock::now() - begin) * kSpeed;
    EXPECT_GE(waited.count(), warnings * 3.0);
    EXPECT_EQ(daemon.stop(), status);
    const char* warning = "] RPC call can fail until server starts. Keep trying (result = -5)\n";
    EXPECT_EQ(countOf(logText(), "(WARN)"), warnings) << logText();
    EXPECT_EQ(countOf(logText(), warning), warnings) << logText();
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
