#include "client/program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "base/sleep.h"
#include "cli/failure.h"
#include "cli/text.h"

namespace {

constexpr std::array kStopSignals{SIGINT, SIGTERM, SIGHUP};
constexpr size_t kTextBytes = 512;

// Of the one StopCatcher: signal handlers reach nothing else.
volatile sig_atomic_t stops = 0;
volatile sig_atomic_t runningPid = 0;  // 0: none, or one that is spared
volatile sig_atomic_t isSparing = 0;
char textAtOnce[kTextBytes];
std::array<struct sigaction, kStopSignals.size()> before;

void onStop(int) {
  stops = stops + 1;
  if (runningPid > 0) {
    kill(-static_cast<pid_t>(runningPid), SIGTERM);
  }
  if (stops > 1) {
    const ssize_t ignored = write(STDERR_FILENO, textAtOnce, strnlen(textAtOnce, kTextBytes));
    (void)ignored;
    _exit(kExitInterrupted);
  }
}

// Holds the signals off for as long as it lives, so that none comes between a program's start and
// its being known.
class StopsHeld {
 public:
  StopsHeld() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : kStopSignals) {
      sigaddset(&held, signal);
    }
    sigprocmask(SIG_BLOCK, &held, &before_);
  }
  ~StopsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  StopsHeld(const StopsHeld&) = delete;
  StopsHeld& operator=(const StopsHeld&) = delete;
  const sigset_t& before() const { return before_; }

 private:
  sigset_t before_{};
};

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

// A file and no pipe: its end does not wait for what the program leaves running.
File outputFile() {
  File file(tmpfile());
  if (file == nullptr) {
    throw Failure(kExitNotAsWished, std::string("no temporary file: ") + strerror(errno));
  }
  fcntl(fileno(file.get()), F_SETFD, FD_CLOEXEC);
  return file;
}

std::string contentOf(const File& file) {
  std::string text;
  std::array<char, 65536> part{};
  rewind(file.get());
  while (const size_t count = fread(part.data(), 1, part.size(), file.get())) {
    text.append(part.data(), count);
  }
  return text;
}

std::vector<std::string> environmentWith(const Variables& variables) {
  std::vector<std::string> all;
  for (const auto& [name, value] : variables) {
    if (!value.empty()) {
      all.push_back(joined({name, value}, "="));
    }
  }
  for (char** each = environ; *each != nullptr; ++each) {
    const std::string name(*each, strcspn(*each, "="));
    bool isReplaced = false;
    for (const auto& variable : variables) {
      isReplaced = isReplaced || variable.first == name;
    }
    if (!isReplaced) {
      all.emplace_back(*each);
    }
  }
  return all;
}

// As exec takes them; they point into the texts.
std::vector<char*> pointersTo(std::vector<std::string>* texts) {
  std::vector<char*> pointers;
  for (std::string& text : *texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

// What a new process has instead of this one's: its group, signals and outputs.
class SpawnSettings {
 public:
  SpawnSettings(const sigset_t& mask, const File& out, const File& error) {
    posix_spawnattr_init(&attributes_);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigmask(&attributes_, &mask);
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions_, fileno(out.get()), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, fileno(error.get()), STDERR_FILENO);
  }
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  pid_t spawn(const std::string& path, std::vector<std::string> arguments,
              std::vector<std::string> environment) const {
    pid_t pid = -1;
    const int error = posix_spawn(&pid, path.c_str(), &actions_, &attributes_,
                                  pointersTo(&arguments).data(), pointersTo(&environment).data());
    if (error != 0) {
      throw Failure(kExitNotAsWished, escaped(path) + " could not be started: " + strerror(error));
    }
    return pid;
  }

 private:
  posix_spawnattr_t attributes_{};
  posix_spawn_file_actions_t actions_{};
};

int waitFor(pid_t pid, const std::function<void()>& passing) {
  constexpr int32_t kPollMs = 20;
  int status = 0;
  pid_t ended = 0;
  while (ended == 0 || (ended < 0 && errno == EINTR)) {
    ended = waitpid(pid, &status, passing ? WNOHANG : 0);
    if (ended == 0) {
      passing();
      sleepMilliseconds(kPollMs);
    }
  }
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

std::string programNamed(const std::string& name) {
  std::error_code error;
  const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
  const char* path = getenv("PATH");
  std::vector<std::string> folders = splitAt(path != nullptr ? path : "", ':');
  folders.insert(folders.begin(), self.parent_path().string());
  for (const std::string& folder : folders) {
    std::string candidate = joined({folder, name}, "/");
    if (!folder.empty() && access(candidate.c_str(), X_OK) == 0) {
      return candidate;
    }
  }
  return "";
}

ProgramEnd runProgram(const std::string& path, const std::vector<std::string>& arguments,
                      const Variables& variables, const std::function<void()>& passing) {
  const File out = outputFile();
  const File error = outputFile();
  std::vector<std::string> all{path};
  all.insert(all.end(), arguments.begin(), arguments.end());

  pid_t pid = -1;
  {
    const StopsHeld held;
    StopCatcher::throwIfStopped();
    pid = SpawnSettings(held.before(), out, error).spawn(path, all, environmentWith(variables));
    runningPid = isSparing != 0 ? 0 : pid;
  }
  const int status = waitFor(pid, passing);
  runningPid = 0;
  return {status, contentOf(out), contentOf(error)};
}

StopCatcher::StopCatcher() {
  stops = 0;
  isSparing = 0;
  textAtOnce[0] = '\0';
  struct sigaction action {};
  action.sa_handler = onStop;
  sigemptyset(&action.sa_mask);
  for (size_t i = 0; i < kStopSignals.size(); ++i) {
    sigaction(kStopSignals[i], &action, &before[i]);
    if (before[i].sa_handler == SIG_IGN) {  // as under nohup
      sigaction(kStopSignals[i], &before[i], nullptr);
    }
  }
}

StopCatcher::~StopCatcher() {
  for (size_t i = 0; i < kStopSignals.size(); ++i) {
    sigaction(kStopSignals[i], &before[i], nullptr);
  }
}

void StopCatcher::throwIfStopped() {
  if (stops > 0 && isSparing == 0) {
    throw Failure(kExitInterrupted, "interrupted; nothing is left behind.");
  }
}

void StopCatcher::tellWhatIsLeft(const std::string& text) {
  const StopsHeld held;
  snprintf(textAtOnce, sizeof textAtOnce, "\nquorin_poectl: %s\n", text.c_str());
}

void StopCatcher::spareProgram(bool isSpared) {
  isSparing = isSpared ? 1 : 0;
}
