#include "log/log.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "base/clock.h"
#include "base/file_ptr.h"
#include "base/plain_file.h"
#include "base/thread_annotations.h"
#include "log/level_file.h"

namespace {

constexpr int32_t kMaxLogFileBytes = 1048576;
constexpr int64_t kMsPerSec = 1000;
constexpr mode_t kLogFileMode = 0644;
constexpr const char* kLevelNames[] = {"", "", "", "ERROR", "WARN", "NOTICE", "INFO", "DEBUG"};

// Atomic, because detached threads may still log while and after the main thread closes the log.
std::atomic<int32_t> logMode{-1};
std::atomic<int32_t> logFacility{-1};
std::atomic<const char*> logIdent{nullptr};
std::atomic<bool> logStarted{false};

Mutex fileMutex;
FILE* logFile GUARDED_BY(fileMutex) = nullptr;
int32_t bytesWritten GUARDED_BY(fileMutex) = 0;
int fileError = 0;  // of logOpen; errno, 0 for none

LogPaths logPaths{};         // set once, before anything is logged
char processNameBuffer[64];  // written once, by the first record

bool hasMode(int32_t mode, uint32_t bit) {
  return mode > 0 && (static_cast<uint32_t>(mode) & bit) != 0;
}

const char* levelName(int32_t level) {
  constexpr int32_t kNames = sizeof kLevelNames / sizeof kLevelNames[0];
  return level >= 0 && level < kNames ? kLevelNames[level] : "";
}

// The log file for appending, or null. /tmp is everybody's: only a file of this user or of root is
// written to.
FILE* openLogStream() {
  UniqueFd file =
      openOrMakePlainFile(logPaths.file, O_RDWR | O_APPEND, FileOwner::selfOrRoot, kLogFileMode);
  return streamOf(std::move(file), "a+").release();
}

void openLogFile() REQUIRES(fileMutex) {
  if (logFile != nullptr) {
    fclose(logFile);
  }
  logFile = openLogStream();
  struct stat status {};
  if (logFile != nullptr && fileno(logFile) > 0 && fstat(fileno(logFile), &status) == 0) {
    // What is past the limit already is rotated by the next record, however far past it is.
    bytesWritten = static_cast<int32_t>(std::min<off_t>(status.st_size, kMaxLogFileBytes));
  }
}

void closeLogFile() {
  const MutexLock lock(fileMutex);
  if (logFile != nullptr) {
    fclose(logFile);
    logFile = nullptr;
  }
}

void closeDestinations() {
  const int32_t mode = logMode.load();
  if (hasMode(mode, LOG_TO_SYSLOG)) {
    closelog();
  }
  if (hasMode(mode, LOG_TO_FILE)) {
    closeLogFile();
  }
  levelFileClose();
}

// The process's name as the kernel knows it, or null.
const char* readProcessName() {
  FILE* status = fopen("/proc/self/status", "re");
  if (status == nullptr) {
    return nullptr;
  }

  const char* name = nullptr;
  while (name == nullptr && fgets(processNameBuffer, sizeof processNameBuffer, status) != nullptr) {
    if (strncmp(processNameBuffer, "Name:", 5) != 0) {
      continue;
    }
    char* rest = nullptr;
    strtok_r(processNameBuffer, "\t\n", &rest);
    name = strtok_r(nullptr, "\t\n", &rest);
    break;
  }

  fclose(status);
  return name;
}

void startLog() {
  if (logMode.load() < 0) {
    logMode = static_cast<int32_t>(LOG_TO_STDOUT);
  }
  if (logFacility.load() < 0) {
    logFacility = LOG_USER;
  }
  if (logIdent.load() == nullptr && logMode.load() != static_cast<int32_t>(LOG_TO_STDOUT)) {
    logIdent = readProcessName();
  }
  if (hasMode(logMode.load(), LOG_TO_SYSLOG)) {
    openlog(logIdent.load(), 0, logFacility.load());
  }
  logStarted = true;
}

int printPrefix(FILE* stream, int32_t level) {
  const char* ident = logIdent.load();
  const char* name = ident != nullptr ? ident : "(null)";
  const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(wallTime()).count();
  const time_t seconds = static_cast<time_t>(now / kMsPerSec);
  tm local{};
  if (localtime_r(&seconds, &local) == nullptr) {
    return fprintf(stream, "(%s): %s: ", levelName(level), name);
  }
  return fprintf(stream, "%04d-%02d-%02d %02d:%02d:%02d.%03d (%s): %s: ", local.tm_year + 1900,
                 local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                 static_cast<int>(now % kMsPerSec), levelName(level), name);
}

// Returns the bytes written.
__attribute__((format(printf, 3, 0))) int logWriteRecord(FILE* stream, int32_t level,
                                                         const char* format, va_list arguments) {
  const int prefixBytes = printPrefix(stream, level);
  const int messageBytes = vfprintf(stream, format, arguments);
  return (prefixBytes > 0 ? prefixBytes : 0) + (messageBytes > 0 ? messageBytes : 0);
}

// Whether the open log is the one that stands at its path.
bool isLogInPlace() REQUIRES(fileMutex) {
  struct stat opened {};
  struct stat standing {};
  return fstat(fileno(logFile), &opened) == 0 && lstat(logPaths.file, &standing) == 0 &&
         opened.st_dev == standing.st_dev && opened.st_ino == standing.st_ino;
}

void rotateLogFile() REQUIRES(fileMutex) {
  // A daemon that finds this one running may have rotated the log just before it ended.
  if (isLogInPlace()) {
    remove(logPaths.oldFile);
    rename(logPaths.file, logPaths.oldFile);
  }
  const bool moved = !isLogInPlace();
  openLogFile();

  // Better no older records than a file that grows for ever behind something that can't be
  // replaced. Where it can't be cut either, the next record tries again.
  if (!moved && logFile != nullptr && ftruncate(fileno(logFile), 0) == 0) {
    bytesWritten = 0;
  }
}

__attribute__((format(printf, 2, 0))) void writeToFile(int32_t level, const char* format,
                                                       va_list arguments) {
  const MutexLock lock(fileMutex);
  if (logFile == nullptr) {
    logWriteRecord(stdout, level, format, arguments);
    return;
  }
  bytesWritten += logWriteRecord(logFile, level, format, arguments);
  if (bytesWritten > kMaxLogFileBytes) {
    rotateLogFile();
  }
  fflush(logFile);
}

}  // namespace

