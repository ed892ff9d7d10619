#include "switchsim/lab/lab.h"

#include <cjson/cJSON.h>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "base/draft_ending.h"
#include "base/json.h"
#include "base/unique_fd.h"
#include "cli/failure.h"
#include "cli/files.h"
#include "cli/text.h"
#include "cli/times.h"
#include "switchsim/lab/exec_program.h"
#include "switchsim/switch/switch_state.h"

namespace fs = std::filesystem;

namespace switchsim {
namespace {

constexpr int64_t kMsPerSec = 1000;
constexpr auto kPollPause = std::chrono::milliseconds(5);
constexpr auto kPatience = std::chrono::seconds(20);  // for the daemon's start, and for its end
constexpr const char* kMark = "switchsim lab";        // by which a folder is known as a lab
constexpr auto kHangs = std::chrono::seconds(10);     // without any progress of its clock
constexpr size_t kMaxSocketPath = sizeof(sockaddr_un::sun_path) - 1;

[[noreturn]] void failUsage(const std::string& text) {
  throw Failure(kExitUsage, text);
}

bool waitUntil(const std::function<bool()>& isSo) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!isSo()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(kPollPause);
  }
  return true;
}

// Not so while one that was killed goes on listening for a moment.
bool isServedBy(pid_t pid, const std::string& socketPath) {
  const UniqueFd connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  snprintf(address.sun_path, sizeof address.sun_path, "%s", socketPath.c_str());
  ucred server{};
  socklen_t length = sizeof server;
  return connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
             0 &&
         getsockopt(connection.get(), SOL_SOCKET, SO_PEERCRED, &server, &length) == 0 &&
         server.pid == pid;
}

// With its last thread, which has its files until then.
bool isGone(const UniqueFd& process) {
  pollfd end{process.get(), POLLIN, 0};
  return !process || poll(&end, 1, 0) == 1;
}

UniqueFd handleOf(pid_t pid) {
  return UniqueFd(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
}

// Whether it was killed, and only other threads of it may still work.
bool isEnding(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string stat;
  std::getline(file, stat);
  return stat.find(") Z ") != std::string::npos;
}

// Beside this program in a build folder, else where it is installed.
std::string daemonProgram() {
  std::error_code error;
  const fs::path here = fs::read_symlink("/proc/self/exe", error).parent_path();
  for (const fs::path& path :
       {here / "quorin_poed_lab", here / LAB_DAEMON_FOLDER / "quorin_poed_lab"}) {
    if (access(path.c_str(), X_OK) == 0) {
      return fs::canonical(path);
    }
  }
  fail("the lab's daemon, quorin_poed_lab, is not beside " + here.string() +
       ": build it, or install the simulator's package again");
}

// One of the lab's own, or its draft.
bool isLabFile(const std::string& name) {
  const size_t end = strlen(kDraftEnding);
  const size_t mark = strcspn(kDraftEnding, "X");
  const bool isDraft =
      name.size() > end && name.compare(name.size() - end, mark, kDraftEnding, mark) == 0;
  const std::string whole = isDraft ? name.substr(0, name.size() - end) : name;
  return whole == "clock" || whole == "switch.state" || whole == "daemon.out" ||
         whole == "lab.json";
}

// Also of a folder that is empty, or whose lab was killed before it was one.
bool hasOnlyLabFiles(const std::string& folder) {
  std::error_code error;
  const fs::directory_iterator entries(folder, error);
  return !error && std::all_of(begin(entries), end(entries), [](const fs::directory_entry& each) {
    return isLabFile(each.path().filename());
  });
}

void makeDirectory(const std::string& path) {
  std::error_code error;
  fs::create_directories(path, error);
  if (error) {
    fail("cannot make " + path + ": " + error.message());
  }
}

// While it lives, all threads of a process share one processor: one of them runs at a time, and
// giving a turn to another processor takes four times as long.
class OneProcessor {
 public:
  explicit OneProcessor(pid_t pid) : pid_(pid) {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    if (sched_getaffinity(0, sizeof all_, &all_) == 0) {
      give(one);
    }
  }
  ~OneProcessor() { give(all_); }
  OneProcessor(const OneProcessor&) = delete;
  OneProcessor& operator=(const OneProcessor&) = delete;

 private:
  // Only speed depends on it.
  void give(const cpu_set_t& processors) const {
    std::error_code error;
    for (const fs::directory_entry& task :
         fs::directory_iterator("/proc/" + std::to_string(pid_) + "/task", error)) {
      (void)sched_setaffinity(std::atoi(task.path().filename().c_str()), sizeof processors,
                              &processors);
    }
  }

  const pid_t pid_;
  cpu_set_t all_{};  // those that this program may use
};

}  // namespace

