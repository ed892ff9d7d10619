// A lab: a simulated switch and a daemon in a folder of their own, under a clock of their own. The
// program switchsim runs it.
#ifndef QUORIN_CLIENT_LAB_H
#define QUORIN_CLIENT_LAB_H

#include <cstdint>
#include <string>
#include <vector>

#include "base/json.h"
#include "client/output.h"
#include "client/program.h"
#include "client/time_text.h"

// Goes without leaving a process or a file behind, also when it is stopped (client/program.h) or
// one of its functions throws Failure. Not for two at a time.
class Lab {
 public:
  // Makes a folder below TMPDIR or /tmp. zone: that of its switch. Throws Failure: kExitNoSuch when
  // switchsim is not there. output is borrowed.
  Lab(const Zone& zone, const Output& output);
  ~Lab();
  Lab(const Lab&) = delete;
  Lab& operator=(const Lab&) = delete;

  // Starts it with the ports of `ports --json`, at the instant; further arguments of `lab up`.
  void up(const std::string& ports, int64_t at, const std::vector<std::string>& more);
  // Runs it to the instant; the work of each minute on the way is done then.
  void runTo(int64_t at);
  // The switch's journal after the entry.
  JsonPtr journalSince(int64_t entry);
  std::string socketPath() const { return folder() + "/root/var/run/quorin_poed.sock"; }
  // A file in the lab's place that goes with it, for its arguments.
  std::string keep(const std::string& name, const std::string& content);

 private:
  std::string folder() const { return place_ + "/lab"; }
  std::string run(std::vector<std::string> arguments);
  std::string localTime(int64_t at) const;

  const Zone zone_;
  const Output& output_;
  const std::string program_;
  const std::string place_;  // the folder's folder
  const StopCatcher catcher_;
  bool isUp_ = false;  // perhaps in part
};

#endif
