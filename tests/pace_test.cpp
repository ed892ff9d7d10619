// The pace of the scheduler's own loop, under a clock of the test's making that moves only while
// somebody sleeps.
#include <sys/syscall.h>
#include <unistd.h>

#include "daemon/daemon_context.h"
#include "scheduler/scheduler_thread.h"
#include "tests/support/fixtures.h"

namespace {

constexpr int64_t kNsPerSec = 1000000000;
constexpr int64_t kNsPerMs = 1000000;
constexpr int64_t kNsPerMinute = 60 * kNsPerSec;
constexpr int64_t kOversleepNs = 250000;  // of each sleep: 15 ms a minute, as measured
constexpr time_t kNewYear = 2208988800;   // 2040-01-01 00:00:00 UTC
constexpr int64_t kDaySec = 86400;
constexpr int kMinutes = 24;

std::atomic<bool> isMoved{false};
std::atomic<int64_t> movedNs{0};
std::atomic<int64_t> stopNs{0};
std::atomic<int64_t> beganNs{0};
std::atomic<int64_t> driftNs{0};    // of the time against the monotonic clock, in a minute
std::atomic<int64_t> putBackNs{0};  // of the time,
std::atomic<int64_t> putBackAtNs{0};

}  // namespace

// These take the place of the C library's, for the daemon's code and for the simulated switch.
extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
  if (!isMoved) {
    return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
  }
  const int64_t ns = movedNs;
  const int64_t backNs = ns < putBackAtNs ? 0 : putBackNs.load();
  const int64_t time =
      clock == CLOCK_MONOTONIC ? ns : ns + (ns - beganNs) / kNsPerMinute * driftNs - backNs;
  *now = {static_cast<time_t>(time / kNsPerSec), static_cast<long>(time % kNsPerSec)};
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

class PaceTest : public TickTest {
 protected:
  // What the scheduler's loop does from a time on, so long.
  static std::string loopFrom(int64_t startNs, int64_t lengthSec) {
    const uint64_t before = switchsim::lastSeq();
    beganNs = movedNs = startNs;
    stopNs = startNs + lengthSec * kNsPerSec;
    isMoved = true;
    schedulerThread(nullptr);
    isMoved = false;
    daemonContext()->stopRequested = 0;
    return acts(before);
  }
};

TEST_F(PaceTest, noMinuteIsSkippedWhileASwitchIsAMomentBehindOrItsClockIsPutBackADay) {
  setenv("TZ", "UTC", 1);

  std::string everyMinute;
  for (int minute = 0; minute < kMinutes; ++minute) {
    const std::string start = (minute < 12 ? "23:" : "00:") + std::to_string((48 + minute) % 60);
    createWindow("power_off", start, "12:00", R"("ifNums":[1])");
    everyMinute += minute > 0 ? " 1-" : "1-";
  }

  int64_t begin = (kNewYear + 23 * 3600 + 48 * 60) * kNsPerSec;

  for (const auto& [behindMs, back] :
       {std::pair{0, 0}, {200, 0}, {500, 0}, {800, 0}, {990, 0}, {1300, 0}, {300, 1}}) {
    for (const int64_t drift : {0, 15, -15}) {
      // The last one in the first window's last second.
      for (const int64_t startMs : {-30000, -29550, 59985}) {
        switchsim::setClock(switchsim::ClockMode::follow, "", behindMs);
        begin += 2 * kDaySec * kNsPerSec;
        driftNs = drift * kNsPerMs;
        putBackNs = back * kDaySec * kNsPerSec;
        putBackAtNs = begin + 11 * kNsPerMinute / 2;  // that minute is another day's, too
        EXPECT_EQ(loopFrom(begin + (startMs + behindMs % 1000) * kNsPerMs,
                           kMinutes * 60 + 30 - startMs / 1000),
                  everyMinute + (back != 0 ? " 1-" : ""))
            << behindMs << " ms behind, drift " << drift << " ms a minute, from " << startMs;
      }
    }
  }
}

TEST_F(PaceTest, aWindowIsReapedWhenItHasBeenOpenForMoreThan25Hours) {
  createWindow("power_off", "08:00", "09:00", R"("ifNums":[1])");
  movedNs = kNewYear * kNsPerSec;
  stopNs = INT64_MAX;
  isMoved = true;
  tickAt("2042-01-01 08:00");
  movedNs += 90000 * kNsPerSec;
  tickAt("2042-01-02 07:00");
  EXPECT_EQ(runs(), "power_off running: 1 success");
  movedNs += kNsPerSec;
  tickAt("2042-01-02 07:01");
  EXPECT_EQ(runs(), "power_off failed Window end never fired: 1 success");
  isMoved = false;
}