struct Lab::Record {
  pid_t pid = 0;
  bool wasUp = false;  // the clock has the time at which it was left
  std::string zone;
};

std::string defaultLabFolder() {
  std::string current = labFolder();
  if (!current.empty()) {
    return current;
  }
  const char* state = getenv("XDG_STATE_HOME");
  const char* home = getenv("HOME");
  if (state != nullptr && *state == '/') {
    return std::string(state) + "/switchsim-lab";
  }
  if (home == nullptr || *home != '/') {
    failUsage("HOME is not set: name a folder with --dir");
  }
  return std::string(home) + "/.local/state/switchsim-lab";
}

// Without links: what is taken down must be what was made.
Lab::Lab(const std::string& folder) {
  std::error_code error;
  folder_ = fs::weakly_canonical(fs::absolute(folder, error), error);
  if (error) {
    failUsage("cannot use " + folder + ": " + error.message());
  }
  if (folder_.size() > 1 && folder_.back() == '/') {
    folder_.pop_back();
  }
  setenv("QUORIN_POED_LAB", folder_.c_str(), 1);
  setenv("SWITCHSIM_STATE", (folder_ + "/switch.state").c_str(), 1);
}

std::optional<Lab::Record> Lab::readRecord() const {
  const std::string path = folder_ + "/lab.json";
  if (access(path.c_str(), R_OK) != 0) {
    if (errno == EACCES) {
      failFile(path, "read", EACCES);
    }
    return std::nullopt;
  }
  const JsonPtr json = jsonParse(readWholeFile(path).c_str());
  const char* mark = jsonTextMember(json.get(), "what");
  if (mark == nullptr || strcmp(mark, kMark) != 0) {
    return std::nullopt;
  }
  const char* zone = jsonTextMember(json.get(), "zone");
  return Record{jsonInt32Member(json.get(), "pid", 0),
                cJSON_IsTrue(jsonMember(json.get(), "wasUp")) != 0, zone != nullptr ? zone : ""};
}

void Lab::writeRecord(const Record& record) const {
  JsonObject json;
  json.text("what", kMark)
      .number("pid", record.pid)
      .boolean("wasUp", record.wasUp)
      .text("zone", record.zone.c_str());
  const JsonTextPtr text = jsonPrintAndFree(json.take());
  writeWholeFile(folder_ + "/lab.json", std::string(text.get()) + "\n");
}

// The process works in the lab's root: its number alone could be another's by now.
pid_t Lab::daemonPid() const {
  const std::optional<Record> record = readRecord();
  if (!record || record->pid == 0) {
    return 0;
  }
  std::error_code error;
  const fs::path works = fs::read_symlink("/proc/" + std::to_string(record->pid) + "/cwd", error);
  return works == fs::weakly_canonical(folder_ + "/root", error) ? record->pid : 0;
}

bool Lab::isRunning() const {
  return daemonPid() != 0;
}

void Lab::requireRunning() const {
  if (isRunning()) {
    return;
  }
  const std::optional<Record> record = readRecord();
  if (!record) {
    fail("no lab is in " + folder_ + ": `switchsim lab up` makes one");
  }
  fail(record->pid != 0
           ? "the lab's daemon has ended by itself; its log is " + folder_ +
                 "/root/tmp/sw900.log. `switchsim lab up` starts it again"
           : "the lab in " + folder_ + " was taken down: `switchsim lab up` goes on with it");
}

