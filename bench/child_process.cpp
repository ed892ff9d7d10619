#include "bench/child_process.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "bench/must.h"

ChildProcess::ChildProcess(const std::string& program, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(),
                   std::filesystem::read_symlink("/proc/self/exe").replace_filename(program));
  std::vector<char*> texts;
  texts.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) {
    texts.push_back(argument.data());
  }
  texts.push_back(nullptr);

  pid_ = fork();
  must(pid_ >= 0, "fork");
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    execv(texts[0], texts.data());
    _exit(1);
  }
}

ChildProcess::~ChildProcess() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

int64_t ChildProcess::residentKb() const {
  std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
  std::string word;
  while (status >> word && word != "VmRSS:") {
  }
  int64_t kb = 0;
  must(static_cast<bool>(status >> kb), "reading a process's memory");
  return kb;
}
