#include "switchsim/switch/shared_state.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "base/draft_ending.h"
#include "base/unique_fd.h"
#include "cli/failure.h"
#include "cli/lab_clock.h"

namespace switchsim {
namespace {

constexpr char kMagic[16] = "switchsim state";
constexpr uint32_t kLayoutVersion = 4;
constexpr const char* kDefaultPath = "/tmp/switchsim.state";

std::string systemError(const std::string& what) {
  return what + ": " + strerror(errno);
}

}  // namespace

// A mapping of the state file, unmapped when the last user lets go of it. It keeps its inode from
// being reused, so that device and inode tell whether the path still leads to it.
class MappedFile {
 public:
  static std::shared_ptr<MappedFile> map(const UniqueFd& fd, const struct stat& info) {
    void* address =
        mmap(nullptr, sizeof(SharedState), PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
    if (address == MAP_FAILED) {
      return nullptr;
    }
    return std::shared_ptr<MappedFile>(new MappedFile(static_cast<SharedState*>(address), info));
  }
  ~MappedFile() { munmap(state_, sizeof(SharedState)); }
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  SharedState* state() const { return state_; }
  bool isAt(const struct stat& info) const {
    return info.st_dev == device_ && info.st_ino == inode_;
  }

 private:
  MappedFile(SharedState* state, const struct stat& info)
      : state_(state), device_(info.st_dev), inode_(info.st_ino) {}

  SharedState* state_;
  dev_t device_;
  ino_t inode_;
};

namespace {

struct MappingCache {
  std::mutex mutex;
  std::shared_ptr<MappedFile> file;  // guarded by the mutex
};

// Never destroyed: detached threads may call while the process exits.
MappingCache& mappingCache() {
  static MappingCache* cache = new MappingCache;
  return *cache;
}

// Why the file is not a state that this program can use; empty: it is one.
std::string checkHeader(const UniqueFd& fd, const struct stat& info, const std::string& path) {
  struct {
    char magic[sizeof(kMagic)];
    uint32_t layoutVersion;
    uint32_t byteSize;
  } header = {};
  if (!S_ISREG(info.st_mode) ||
      pread(fd.get(), &header, sizeof(header), 0) != static_cast<ssize_t>(sizeof(header)) ||
      memcmp(header.magic, kMagic, sizeof(kMagic)) != 0) {
    return path + " is not the state of a simulated switch";
  }
  if (header.layoutVersion != kLayoutVersion || header.byteSize != sizeof(SharedState) ||
      info.st_size != static_cast<off_t>(sizeof(SharedState))) {
    return path + " was made by another version of switchsim; remove it and run `switchsim create`";
  }

  return "";
}

std::shared_ptr<MappedFile> openFile(const std::string& path, std::string* error) {
  const UniqueFd fd(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
  struct stat info = {};
  if (!fd || fstat(fd.get(), &info) != 0) {
    *error = errno == ENOENT ? "no simulated switch at " + path + "; `switchsim create` makes one"
                             : systemError("cannot open " + path);
    return nullptr;
  }

  *error = checkHeader(fd, info, path);
  if (!error->empty()) {
    return nullptr;
  }
  std::shared_ptr<MappedFile> file = MappedFile::map(fd, info);
  if (file == nullptr) {
    *error = systemError("cannot map " + path);
  }
  return file;
}

std::shared_ptr<MappedFile> currentFile(std::string* error) {
  const std::string path = statePath();
  MappingCache& cache = mappingCache();
  const std::lock_guard<std::mutex> lock(cache.mutex);
  struct stat info = {};
  // A file that was cut short must not be touched through its mapping: that would be a bus error.
  const bool known = cache.file != nullptr && stat(path.c_str(), &info) == 0 &&
                     cache.file->isAt(info) &&
                     info.st_size == static_cast<off_t>(sizeof(SharedState));
  if (!known) {
    cache.file = openFile(path, error);
  }
  return cache.file;
}

bool initMutex(pthread_mutex_t* mutex) {
  pthread_mutexattr_t attributes;
  if (pthread_mutexattr_init(&attributes) != 0) {
    return false;
  }
  const bool done = pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED) == 0 &&
                    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST) == 0 &&
                    pthread_mutex_init(mutex, &attributes) == 0;
  pthread_mutexattr_destroy(&attributes);
  return done;
}

// Writes a whole state into the empty file behind fd.
std::string writeState(const UniqueFd& fd, const std::function<void(SharedState*)>& write) {
  struct stat info = {};
  // The space is claimed now: running out of it later would be a bus error in whoever writes the
  // journal then.
  errno = posix_fallocate(fd.get(), 0, sizeof(SharedState));
  if (errno != 0 || fchmod(fd.get(), 0644) != 0 || fstat(fd.get(), &info) != 0) {
    return systemError("cannot write");
  }

  const std::shared_ptr<MappedFile> file = MappedFile::map(fd, info);
  if (file == nullptr) {
    return systemError("cannot map");
  }

  SharedState* state = file->state();
  if (!initMutex(&state->mutex)) {
    return "cannot make a lock";
  }

  write(state);
  state->layoutVersion = kLayoutVersion;
  state->byteSize = sizeof(SharedState);
  memcpy(state->magic, kMagic, sizeof(kMagic));
  return "";
}

}  // namespace

std::string statePath() {
  const char* path = getenv("SWITCHSIM_STATE");
  return path != nullptr && *path != '\0' ? path : kDefaultPath;
}

namespace {

// Whether all that is used as a place in a table is one. Another program may have written the file.
bool isSound(const SharedState& state) {
  return state.portCount <= kMaxPorts && state.faultCount <= kMaxFaults &&
         state.clock.mode <= ClockMode::fail &&
         state.lastClientName[sizeof state.lastClientName - 1] == '\0';
}

// Null with the reason in *error.
LockedState lockOrExplain(std::string* error) {
  std::shared_ptr<MappedFile> file = currentFile(error);
  if (file == nullptr) {
    return nullptr;
  }

  SharedState* state = file->state();
  const int result = pthread_mutex_lock(&state->mutex);
  // Its owner was killed. Every change leaves a usable switch at each step, so there is nothing to
  // repair.
  if (result == EOWNERDEAD) {
    pthread_mutex_consistent(&state->mutex);
  } else if (result != 0) {
    *error = "cannot lock " + statePath() + ": " + strerror(result);
    return nullptr;
  }

  LockedState locked(state, StateUnlock{std::move(file)});
  if (!isSound(*state)) {
    *error = statePath() + " is damaged: remove it and run `switchsim create`";
    return nullptr;
  }
  return locked;
}

}  // namespace

LockedState lockState() {
  std::string error;
  return lockOrExplain(&error);
}

LockedState lockedState() {
  std::string error;
  LockedState state = lockOrExplain(&error);
  if (state == nullptr) {
    fail(error);
  }
  return state;
}

void makeStateFile(const std::function<void(SharedState*)>& write) {
  const std::string path = statePath();
  std::string draft = path + kDraftEnding;
  const UniqueFd fd(mkostemp(draft.data(), O_CLOEXEC));
  if (!fd) {
    fail(systemError("cannot create " + draft));
  }

  std::string reason = writeState(fd, write);
  if (!reason.empty()) {
    reason += " " + draft;
  }

  // A link, unlike a rename, never replaces a file that another process has made meanwhile.
  if (reason.empty() && link(draft.c_str(), path.c_str()) != 0) {
    reason = systemError("cannot create " + path);
  }

  unlink(draft.c_str());
  if (!reason.empty()) {
    fail(reason);
  }
}

int64_t monotonicMs() {
  return systemMonotonicMs();
}

}  // namespace switchsim