void logSetPaths(const LogPaths& paths) {
  logPaths = paths;
}

void logOpen(uint32_t mode, int32_t facility, const char* ident) {
  if (logStarted.load()) {
    closeDestinations();
    logStarted = false;
  }
  logMode = static_cast<int32_t>(mode);
  logFacility = facility;
  logIdent = ident;
  levelFileOpen(logPaths.level);
  if (hasMode(logMode.load(), LOG_TO_FILE)) {
    const MutexLock lock(fileMutex);
    openLogFile();
    fileError = logFile == nullptr ? errno : 0;
  }
}

const char* logFileProblem() {
  switch (fileError) {
    case 0:
      return nullptr;
    case EPERM:
      return "it is another user's, has a second name or is no regular file";
    case ELOOP:
      return "it is a link";
    default:
      return strerror(fileError);
  }
}

void logMessage(int32_t level, const char* format, ...) {
  if (level > levelFileThreshold()) {
    return;
  }
  if (!logStarted.load()) {
    startLog();
  }

  const int32_t mode = logMode.load();
  va_list arguments;
  if (hasMode(mode, LOG_TO_STDOUT)) {
    va_start(arguments, format);
    logWriteRecord(stdout, level, format, arguments);
    va_end(arguments);
  }
  if (hasMode(mode, LOG_TO_FILE)) {
    va_start(arguments, format);
    writeToFile(level, format, arguments);
    va_end(arguments);
  }
  if (hasMode(mode, LOG_TO_SYSLOG)) {
    va_start(arguments, format);
    vsyslog(level, format, arguments);
    va_end(arguments);
  }
}

void logClose() {
  if (!logStarted.load()) {
    return;
  }
  closeDestinations();
  logStarted = false;
}
