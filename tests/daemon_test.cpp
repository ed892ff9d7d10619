#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "switchsim/shared_state.h"
#include "tests/support/daemon_process.h"

using switchsim::Operation;

namespace {

constexpr int kSpeed = 50;
constexpr uid_t kAnother = 50000;
constexpr const char* kNoDatabase = "This is no database, and long enough to be seen to be none.";

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
    EXPECT_EQ(switchsim::viewSwitch()->lastClientName, "quorin_poed_" + pid);
    EXPECT_EQ(switchsim::viewSwitch()->crashlogCount, 1U);
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
  rpc("bootdelay.set", R"({"unit":1,"delaySec":5})");

  // Not where the build folder is closed to others.
  const bool canTry = geteuid() == 0 && isOpenToAnother(kLogFilePath);

  for (const std::string& path : {schedules, schedules + "-wal", schedules + "-shm", history,
                                  history + "-wal", history + "-shm", settings, lock}) {
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600)) << path;
    EXPECT_TRUE(!canTry || !isOpenToAnother(path)) << path;
  }

  for (const auto& [path, mode] : {std::pair{kLogLevelPath, 0666},
                                   {kLogFilePath, 0644},
                                   {kPidFilePath, 0644},
                                   {kSocketPath, 0660}}) {
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

TEST_F(DaemonTest, aStartThatFailsEndsWithStatus1SaysWhyAndCleansNothingUp) {
  const std::string mkdirFailed = fill("] mkdir(%) failed: ", kDataDirPath);
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[] { fs::remove_all(fs::path(kDataDirPath).parent_path()); },
       mkdirFailed + "No such file or directory"},
      {[] { fs::create_symlink("nowhere", kDataDirPath); }, mkdirFailed + "File exists"},
      {[] { failCalls(Operation::clientRegister, 0, -7); },
       "] \nFailed to initialize RPC to OpEN. Exiting (result = -7)\n|] openapi client init "
       "failed"},
      {[] { fs::create_directories(kHistoryDbPath); },
       "] history db open failed: unable to open database file|] history store init failed"},
      {[] { writeFile(kHistoryDbPath, kNoDatabase); },
       "] history schema apply failed: file is not a database|] history store init failed"},
      {[] { writeFile(kScheduleDbPath, kNoDatabase); },
       "] schedule schema apply failed: file is not a database|] schedule store init failed"},
      {[] {
         writeFile(kScheduleDbPath, "");
         EXPECT_EQ(chmod(kScheduleDbPath, 0444) + chown(kScheduleDbPath, kAnother, kAnother), 0);
       },
       "] schedule db open failed: attempt to write a readonly database|] schedule store init "
       "failed"}};

  for (const auto& [prepare, errors] : cases) {
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
    const std::string pid = std::to_string(daemon_.pid());
    EXPECT_EQ(daemon_.wait(), 1) << errors;
    EXPECT_EQ(readFile(kPidFilePath), countOf(errors, "mkdir") == 0 ? pid + "\n" : "") << errors;
    expectErrors(errors);
    EXPECT_EQ(logged("quorin_poed ready") + logged("exiting cleanly"), 0);
    EXPECT_FALSE(fs::exists(kSocketPath));
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
    daemon_.start();
    EXPECT_TRUE(waitForLog("] quorin_poed ready"));
    if (!fs::is_directory(kSocketPath)) {
      EXPECT_TRUE(waitUntil([] { return SocketClient().connected(); }));
    }
    const std::string pid = fs::is_directory(kPidFilePath) ? "" : fill("%\n", daemon_.pid());
    EXPECT_EQ(readFile(kPidFilePath), pid);
    EXPECT_EQ(daemon_.stop(), 0);
    expectErrors(errors);
  }
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
