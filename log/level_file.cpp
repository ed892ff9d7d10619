#include "log/level_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstddef>

#include "base/plain_file.h"

namespace {

constexpr size_t kLevelFileBytes = 4;
constexpr mode_t kLevelFileMode = 0666;
constexpr char kDefaultLevel = '6';

// Where the level is read; null without a level file. A mapping is never removed: a detached thread
// may be about to read it while the log is closed.
std::atomic<char*> levelPage{nullptr};
std::atomic<char*> lastMapping{nullptr};
std::atomic<int> levelDescriptor{-1};
// What SIGBUS did before our handler was installed; only changed while it is not.
struct sigaction nextInLine;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// Gives an emptied file its four bytes back. Where there is no block for them, or no call to get
// one, it gets its length: that makes the page readable wherever it needs no block to be read.
// False when neither can be done, or was of no use.
bool restoreLevelFile() {
  const int file = levelDescriptor.load();
  if (fallocate(file, 0, 0, kLevelFileBytes) == 0) {
    return true;
  }
  struct stat status {};
  return fstat(file, &status) == 0 && status.st_size < static_cast<off_t>(kLevelFileBytes) &&
         ftruncate(file, kLevelFileBytes) == 0;
}

// A shell that writes the level file first truncates it to nothing, and reading a mapped page
// behind a file's end raises SIGBUS. Giving the file its bytes back makes the page readable again,
// and the interrupted read goes on. Where that can't be done, as on a full disk in memory, an empty
// page takes the file's place, which reads as level 6.
void onBusError(int signalNumber, siginfo_t* info, void*) {
  char* page = lastMapping.load();
  const char* address = static_cast<const char*>(info->si_addr);
  const bool isLevelRead = page != nullptr && address >= page && address < page + kLevelFileBytes;
  if (isLevelRead && restoreLevelFile()) {
    return;
  }

  constexpr int kEmptyPage = MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED;
  if (isLevelRead &&
      mmap(page, kLevelFileBytes, PROT_READ | PROT_WRITE, kEmptyPage, -1, 0) != MAP_FAILED) {
    return;
  }

  // Somebody else's fault: the interrupted instruction meets it again, a signal that was sent is
  // sent once more.
  sigaction(signalNumber, &nextInLine, nullptr);
  if (info->si_code <= 0) {
    raise(signalNumber);
  }
}

bool isGuardInstalled(const struct sigaction& current) {
  return (current.sa_flags & SA_SIGINFO) != 0 && current.sa_sigaction == onBusError;
}

void installGuard() {
  struct sigaction current {};
  sigaction(SIGBUS, nullptr, &current);
  if (isGuardInstalled(current)) {
    return;
  }
  nextInLine = current;
  struct sigaction action {};
  action.sa_sigaction = onBusError;
  action.sa_flags = SA_SIGINFO;
  sigemptyset(&action.sa_mask);
  sigaction(SIGBUS, &action, nullptr);
}

}  // namespace

void levelFileOpen(const char* path) {
  if (levelDescriptor.load() >= 0) {
    return;
  }

  UniqueFd file = openOrMakePlainFile(path, O_RDWR, FileOwner::anybody, kLevelFileMode);
  if (!file || ftruncate(file.get(), kLevelFileBytes) != 0) {
    return;
  }

  void* mapped = mmap(nullptr, kLevelFileBytes, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
  if (mapped == MAP_FAILED) {
    return;
  }

  char* page = static_cast<char*>(mapped);
  levelDescriptor = file.release();
  lastMapping = page;
  installGuard();
  volatile char* level = page;
  if (!isDigit(*level)) {
    *level = kDefaultLevel;
  }

  levelPage.store(page, std::memory_order_release);
}

void levelFileClose() {
  const int descriptor = levelDescriptor.load();
  if (descriptor < 0) {
    return;
  }
  levelPage = nullptr;
  levelDescriptor = -1;
  close(descriptor);
}

LevelGuardPause::LevelGuardPause() {
  struct sigaction current {};
  sigaction(SIGBUS, nullptr, &current);
  wasInstalled_ = isGuardInstalled(current);
  if (wasInstalled_) {
    sigaction(SIGBUS, &nextInLine, nullptr);
  }
}

LevelGuardPause::~LevelGuardPause() {
  if (wasInstalled_) {
    installGuard();
  }
}

int32_t levelFileThreshold() {
  const volatile char* level = levelPage.load(std::memory_order_acquire);
  const char digit = level != nullptr ? *level : kDefaultLevel;
  return (isDigit(digit) ? digit : kDefaultLevel) - '0';
}
