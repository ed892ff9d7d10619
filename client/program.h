// Running other programs, and being stopped meanwhile.
#ifndef QUORIN_CLIENT_PROGRAM_H
#define QUORIN_CLIENT_PROGRAM_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

struct ProgramEnd {
  int status = 0;     // of its exit, or -N when signal N ended it
  std::string out;    // what it printed
  std::string error;  // on stderr
};

// Environment variables; an empty value is none.
using Variables = std::vector<std::pair<std::string, std::string>>;

// The program of this name beside this one, else on PATH; empty when there is none.
std::string programNamed(const std::string& name);

// Runs it to its end, without stdin and in a process group of its own, which a terminal's ^C does
// not reach; what it leaves running may keep its outputs. variables take the place of those of this
// process. passing, if given, is called again and again while it runs. Throws Failure when it can't
// be started.
ProgramEnd runProgram(const std::string& path, const std::vector<std::string>& arguments,
                      const Variables& variables, const std::function<void()>& passing = {});

// While it lives, the first SIGINT, SIGTERM or SIGHUP ends the program that runProgram waits for; a
// second one prints what is left to do and ends this process at once. One at a time.
class StopCatcher {
 public:
  StopCatcher();
  ~StopCatcher();
  StopCatcher(const StopCatcher&) = delete;
  StopCatcher& operator=(const StopCatcher&) = delete;

  // Throws Failure, kExitInterrupted, after the first. runProgram does so before it starts one.
  static void throwIfStopped();
  static void tellWhatIsLeft(const std::string& text);
  // For work that must be done whole: as long as it is set, a first stop does nothing yet.
  static void spareProgram(bool isSpared);
};

#endif
