#include "base/plain_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

namespace {

constexpr int kGuards = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

bool isTrusted(int file, FileOwner trusted) {
  struct stat status {};
  if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink != 1) {
    return false;
  }
  return trusted == FileOwner::anybody || status.st_uid == geteuid() || status.st_uid == 0;
}

}  // namespace

UniqueFd openPlainFile(const char* path, int accessFlags, FileOwner trusted) {
  UniqueFd file(open(path, accessFlags | kGuards));
  if (file && !isTrusted(file.get(), trusted)) {
    file.reset(-1);
    errno = EPERM;
  }
  return file;
}

UniqueFd openOrMakePlainFile(const char* path, int accessFlags, FileOwner trusted, mode_t mode) {
  // First without O_CREAT, with which the kernel may refuse another user's file
  // (/proc/sys/fs/protected_regular).
  UniqueFd file = openPlainFile(path, accessFlags, trusted);
  if (file || errno != ENOENT) {
    return file;
  }
  UniqueFd made(open(path, accessFlags | kGuards | O_CREAT | O_EXCL, mode));
  if (!made && errno == EEXIST) {
    return openPlainFile(path, accessFlags, trusted);  // another process was quicker
  }
  if (made) {
    fchmod(made.get(), mode);
  }
  return made;
}
