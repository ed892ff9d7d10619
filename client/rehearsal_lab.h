// A lab: a simulated switch and a daemon in a folder of their own, under a clock of their own. The
// program switchsim runs it.
#ifndef QUORIN_CLIENT_REHEARSAL_LAB_H
#define QUORIN_CLIENT_REHEARSAL_LAB_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/json.h"
#include "cli/lab_clock.h"
#include "cli/output.h"
#include "cli/times.h"
#include "client/program.h"

// Goes without leaving a process or a file behind, also when it is stopped (client/program.h) or
// one of its functions throws Failure. Not for two at a time.
class RehearsalLab {
 public:
  // Makes a folder below TMPDIR or /tmp. zone: that of its switch. Throws Failure: kExitNoSuch when
  // switchsim is not there. output is borrowed.
  RehearsalLab(const Zone& zone, const Output& output);
  ~RehearsalLab();
  RehearsalLab(const RehearsalLab&) = delete;
  RehearsalLab& operator=(const RehearsalLab&) = delete;

  // Starts it with the ports of `ports --json`, at the instant.
  void up(const std::string& ports, int64_t at);
  // Ends its daemon and starts it at the instant, with a clock that runs so much faster.
  void restart(int64_t at, int32_t speed);
  // Runs it to the instant; the work of each minute on the way is done then. passing is told the
  // lab's time again and again.
  void runTo(int64_t at, const std::function<void(int64_t now)>& passing);
  // The switch's journal after the entry.
  JsonPtr journalSince(int64_t entry);
  std::string socketPath() const { return folder() + "/root/var/run/quorin_poed.sock"; }

 private:
  std::string folder() const { return place_ + "/lab"; }
  void startDaemon(const std::vector<std::string>& more);
  std::string run(const std::vector<std::string>& arguments,
                  const std::function<void()>& passing = {});
  Variables environment() const;

  const Zone zone_;
  const Output& output_;
  const std::string program_;
  const StopCatcher catcher_;  // before there is something to take down
  const std::string place_;    // the folder's folder
  bool isUp_ = false;          // perhaps in part
  const LabClockPage* clock_ = nullptr;
};

#endif
