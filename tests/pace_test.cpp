// The pace of the scheduler's own loop, under a clock of the test's making that moves only while somebody sleeps.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <ctime>

#include "config/schedule_store.h"
#include "daemon/daemon_context.h"
#include "scheduler/scheduler_thread.h"
#include "tests/support/fixtures.h"

namespace {

constexpr int64_t kNsPerSec = 1000000000;
constexpr int64_t kNsPerMs = 1000000;
constexpr int64_t kNsPerMinute = 60 * kNsPerSec;
constexpr int64_t kOversleepNs = 250000;  // of each sleep: 15 ms a minute, as measured
constexpr time_t kNewYear = 2208988800;   // 2040-01-01 00:00:00 UTC
constexpr int kMinutes = 24;

std::atomic<bool> isMoved{false};
std::atomic<int64_t> movedNs{0};
std::atomic<int64_t> stopNs{0};
std::atomic<int64_t> beganNs{0};
std::atomic<int64_t> driftNs{0};  // of the time against the monotonic clock, in a minute

timespec timeOf(int64_t ns) {
  return {static_cast<time_t>(ns / kNsPerSec), static_cast<long>(ns % kNsPerSec)};
}

}  // namespace

// These take the place of the C library's, for the daemon's code and for the simulated switch.
extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
  if (!isMoved) {
    return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
  }
  const int64_t ns = movedNs;
  *now = timeOf(clock == CLOCK_MONOTONIC ? ns : ns + (ns - beganNs) / kNsPerMinute * driftNs);
  return 0;
}

extern "C" time_t time(time_t* now) noexcept {
  timespec precise{};
  clock_gettime(CLOCK_REALTIME, &precise);
  if (now != nullptr) {
    *now = precise.tv_sec;
  }
  return precise.tv_sec;
}

extern "C" int nanosleep(const timespec* wanted, timespec* left) {
  if (!isMoved) {
    return static_cast<int>(syscall(SYS_nanosleep, wanted, left));
  }
  movedNs += wanted->tv_sec * kNsPerSec + wanted->tv_nsec + kOversleepNs;
  if (movedNs >= stopNs) {
    daemonContext()->stopRequested = 1;
  }
  return 0;
}

using PaceTest = StoreTest;

TEST_F(PaceTest, noMinuteOfASwitchWhoseClockIsAMomentBehindIsSkipped) {
  setenv("TZ", "UTC", 1);
  for (int minute = 0; minute < kMinutes; ++minute) {
    const std::string start = "10:" + std::to_string(minute);
    const JsonPtr window = jsonParse((R"({"name":")" + start + R"(","scheduleType":"power_off","recurrence":"daily",)" +
                                      R"("startTime":")" + start + R"(","endTime":"23:59","ifNums":[1]})")
                                         .c_str());
    JsonPtr answer;
    ASSERT_EQ(scheduleCreate(1, window.get(), &answer), 0);
  }
  int day = 0;
  for (const int64_t behindMs : {0, 200, 500, 800, 990, 1300}) {
    for (const int64_t drift : {0, 15, -15}) {
      for (const int64_t startMs : {-30000, -29550, 59985}) {  // the last one in the first window's last second
        ASSERT_EQ(switchsim::setClock(switchsim::ClockMode::follow, "", behindMs), "");
        const uint64_t before = switchsim::lastSeq();
        const time_t ten = kNewYear + 86400 * ++day + 10 * 3600;
        beganNs = movedNs = ten * kNsPerSec + (startMs + behindMs % 1000) * kNsPerMs;
        driftNs = drift * kNsPerMs;
        stopNs = (ten + kMinutes * 60 + 30) * kNsPerSec;
        isMoved = true;
        schedulerThread(nullptr);
        isMoved = false;
        daemonContext()->stopRequested = 0;
        EXPECT_EQ(switchsim::lastSeq() - before, uint64_t{kMinutes})
            << behindMs << " ms behind, drift " << drift << " ms a minute, from " << startMs;
      }
    }
  }
}
