// The clock of a lab, by which all of its programs go: the daemon through libfaketime, the others
// through systemMs(). It is one file, "clock" in the lab's folder, replaced as a whole, which both
// kinds read: libfaketime takes a "#" for a comment.
//
//   # 1774728000250 81234567 120    lab time and host's CLOCK_MONOTONIC of one instant (ms), speed
//   +44231.250000 x120              the same for libfaketime, which reckons from the daemon's start
#ifndef QUORIN_CLI_LAB_CLOCK_H
#define QUORIN_CLI_LAB_CLOCK_H

#include <cstdint>
#include <optional>
#include <string>

constexpr int32_t kMaxLabSpeed = 1000;

struct LabClock {
  int64_t labMs = 0;   // since 1970 UTC
  int64_t hostMs = 0;  // of CLOCK_MONOTONIC, at the same instant
  int32_t speed = 1;   // seconds of the lab in one of the host

  int64_t labMsAt(int64_t hostNowMs) const { return labMs + (hostNowMs - hostMs) * speed; }
};

// The clock of the lab in the folder; none when there is none.
std::optional<LabClock> readLabClock(const std::string& folder);

// The file for a daemon that started at this real time, in microseconds since 1970 UTC. REQUIRES:
// the clock was set at this moment.
std::string labClockText(const LabClock& clock, int64_t daemonStartUs);

// The lab that this program belongs to, a folder: the environment variable QUORIN_POED_LAB. Empty
// when it belongs to none.
std::string labFolder();

// Whether this program is a lab's daemon, whose clocks libfaketime moves: SWITCHSIM_TIME=wall.
bool isLabDaemon();

// The time of day in milliseconds since 1970 UTC: the lab's in a program that belongs to one (whose
// clock can be read), else this system's.
int64_t systemMs();

// How many of its seconds go by in one of the host: the lab's speed, else 1.
int32_t systemSpeed();

int64_t hostMonotonicMs();
int64_t hostRealUs();

#endif
