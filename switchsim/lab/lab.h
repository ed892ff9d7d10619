// A lab: a simulated switch and the real daemon in one folder, under a clock of their own.
//
//   switch.state  the switch
//   root/         the daemon's private root: its socket, data and log are below it
//   clock         the clock (cli/lab_clock.h)
//   lab.json      by which a folder is a lab: the daemon's process, or when it was taken down
//   daemon.out    what the daemon printed
//
// All functions throw Failure, which says what to do.
#ifndef QUORIN_SWITCHSIM_LAB_LAB_H
#define QUORIN_SWITCHSIM_LAB_LAB_H

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "base/unique_fd.h"
#include "cli/lab_clock.h"

namespace switchsim {

// That of QUORIN_POED_LAB, else one of the user's own.
std::string defaultLabFolder();

struct LabPlan {
  std::optional<int64_t> at;  // seconds since 1970 UTC; none: where it was left, or now
  int32_t speed = 1;
  std::string shuffleSeed;  // the daemon's threads take their turns at random; empty: in order
  // Makes the lab's switch. It is called where there is none yet, and where isNewSwitch.
  std::function<void()> makeSwitch;
  bool isNewSwitch = false;
};

class Lab {
 public:
  // From now on this program belongs to the lab: switch and clock are the lab's.
  explicit Lab(const std::string& folder);

  // Returns when the daemon answers.
  void up(const LabPlan& plan);
  // Ends the daemon. clean: removes the lab's files, too, and the folder. False where nothing ran.
  bool down(bool clean);

  // A lab whose daemon runs; the functions below need one.
  void requireRunning() const;
  bool isRunning() const;
  // From now on no other program moves the clock. Throws where one does. What a killed one left
  // undone ends here.
  void claim();
  // Others may move it again.
  void release() { claim_.reset(-1); }

  // The wall time of the lab, since 1970 UTC.
  int64_t nowMs() const;
  int32_t speed() const;
  // Returns when the lab shows this time and its daemon has done all that was to be done until
  // then. check is called every few milliseconds; what it throws ends the travel there.
  void travelTo(int64_t toMs, const std::function<void()>& check);
  // Sets the wall time and no more, as when somebody sets a switch's clock: forward or backward.
  void jumpTo(int64_t toMs);
  // 0: it stands.
  void setSpeed(int32_t speed);

  const std::string& folder() const { return folder_; }
  std::string socketPath() const { return folder_ + "/root/var/run/quorin_poed.sock"; }
  std::string zone() const;  // the TZ that the daemon was started with; empty: the system's
  pid_t daemonPid() const;   // 0: none runs

 private:
  struct Record;
  std::optional<Record> readRecord() const;
  void writeRecord(const Record& record) const;
  // Whether this program has the folder to itself, now.
  bool isClaimed();
  [[noreturn]] void failClaimed() const;
  int64_t beginMs(const LabPlan& plan) const;
  void makeFolder() const;
  void makeSwitch(const LabPlan& plan) const;
  void removeFiles() const;
  pid_t startDaemon(const std::string& program, const LabPlan& plan) const;
  [[noreturn]] void execDaemon(const std::string& program, const LabPlan& plan) const;
  void awaitDaemon(pid_t child) const;
  void endDaemon(pid_t pid, bool atOnce) const;
  LabClockPage& clock() const;
  LabGoal goal() const;
  void go(int64_t runningMs, int32_t speed, int32_t speedAfter);
  void awaitReached(const std::function<void()>& check);

  std::string folder_;
  UniqueFd claim_;
  mutable LabClockPage* clock_ = nullptr;  // mapped when it is first needed
};

}  // namespace switchsim

#endif
