#include "cli/lab_clock.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <thread>

#include "base/unique_fd.h"

namespace {

constexpr char kMagic[16] = "lab clock";
constexpr int64_t kMsPerSec = 1000;
constexpr int64_t kNsPerMs = 1000000;
constexpr int64_t kNsPerSec = kMsPerSec * kNsPerMs;

int64_t clockMs(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return int64_t{now.tv_sec} * kMsPerSec + now.tv_nsec / kNsPerMs;
}

// Of the lab that this program belongs to; null for none. Looked up until there is one.
const LabClockPage* ownPage() {
  static std::atomic<const LabClockPage*> found{nullptr};
  const LabClockPage* page = found;
  if (page == nullptr) {
    const std::string folder = labFolder();
    page = folder.empty() ? nullptr : mapLabClock(folder);
    found = page;
  }
  return page;
}

}  // namespace

LabGoal LabClockPage::goal(uint32_t* number) const {
  for (;;) {
    const uint32_t before = number_;
    const Slot& slot = slots_[before % 2];
    const LabGoal goal{slot.goalMs, slot.hostMs, slot.speed, slot.speedAfter, slot.wallAheadMs};
    if (number_ == before) {
      *number = before;
      return goal;
    }
  }
}

void LabClockPage::setGoal(const LabGoal& goal) {
  const uint32_t next = number_ + 1;
  Slot& slot = slots_[next % 2];
  slot.goalMs = goal.goalMs;
  slot.hostMs = goal.hostMs;
  slot.wallAheadMs = goal.wallAheadMs;
  slot.leastMs = std::min(runningMs(), goal.goalMs);
  slot.speed = goal.speed;
  slot.speedAfter = goal.speedAfter;
  number_ = next;
  wakeUp();
}

// The system call takes the processor's own words, whatever the C library's timespec has.
void LabClockPage::awaitGoalAfter(uint32_t number, int64_t nanoseconds) const {
  const struct {
    long seconds;
    long nanoseconds;
  } longest{static_cast<long>(nanoseconds / kNsPerSec), static_cast<long>(nanoseconds % kNsPerSec)};
  syscall(SYS_futex, &number_, FUTEX_WAIT, number, &longest, nullptr, 0);
}

void LabClockPage::wakeUp() const {
  syscall(SYS_futex, &number_, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

int64_t LabClockPage::runningMs() const {
  uint32_t number = 0;
  const LabGoal now = goal(&number);
  return reached_ == number ? std::max(now.at(hostMonotonicMs()), now.goalMs)
                            : std::max<int64_t>(nowMs_, slots_[number % 2].leastMs);
}

int64_t LabClockPage::wallMs() const {
  uint32_t number = 0;
  return goal(&number).wallAheadMs + runningMs();
}

bool LabClockPage::isWhole() const {
  return memcmp(magic_, kMagic, sizeof kMagic) == 0 && bytes_ == sizeof *this;
}

LabClockPage* mapLabClock(const std::string& folder, bool make) {
  const std::string path = folder + "/clock";
  if (make) {
    unlink(path.c_str());
  }
  const UniqueFd file(
      open(path.c_str(), O_RDWR | O_CLOEXEC | (make ? O_CREAT | O_EXCL : 0), S_IRUSR | S_IWUSR));
  struct stat info {};
  if (!file || (make && ftruncate(file.get(), sizeof(LabClockPage)) != 0) ||
      fstat(file.get(), &info) != 0 || info.st_size != static_cast<off_t>(sizeof(LabClockPage))) {
    return nullptr;
  }
  void* address =
      mmap(nullptr, sizeof(LabClockPage), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
  if (address == MAP_FAILED) {
    return nullptr;
  }
  auto* page = static_cast<LabClockPage*>(address);
  if (make) {
    memcpy(page->magic_, kMagic, sizeof kMagic);
    page->bytes_ = sizeof *page;
  }
  if (!page->isWhole()) {
    munmap(address, sizeof *page);
    return nullptr;
  }
  return page;
}

std::string labFolder() {
  const char* folder = getenv("QUORIN_POED_LAB");
  return folder != nullptr ? folder : "";
}

int64_t systemMs() {
  if (quorinLabWallMs != nullptr) {
    return quorinLabWallMs();
  }
  const LabClockPage* page = ownPage();
  return page != nullptr ? page->wallMs() : hostRealMs();
}

int64_t systemMonotonicMs() {
  if (quorinLabRunningMs != nullptr) {
    return quorinLabRunningMs();
  }
  const LabClockPage* page = ownPage();
  return page != nullptr ? page->runningMs() : hostMonotonicMs();
}

void systemSleepMs(int64_t milliseconds) {
  if (quorinLabSleepMs != nullptr) {
    quorinLabSleepMs(milliseconds);
  } else {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  }
}

int32_t systemSpeed() {
  const LabClockPage* page = ownPage();
  uint32_t number = 0;
  return page != nullptr ? page->goal(&number).speed : 1;
}

int64_t hostMonotonicMs() {
  return clockMs(CLOCK_MONOTONIC);
}

int64_t hostRealMs() {
  return clockMs(CLOCK_REALTIME);
}
