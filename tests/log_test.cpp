#include "log/log.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>

#include "switchos/session.h"
#include "tests/support/fixtures.h"

using namespace std::string_literals;

static std::string syslogged;

// These take the place of the C library's.
extern "C" void openlog(const char* ident, int option, int facility) {
  syslogged = fill("%: option %, facility %", ident, option, facility);
}
static void take(int level, const char* format, va_list arguments) {
  char message[64];
  vsnprintf(message, sizeof message, format, arguments);
  syslogged += fill("; % %", level, message);
}
extern "C" void vsyslog(int level, const char* format, va_list arguments) {
  take(level, format, arguments);
}
// Of a hardened build. NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" void __vsyslog_chk(int level, int, const char* format, va_list arguments) {
  take(level, format, arguments);
}

namespace {

constexpr uintmax_t kLimit = 1048576;  // bytes of a log file

class LogTest : public RootTest {
 protected:
  void TearDown() override {
    logMessage(LOG_EMERG, "test ends");  // closing without a record would leave the files open
    logClose();
    RootTest::TearDown();
  }
  static void openLog(uint32_t mode = LOG_TO_FILE) { logOpen(mode, LOG_DAEMON, "quorin_poed"); }
};

std::string printedBy(const std::function<void()>& body) {
  ::testing::internal::CaptureStdout();
  body();
  return ::testing::internal::GetCapturedStdout();
}

}  // namespace

TEST_F(LogTest, openingLeavesALevelFileOfFourBytesThatBeginsWithADigit) {
  openLog();
  EXPECT_EQ(readFile(kLogLevelPath), "6\0\0\0"s) << "was missing";
  // With . for a zero byte.
  for (const auto& [before, after] :
       rowsOf(" -> 6...; 0 -> 0...; /123 -> 6123; :123 -> 6123; 9876543 -> 9876; 0\t -> 0\t..")) {
    LogTest::TearDown();
    writeFile(kLogLevelPath, before);
    openLog();
    EXPECT_EQ(replaced(readFile(kLogLevelPath), "\0"s, "."), after) << "was '" << before << "'";
  }
}

TEST_F(LogTest, whatIsWrittenToTheLevelFileCountsFromTheNextRecordOn) {
  openLog();
  int row = 0;
  // An emptied file is what a shell that writes to it leaves for a moment.
  for (const auto& [level, expected] :
       rowsOf("7 -> 01234567; 9 -> 01234567; 3\r -> 0123; 0 -> 0; x -> 0123456; 4 -> 01234; "
              " -> 0123456; 5 -> 012345;  -> 0123456")) {
    writeFile(kLogLevelPath, level);
    ++row;
    std::string written;
    for (int32_t i = 0; i <= LOG_DEBUG; ++i) {
      logMessage(i, "<%d in row %d>", i, row);
      written += logged(fill("<% in row %>", i, row)) == 1 ? std::to_string(i) : "";
    }
    EXPECT_EQ(written, expected) << "level file: '" << level << "'";
    EXPECT_TRUE(!level.empty() || fs::file_size(kLogLevelPath) == 4);
  }
}

TEST_F(LogTest, aRecordIsLocalTimeLevelNameIdentAndMessageWithoutALineEnd) {
  setenv("TZ", "TST-5:30", 1);
  const time_t now = time(nullptr);
  char earliest[32];
  strftime(earliest, sizeof earliest, "%F %T", localtime(&now));
  writeFile(kLogLevelPath, "7");

  std::string pattern;
  int32_t level = 0;
  for (const char* name : {"", "", "", "ERROR", "WARN", "NOTICE", "INFO", "DEBUG"}) {
    const bool named = level % 2 == 0;  // without a name given, the process's own is printed
    logOpen(LOG_TO_FILE, LOG_DAEMON, named ? "quorin_poed" : nullptr);
    logMessage(level++, "[%s:%d] %s failed", "aFunction", 12, "it");
    pattern += fill(R"([0-9]{4}(-[0-9]{2}){2} ([0-9]{2}:){2}[0-9]{2}\.[0-9]{3} \(%\): %)", name,
                    named ? "quorin_poed" : "(log_test|qemu-[a-z0-9]+)") +
               R"(: \[aFunction:12\] it failed)";
  }

  unsetenv("TZ");
  const ::testing::Matcher<std::string> layout = ::testing::MatchesRegex(pattern);
  EXPECT_TRUE(layout.Matches(logText()));
  EXPECT_GE(logText(), earliest);
}

TEST_F(LogTest, theRecordThatCrossesTheLimitIsTheLastOfItsFile) {
  openLog();
  logMessage(LOG_ERR, "A");
  const uintmax_t record = logText().size();

  // Bytes in the file, and how many records later it is rotated; 0: not within these four.
  for (const auto& [bytes, rotatedAfter] : {std::pair<uintmax_t, uintmax_t>{kLimit - record, 2},
                                            {kLimit - record + 1, 1},
                                            {kLimit - 4 * record, 0},
                                            {(uintmax_t{1} << 31) - 1000, 1},
                                            {(uintmax_t{1} << 32) + 1000, 1}}) {
    writeFile(kOldLogFilePath, "older");
    fs::resize_file(kLogFilePath, 0);
    fs::resize_file(kLogFilePath, bytes);
    openLog();
    for (const char* message : {"A", "B", "C", "D"}) {
      logMessage(LOG_ERR, "%s", message);
    }
    const uintmax_t old = rotatedAfter != 0 ? bytes + rotatedAfter * record : 5;
    EXPECT_EQ(fs::file_size(kOldLogFilePath), old) << bytes;
    EXPECT_EQ(fs::file_size(kLogFilePath) + old, bytes + 4 * record + (old == 5 ? 5 : 0)) << bytes;
  }
}