bool Lab::isClaimed() {
  if (!claim_) {
    claim_.reset(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
  if (!claim_) {
    failFile(folder_, "opened", errno);
  }
  return flock(claim_.get(), LOCK_EX | LOCK_NB) == 0;
}

void Lab::failClaimed() const {
  fail("another `switchsim lab` is at work in " + folder_ + ": wait for its end");
}

// A command that was killed on its way has left the lab with its goal.
void Lab::claim() {
  if (!isClaimed()) {
    failClaimed();
  }
  if (isRunning() && goal().speed != goal().speedAfter) {
    go(clock().daemonMs(), goal().speedAfter, goal().speedAfter);
  }
}

std::string Lab::zone() const {
  const std::optional<Record> record = readRecord();
  return record ? record->zone : "";
}

LabClockPage& Lab::clock() const {
  if (clock_ == nullptr) {
    clock_ = mapLabClock(folder_);
  }
  if (clock_ == nullptr) {
    fail(folder_ +
         "/clock is no clock of a lab of this version: `switchsim lab down --clean` first");
  }
  return *clock_;
}

LabGoal Lab::goal() const {
  uint32_t number = 0;
  return clock().goal(&number);
}

int64_t Lab::nowMs() const {
  return isRunning() ? clock().wallMs() : clock().daemonMs() + goal().wallAheadMs;
}

int32_t Lab::speed() const {
  return goal().speedAfter;
}

void Lab::go(int64_t runningMs, int32_t speed, int32_t speedAfter) {
  clock().setGoal({runningMs, hostMonotonicMs(), speed, speedAfter, goal().wallAheadMs});
}

void Lab::awaitReached(const std::function<void()>& check) {
  int64_t seenMs = clock().daemonMs();
  auto seenAt = std::chrono::steady_clock::now();
  while (!clock().isReached()) {
    check();
    requireRunning();
    std::this_thread::sleep_for(kPollPause);
    const auto now = std::chrono::steady_clock::now();
    if (clock().daemonMs() != seenMs) {
      seenMs = clock().daemonMs();
      seenAt = now;
    } else if (now - seenAt > kHangs) {
      fail("the lab's daemon hangs " + std::to_string(seenMs % kMsPerSec) + " ms into " +
           momentText((seenMs + goal().wallAheadMs) / kMsPerSec, Zone(zone())) + "; its log is " +
           folder_ + "/root/tmp/sw900.log");
    }
  }
}

void Lab::travelTo(int64_t toMs, const std::function<void()>& check) {
  const int32_t speedBefore = speed();
  const int64_t runningMs = toMs - goal().wallAheadMs;
  const OneProcessor shared(daemonPid());
  go(runningMs, 0, speedBefore);
  try {
    awaitReached(check);
  } catch (...) {
    go(clock().daemonMs(), speedBefore, speedBefore);
    throw;
  }
  go(runningMs, speedBefore, speedBefore);
}

// By whole seconds: the daemon's beat keeps its place in them.
void Lab::jumpTo(int64_t toMs) {
  LabGoal now = goal();
  const int64_t leapMs = toMs - clock().wallMs();
  now.wallAheadMs += (leapMs + (leapMs < 0 ? 0 : kMsPerSec - 1)) / kMsPerSec * kMsPerSec;
  clock().setGoal(
      {clock().runningMs(), hostMonotonicMs(), now.speed, now.speedAfter, now.wallAheadMs});
}

void Lab::setSpeed(int32_t wanted) {
  go(clock().runningMs(), wanted, wanted);
}

void Lab::makeFolder() const {
  if (socketPath().size() > kMaxSocketPath) {
    failUsage(
        "the path of the lab is too long for a socket below it: name a shorter one with --dir");
  }
  makeDirectory(folder_);
  if (!readRecord() && !hasOnlyLabFiles(folder_)) {
    failUsage(folder_ + " is not empty, and no lab: name another folder with --dir");
  }
  if (chmod(folder_.c_str(), S_IRWXU) != 0) {
    fail(folder_ + " cannot be made this user's alone: " + strerror(errno));
  }
}

void Lab::makeSwitch(const LabPlan& plan) const {
  const std::string state = folder_ + "/switch.state";
  if (access(state.c_str(), F_OK) == 0 && !plan.isNewSwitch) {
    return;
  }
  unlink(state.c_str());
  plan.makeSwitch();
}

// In a whole second, so that the daemon's beat, which is one of whole seconds, is one of minutes,
// too.
int64_t Lab::beginMs(const LabPlan& plan) const {
  const std::optional<Record> former = readRecord();
  if (!former || !former->wasUp) {
    return plan.at ? *plan.at * kMsPerSec : hostRealMs() / kMsPerSec * kMsPerSec;
  }
  const int64_t leftAtMs = clock().daemonMs() + goal().wallAheadMs;
  if (plan.at && *plan.at * kMsPerSec < leftAtMs) {
    failUsage(
        "the lab was left at a later time: go on from there and set its clock back with `switchsim "
        "lab jump`, or begin anew after `switchsim lab down --clean`");
  }
  return plan.at ? *plan.at * kMsPerSec : leftAtMs;
}

void Lab::up(const LabPlan& plan) {
  const std::string program = daemonProgram();
  makeFolder();
  claim();
  if (isRunning()) {
    fail("a lab runs in " + folder_ +
         " already: `switchsim lab down` ends it, --dir names another folder");
  }
  if (const auto former = readRecord(); former && isEnding(former->pid)) {
    const UniqueFd process = handleOf(former->pid);
    waitUntil([&process] { return isGone(process); });
  }
  const int64_t atMs = beginMs(plan);
  if (!readRecord()) {
    writeRecord({});  // before all else: from now on the folder is a lab, and can be cleaned away
  }
  for (const char* below : {"/root/tmp", "/root/var/run", "/root/mnt/fastpath", "/root/etc"}) {
    makeDirectory(folder_ + below);
  }
  if (!readRecord()->wasUp) {
    clock_ = mapLabClock(folder_, true);
  }
  // It stands until the daemon has begun: a schedule that is made from now on acts in the minutes
  // to come.
  const int64_t runningMs = atMs - goal().wallAheadMs;
  go(runningMs, 0, plan.speed);
  clock().setNow(runningMs);
  makeSwitch(plan);
  if (!viewSwitch().serverUp) {
    fail("the switch OS's server is down: `switchsim server up` first");
  }
  awaitDaemon(startDaemon(program, plan));
  go(runningMs, 0, plan.speed);
  awaitReached([] {});
  go(runningMs, plan.speed, plan.speed);
}

pid_t Lab::startDaemon(const std::string& program, const LabPlan& plan) const {
  const pid_t pid = fork();
  if (pid < 0) {
    fail(std::string("cannot start the daemon: ") + strerror(errno));
  }
  if (pid == 0) {
    execDaemon(program, plan);
  }
  return pid;
}

void Lab::execDaemon(const std::string& program, const LabPlan& plan) const try {
  setsid();
  const UniqueFd nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const UniqueFd out(open((folder_ + "/daemon.out").c_str(),
                          O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!nothing || !out) {
    _exit(EXIT_FAILURE);  // with this program's outputs it would keep open whoever reads them
  }
  dup2(nothing.get(), STDIN_FILENO);
  dup2(out.get(), STDOUT_FILENO);
  dup2(out.get(), STDERR_FILENO);

  const char* zone = getenv("TZ");
  unsetenv("QUORIN_POED_LAB");
  writeRecord({getpid(), true, zone != nullptr ? zone : ""});
  if (chdir((folder_ + "/root").c_str()) == 0) {
    std::vector<std::string> settings{"QUORIN_LAB_CLOCK=" + folder_};
    if (!plan.shuffleSeed.empty()) {
      settings.push_back("QUORIN_LAB_SHUFFLE=" + plan.shuffleSeed);
    }
    execProgram(program, settings);
  }
  _exit(EXIT_FAILURE);
} catch (const std::exception&) {
  _exit(EXIT_FAILURE);
}

void Lab::awaitDaemon(pid_t child) const {
  waitUntil(
      [&] { return isServedBy(child, socketPath()) || waitpid(child, nullptr, WNOHANG) == child; });
  if (!isServedBy(child, socketPath())) {
    fail("the lab's daemon did not come up; its log is " + folder_ +
         "/root/tmp/sw900.log, what it printed " + folder_ + "/daemon.out");
  }
}

// A clean end is for those who go on.
void Lab::endDaemon(pid_t pid, bool atOnce) const {
  const UniqueFd process = handleOf(pid);
  const auto hasEnded = [&] { return !isRunning() && isGone(process); };
  kill(pid, atOnce ? SIGKILL : SIGTERM);
  if (!waitUntil(hasEnded)) {
    kill(pid, SIGKILL);
    waitUntil(hasEnded);
  }
}

bool Lab::down(bool clean) {
  const std::optional<Record> record = readRecord();
  if (!record) {
    const bool isThere = access(folder_.c_str(), F_OK) == 0;
    if (clean && isThere && !hasOnlyLabFiles(folder_)) {
      failUsage(folder_ + " is no lab: it is left alone");
    }
    if (clean && isThere) {
      removeFiles();
    }
    return false;
  }
  // Whoever moves the clock gives up when the daemon has gone.
  bool ran = false;
  if (!waitUntil([&] {
        if (const pid_t pid = daemonPid(); pid != 0) {
          ran = true;
          endDaemon(pid, clean);
        }
        return isClaimed() && !isRunning();
      })) {
    failClaimed();
  }
  writeRecord({0, record->wasUp, record->zone});
  if (clean) {
    removeFiles();
  }
  return ran;
}

// What is none of the lab's stays, and the folder with it.
void Lab::removeFiles() const {
  std::error_code error;
  fs::remove_all(folder_ + "/root", error);
  if (error) {
    fail(folder_ + "/root cannot be removed, and the lab stays: " + error.message());
  }
  for (const fs::directory_entry& entry : fs::directory_iterator(folder_, error)) {
    if (isLabFile(entry.path().filename())) {
      unlink(entry.path().c_str());
    }
  }
  if (!fs::remove(folder_, error)) {
    fail(folder_ + " has files that are not the lab's, and stays: " + error.message());
  }
}

}  // namespace switchsim
