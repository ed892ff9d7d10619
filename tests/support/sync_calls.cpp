// Preloaded into a daemon. Writes to the file that SYNC_CALLS names, one word or two a line, what a
// power cut must not find in another order: "make", "sync" and "rename" with the name of a file or
// folder ("sync nothing of", while it is empty), and "answer" for one that is sent. What SYNC_FAILS
// names can't be synced. SQLite is one that by itself syncs nothing, as a vendor may have built it.
#include <dlfcn.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

template <typename Function>
Function* real(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::string baseName(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

void note(const std::string& call) {
  const int file = open(getenv("SYNC_CALLS"), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  dprintf(file, "%s\n", call.c_str());
  close(file);
}

int sync(int file, int (*realSync)(int)) {
  char path[512] = "";
  struct stat status {};
  const bool isKnown =
      fstat(file, &status) == 0 &&
      readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path, sizeof path - 1) > 0;
  const std::string name = isKnown ? baseName(path) : "?";
  note((status.st_size == 0 ? "sync nothing of " : "sync ") + name);
  const char* fails = getenv("SYNC_FAILS");
  if (fails != nullptr && name == fails) {
    errno = EIO;
    return -1;
  }
  return realSync(file);
}

}  // namespace

extern "C" {

int fsync(int file) {
  return sync(file, real(fsync, "fsync"));
}

int fdatasync(int file) {
  return sync(file, real(fdatasync, "fdatasync"));
}

int mkdir(const char* path, mode_t mode) {
  note("make " + baseName(path));
  return real(mkdir, "mkdir")(path, mode);
}

int rename(const char* from, const char* to) noexcept {
  note("rename " + baseName(to));
  return real(rename, "rename")(from, to);
}

ssize_t sendmsg(int connection, const msghdr* message, int flags) {
  note("answer");
  return real(sendmsg, "sendmsg")(connection, message, flags);
}

int sqlite3_open_v2(const char* path, sqlite3** db, int flags, const char* system) {
  const int rc = real(sqlite3_open_v2, "sqlite3_open_v2")(path, db, flags, system);
  sqlite3_exec(*db, "PRAGMA synchronous=OFF;", nullptr, nullptr, nullptr);
  return rc;
}
}
