// log: the daemon's log, record by record.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/plain_file.h"
#include "base/sleep.h"
#include "cli/failure.h"
#include "cli/files.h"
#include "client/command.h"
#include "client/commands/log/records.h"

namespace {

constexpr size_t kDefaultRecords = 50;
constexpr size_t kReadBytes = 65536;
constexpr int32_t kFollowMs = 300;

struct LogOptions {
  bool follow = false;
  std::optional<int32_t> count;
  std::string level;
};

// A log file that may go on growing.
class LogFile {
 public:
  // Whether there is a file, which need not be the one that was open before.
  bool open(const std::string& path) {
    file_ = openPlainFile(path.c_str(), O_RDONLY, FileOwner::anybody);
    return static_cast<bool>(file_);
  }
  bool isOpen() const { return static_cast<bool>(file_); }

  // What has been appended since it was last read.
  std::string more() {
    std::string text;
    std::string chunk(kReadBytes, '\0');
    for (ssize_t n = 1; file_ && n > 0;) {
      n = read(file_.get(), chunk.data(), chunk.size());
      text.append(chunk, 0, n > 0 ? static_cast<size_t>(n) : 0);
    }
    return text;
  }

  // Whether the path leads to another file by now, or this one was cut.
  bool isReplaced(const std::string& path) const {
    struct stat opened {};
    struct stat standing {};
    if (!file_ || stat(path.c_str(), &standing) != 0 || fstat(file_.get(), &opened) != 0) {
      return true;
    }
    return opened.st_ino != standing.st_ino || opened.st_dev != standing.st_dev ||
           lseek(file_.get(), 0, SEEK_CUR) > opened.st_size;
  }

  bool isSameAs(const LogFile& other) const {
    struct stat own {};
    struct stat others {};
    return file_ && other.file_ && fstat(file_.get(), &own) == 0 &&
           fstat(other.file_.get(), &others) == 0 && own.st_ino == others.st_ino &&
           own.st_dev == others.st_dev;
  }

 private:
  UniqueFd file_;
};

// The older file, and then the newer one, which was opened first: a rotation between the two must
// not make records come twice.
std::string olderText(const std::string& oldPath, const LogFile& newer) {
  LogFile older;
  older.open(oldPath);
  return older.isSameAs(newer) ? "" : older.more();
}

void printAll(const std::vector<LogRecord>& records, const Output& output) {
  for (const LogRecord& record : records) {
    output.print(recordText(record, output.screen()));
  }
  output.flush();
}

// Those of the level and worse.
std::vector<LogRecord> wantedOf(std::vector<LogRecord> records, int32_t level) {
  records.erase(std::remove_if(records.begin(), records.end(),
                               [level](const LogRecord& record) { return record.level > level; }),
                records.end());
  return records;
}

// The record that was written last has no end; a pause says that it is complete.
[[noreturn]] void follow(LogFile file, LogSplitter splitter, int32_t level, Session& session) {
  const std::string& path = session.options().logPath;
  const auto print = [&](std::vector<LogRecord> records) {
    printAll(wantedOf(std::move(records), level), session.output());
  };
  for (;;) {
    sleepMilliseconds(kFollowMs);
    const bool isReplaced = file.isReplaced(path);
    const std::string text = file.more();
    print(splitter.feed(text));
    std::optional<LogRecord> rest = text.empty() || isReplaced ? splitter.rest() : std::nullopt;
    if (rest) {
      print({std::move(*rest)});
    }
    if (isReplaced) {
      file.open(path);
    }
  }
}

int runLog(const LogOptions& given, Session& session) {
  session.refuseJson("log");
  if (session.options().utc) {
    throw Failure(kExitUsage, "log shows the daemon's own stamps: leave out --utc");
  }
  const int32_t level = given.level.empty() ? INT32_MAX : levelOfWord(given.level);
  const Options& options = session.options();
  LogFile file;
  if (!file.open(options.logPath) && (errno != ENOENT || !given.follow)) {
    failFile(options.logPath, "read", errno, ". Has quorin_poed been started here?");
  }

  LogSplitter splitter;
  std::vector<LogRecord> records = splitter.feed(olderText(options.oldLogPath, file) + file.more());
  const std::optional<LogRecord> rest = LogSplitter(splitter).rest();
  if (rest) {
    records.push_back(*rest);
  }
  records = wantedOf(std::move(records), level);
  const size_t most = given.count ? static_cast<size_t>(*given.count) : kDefaultRecords;
  if (records.size() > most) {
    records.erase(records.begin(), records.end() - static_cast<std::ptrdiff_t>(most));
  }
  if (!given.follow) {
    printAll(records, session.output());
    return kExitDone;
  }

  // The last record may be only half there: it is shown when the file has paused.
  if (rest && !records.empty() && rest->level <= level) {
    records.pop_back();
  }
  printAll(records, session.output());
  follow(std::move(file), most > 0 ? std::move(splitter) : LogSplitter(), level, session);
}

}  // namespace

SessionAction defineLog(Arguments& app, Options&) {
  const auto given = std::make_shared<LogOptions>();
  app.flag("-f,--follow", given->follow, "show records as they are written");
  app.add("-n", given->count, "the last N records only [50]").range(0, INT32_MAX).named("N");
  app.add("--level", given->level, "this level and worse").named(kLevelChoices);
  return [given](Session& session) { return runLog(*given, session); };
}
