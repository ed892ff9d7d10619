// A program of this build as a child, killed when its owner or this process goes.
#ifndef QUORIN_BENCH_CHILD_PROCESS_H
#define QUORIN_BENCH_CHILD_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

class ChildProcess {
 public:
  // program: its name in the folder of this one.
  explicit ChildProcess(const std::string& program, std::vector<std::string> arguments = {});
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t pid() const { return pid_; }
  // What it holds of the memory, in kB.
  int64_t residentKb() const;

 private:
  pid_t pid_;
};

#endif