TEST_F(LogTest, standardOutputTakesThePlaceOfAFileThatIsClosedOrCannotBeMade) {
  openLog();
  fs::resize_file(kLogFilePath, kLimit);
  openLog();
  const std::string printed = printedBy([] {
    fs::remove_all(fs::path(kLogFilePath).parent_path());
    logMessage(LOG_ERR, "<the last one of the file>");
    logMessage(LOG_ERR, "<after a rotation>");
    openLog();
    logMessage(LOG_ERR, "<after opening>");
    fs::create_directories(fs::path(kLogFilePath).parent_path());
    openLog(LOG_TO_FILE | LOG_TO_STDOUT);
    logMessage(LOG_ERR, "<after opening for both>");
    openLog();
    logMessage(LOG_ERR, "<to the file again>");
    logClose();
    logMessage(LOG_ERR, "<after closing>");
  });

  EXPECT_EQ(countOf(printed, "<"), 4) << printed;
  EXPECT_EQ(countOf(printed, "(ERROR): quorin_poed: <after "), 4) << printed;
  EXPECT_EQ(logged("<"), 2);
}

TEST_F(LogTest, syslogGetsTheDaemonsNameItsFacilityAndEveryMessageWithItsLevel) {
  openLog(LOG_TO_SYSLOG);
  logMessage(LOG_WARNING, "[%s:%d] %s", "f", 1, "late");
  logMessage(LOG_DEBUG, "not asked for");
  EXPECT_EQ(syslogged, "quorin_poed: option 0, facility 24; 4 [f:1] late");
}

TEST_F(LogTest, whatOthersPlantIsNeitherFollowedNorWrittenNorWaitedFor) {
  const std::string victim = fs::path(kLogFilePath).parent_path() / "victim";
  const auto strange = [](const char* path) {
    writeFile(path, "");
    if (chown(path, 50000, 50000) != 0) {
      fs::remove(path), mkfifo(path, 0666);  // not root: no file can be another's
    }
  };
  const std::function<void(const char*)> cases[] = {
      [&](const char* path) { fs::create_symlink(victim, path); },
      [&](const char* path) { fs::create_hard_link(victim, path); },
      [](const char* path) { mkfifo(path, 0666); }, strange};

  for (const auto& plant : cases) {
    SetUp();
    writeFile(victim, "7 of the victim");
    plant(kLogFilePath);
    plant(kLogLevelPath);
    const std::string printed = printedBy([] { openLog(), logMessage(LOG_ERR, "<to nobody>"); });
    EXPECT_EQ(countOf(printed, "<to nobody>"), 1) << printed;
    EXPECT_EQ(std::string(logFileProblem()).rfind("it is ", 0), 0U) << logFileProblem();
    EXPECT_EQ(readFile(victim), "7 of the victim");
    logClose();
  }
}

TEST_F(LogTest, aLogThatCannotBeRotatedIsCutToNothing) {
  fs::create_directories(std::string(kOldLogFilePath) + "/planted");
  writeFile(kLogFilePath, std::string(kLimit, 'x'));
  openLog();
  logMessage(LOG_ERR, "the last of the old");
  logMessage(LOG_ERR, "<the first of the new>");
  EXPECT_EQ(logged("old") + logged("xx"), 0);
  EXPECT_EQ(logged("<the first of the new>"), 1);
}

TEST_F(LogTest, anEmptiedLevelFileIsSurvivedBesideTheCrashLoggerWhichGetsAllOtherFaults) {
  openLog();
  OpenClientHandle handle{};
  ASSERT_EQ(initHandler("test", &handle), 0);
  fs::resize_file(kLogLevelPath, 0);
  logMessage(LOG_ERR, "<still there>");
  EXPECT_EQ(logged("<still there>"), 1);
  EXPECT_DEATH(raise(SIGBUS), "switchsim: crash logged");
  openapiClientTearDown(&handle);
}

TEST_F(LogTest, recordsOfManyThreadsStayWholeAndNoneIsLostOverARotation) {
  constexpr int kThreads = 16, kRecords = 90;  // enough for one rotation
  const std::string padding(1000, 'x');
  openLog();

  std::vector<std::future<void>> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.push_back(std::async(std::launch::async, [&, t] {
      for (int i = 0; i < kRecords; ++i) {
        logMessage(LOG_ERR, "<%d %d %s|", t, i, padding.c_str());
      }
    }));
  }

  threads.clear();
  EXPECT_GT(fs::file_size(kOldLogFilePath), kLimit);

  std::istringstream records(readFile(kOldLogFilePath) + logText());
  std::array<int, kThreads> next{};
  for (std::string record; std::getline(records, record, '|');) {
    const int t = atoi(record.c_str() + record.find('<') + 1);
    ASSERT_EQ(record.substr(std::string("2024-05-01 13:07:10.123 ").size()),
              fill("(ERROR): quorin_poed: <% % %", t, next.at(t)++, padding));
  }

  EXPECT_EQ(std::count(next.begin(), next.end(), kRecords), kThreads);
}
