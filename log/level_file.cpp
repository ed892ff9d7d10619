#include "log/level_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstddef>

namespace {

constexpr size_t kLevelFileBytes = 4;
constexpr mode_t kLevelFileMode = 0666;
constexpr char kDefaultLevel = '6';

// The first mapping of the file. Once there, the page stays in the address space for good, because a detached thread
// may be about to read it while the log is closed: closing puts an anonymous page in the file's place.
std::atomic<char*> levelPage{nullptr};
std::atomic<int> levelDescriptor{-1};

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// Maps the descriptor's file, or an anonymous page when it is negative, to the place where the level is read.
char* mapLevelPage(int descriptor) {
  char* page = levelPage.load();
  const int flags = (descriptor >= 0 ? MAP_SHARED : MAP_PRIVATE | MAP_ANONYMOUS) | (page != nullptr ? MAP_FIXED : 0);
  void* mapped = mmap(page, kLevelFileBytes, PROT_READ | PROT_WRITE, flags, descriptor, 0);
  return mapped == MAP_FAILED ? nullptr : static_cast<char*>(mapped);
}

// A shell that writes the level file first truncates it to nothing, and reading a mapped page behind a file's end
// raises SIGBUS. Giving the file its four bytes back makes the page readable again, and the interrupted read goes on.
void onBusError(int signalNumber, siginfo_t* info, void*) {
  const char* page = levelPage.load();
  const char* address = static_cast<const char*>(info->si_addr);
  const bool isLevelRead = page != nullptr && address >= page && address < page + kLevelFileBytes;
  if (isLevelRead && ftruncate(levelDescriptor.load(), kLevelFileBytes) == 0) {
    return;
  }
  signal(signalNumber, SIG_DFL);
}

void installBusErrorHandler() {
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
  const int descriptor = open(path, O_RDWR | O_CREAT | O_CLOEXEC, kLevelFileMode);
  if (descriptor < 0) {
    return;
  }
  char* page = ftruncate(descriptor, kLevelFileBytes) == 0 ? mapLevelPage(descriptor) : nullptr;
  if (page == nullptr) {
    close(descriptor);
    return;
  }
  levelDescriptor = descriptor;
  levelPage.store(page, std::memory_order_release);
  installBusErrorHandler();
  volatile char* level = page;
  if (!isDigit(*level)) {
    *level = kDefaultLevel;
  }
}

void levelFileClose() {
  const int descriptor = levelDescriptor.load();
  if (descriptor < 0) {
    return;
  }
  mapLevelPage(-1);
  levelDescriptor = -1;
  close(descriptor);
}

int32_t levelFileThreshold() {
  const volatile char* level = levelPage.load(std::memory_order_acquire);
  const char digit = level != nullptr ? *level : kDefaultLevel;
  return (isDigit(digit) ? digit : kDefaultLevel) - '0';
}
