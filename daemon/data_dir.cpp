#include "daemon/data_dir.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/sync_folder.h"
#include "base/unique_fd.h"
#include "daemon/paths.h"
#include "log/log.h"

namespace {

constexpr mode_t kDataDirMode = 0755;
constexpr mode_t kPrivateMode = 0600;
constexpr mode_t kPermissions = 07777;
constexpr size_t kPathBytes = 256;

// With its mode from the first moment on: a power cut between a mkdir and a chmod would leave
// another one for good.
bool makeDataDir() {
  const mode_t before = umask(kPermissions & ~kDataDirMode);
  const bool isMade = mkdir(kDataDirPath, kDataDirMode) == 0;
  umask(before);
  return isMade;
}

// Locks the whole file. When another process holds it: false, with that process in *holder.
bool lockFile(int file, pid_t* holder) {
  for (;;) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (fcntl(file, F_SETLK, &lock) == 0 || (errno != EACCES && errno != EAGAIN)) {
      return true;
    }
    if (fcntl(file, F_GETLK, &lock) != 0 || lock.l_type != F_UNLCK) {
      *holder = lock.l_pid;
      return false;
    }
    // Its holder has just gone.
  }
}

// Gives nobody a right, so that a file that its owner made read-only stays so. Fails where there is
// none, and where it is another user's to decide.
void takeOthersRights(const char* path) {
  struct stat status {};
  if (stat(path, &status) == 0 && (status.st_mode & kPermissions & ~kPrivateMode) != 0) {
    chmod(path, status.st_mode & kPrivateMode);
  }
}

}  // namespace

bool ensureConfigDir() {
  struct stat status {};
  if (stat(kDataDirPath, &status) == 0) {
    return true;
  }
  if (!makeDataDir()) {
    LOG_HERE(LOG_ERR, "mkdir(%s) failed: %s", kDataDirPath, strerror(errno));
    return false;
  }
  if (!syncFolder(openFolder(kDataDirParentPath))) {
    LOG_HERE(LOG_WARNING, "%s may not outlast a power cut: %s", kDataDirPath, strerror(errno));
  }
  return true;
}

bool claimDataDir() {
  UniqueFd file(open(kLockFilePath, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, kPrivateMode));
  pid_t holder = 0;
  if (file && !lockFile(file.get(), &holder)) {
    LOG_HERE(LOG_ERR, "another quorin_poed is running (pid %d); stop it first",
             static_cast<int>(holder));
    return false;
  }
  file.release();  // open, and so locked, until the process ends
  return true;
}

void tightenDataFiles() {
  for (const char* database : {kScheduleDbPath, kHistoryDbPath}) {
    for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
      char name[kPathBytes];
      if (snprintf(name, sizeof name, "%s%s", database, suffix) < static_cast<int>(sizeof name)) {
        takeOthersRights(name);
      }
    }
  }
  for (const char* file : {kBootDelayConfigPath, kBootDelayTempPath, kLockFilePath}) {
    takeOthersRights(file);
  }
}
