#include "switchsim/lab/lab.h"

#include <cjson/cJSON.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
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
#include <thread>

#include "base/draft_ending.h"
#include "base/json.h"
#include "base/unique_fd.h"
#include "cli/failure.h"
#include "cli/files.h"
#include "cli/text.h"
#include "switchsim/lab/exec_program.h"
#include "switchsim/switch/switch_state.h"

namespace fs = std::filesystem;

namespace switchsim {
namespace {

constexpr int64_t kMsPerSec = 1000;
constexpr int64_t kUsPerMs = 1000;
constexpr auto kPollPause = std::chrono::milliseconds(5);
constexpr auto kPatience = std::chrono::seconds(20);  // for the daemon's start, and for its end
constexpr const char* kMark = "switchsim lab";        // by which a folder is known as a lab
constexpr int32_t kMaxRise = 40;                      // of the speed at once: seconds of a minute
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

bool isAnswered(const std::string& socketPath) {
  const UniqueFd connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  snprintf(address.sun_path, sizeof address.sun_path, "%s", socketPath.c_str());
  return connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
         0;
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

std::string clockLibrary() {
  if (access(LIBFAKETIME_PATH, R_OK) != 0) {
    fail("a lab's clock needs " LIBFAKETIME_PATH ": apt-get install faketime");
  }
  return LAB_PRELOAD;
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

void makeDirectory(const std::string& path) {
  std::error_code error;
  fs::create_directories(path, error);
  if (error) {
    fail("cannot make " + path + ": " + error.message());
  }
}

}  // namespace

struct Lab::Record {
  pid_t pid = 0;
  int64_t startUs = 0;   // real time, since 1970 UTC
  int64_t leftAtMs = 0;  // the lab's time when it was taken down; 0: it was not, or never up
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
  if (access(path.c_str(), F_OK) != 0) {
    return std::nullopt;
  }
  const JsonPtr json = jsonParse(readWholeFile(path).c_str());
  const char* mark = jsonTextMember(json.get(), "what");
  if (mark == nullptr || strcmp(mark, kMark) != 0) {
    return std::nullopt;
  }
  const char* zone = jsonTextMember(json.get(), "zone");
  return Record{jsonInt32Member(json.get(), "pid", 0), jsonInt64Member(json.get(), "startUs", 0),
                jsonInt64Member(json.get(), "leftAtMs", 0), zone != nullptr ? zone : ""};
}

void Lab::writeRecord(const Record& record) const {
  JsonObject json;
  json.text("what", kMark)
      .number("pid", record.pid)
      .number("startUs", record.startUs)
      .number("leftAtMs", record.leftAtMs)
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
  return flock(claim_.get(), LOCK_EX | LOCK_NB) == 0;
}

void Lab::failClaimed() const {
  fail("another `switchsim lab` is at work in " + folder_ + ": wait for its end");
}

void Lab::claim() {
  if (!isClaimed()) {
    failClaimed();
  }
}

std::string Lab::zone() const {
  const std::optional<Record> record = readRecord();
  return record ? record->zone : "";
}

int64_t Lab::nowMs() const {
  return systemMs();
}

int32_t Lab::speed() const {
  return systemSpeed();
}

void Lab::writeClock(int64_t labMs, int32_t speed, int64_t daemonStartUs) const {
  const LabClock clock{labMs, hostMonotonicMs(), speed};
  writeWholeFile(folder_ + "/clock", labClockText(clock, daemonStartUs));
}

void Lab::setClock(int64_t toMs, int32_t speed) {
  const std::optional<Record> record = readRecord();
  writeClock(toMs, speed, record ? record->startUs : 0);
}

// A pause of a second that began at the speed of before takes as long as it would have.
void Lab::setSpeed(int32_t wanted) {
  int32_t before = speed();
  while (before < wanted) {
    const int32_t next = std::min(wanted, before * kMaxRise);
    setClock(nowMs(), next);
    std::this_thread::sleep_for(std::chrono::milliseconds(kMsPerSec * 5 / 4 / before));
    before = next;
  }
  setClock(nowMs(), wanted);
}

void Lab::makeFolder() const {
  if (socketPath().size() > kMaxSocketPath) {
    failUsage(
        "the path of the lab is too long for a socket below it: name a shorter one with --dir");
  }
  makeDirectory(folder_);
  std::error_code error;
  const bool isEmpty = fs::is_empty(folder_, error);
  if (error || (!isEmpty && !readRecord())) {
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

// After a daemon that ended by itself the clock has run on.
int64_t Lab::beginMs(const LabPlan& plan) const {
  const std::optional<Record> former = readRecord();
  const bool isNew = !former || (former->pid == 0 && former->leftAtMs == 0);
  if (isNew) {
    return plan.at ? *plan.at * kMsPerSec : hostRealUs() / kUsPerMs;
  }
  const int64_t leftAtMs = former->leftAtMs != 0 ? former->leftAtMs : nowMs();
  if (plan.at && *plan.at * kMsPerSec < leftAtMs) {
    failUsage(
        "the lab was left at a later time, and its clock only goes forward: `switchsim lab down "
        "--clean` first, to begin anew");
  }
  return plan.at ? *plan.at * kMsPerSec : leftAtMs;
}

void Lab::up(const LabPlan& plan) {
  const std::string program = daemonProgram();
  clockLibrary();
  makeFolder();
  claim();
  if (isRunning()) {
    fail("a lab runs in " + folder_ +
         " already: `switchsim lab down` ends it, --dir names another folder");
  }
  const int64_t atMs = beginMs(plan);
  if (!readRecord()) {
    writeRecord({});  // before all else: from now on the folder is a lab, and can be cleaned away
  }
  for (const char* below : {"/root/tmp", "/root/var/run", "/root/mnt/fastpath", "/root/etc"}) {
    makeDirectory(folder_ + below);
  }
  writeClock(atMs, plan.speed, hostRealUs());  // by which the switch is made
  makeSwitch(plan);
  const int64_t lastReadMs = clockReads().lastMs;
  awaitDaemon(startDaemon(program, atMs, plan.speed));
  // A schedule that is made from now on acts in the minutes to come.
  waitUntil([lastReadMs] { return clockReads().lastMs != lastReadMs; });
}

pid_t Lab::startDaemon(const std::string& program, int64_t atMs, int32_t speed) const {
  const pid_t pid = fork();
  if (pid < 0) {
    fail(std::string("cannot start the daemon: ") + strerror(errno));
  }
  if (pid == 0) {
    execDaemon(program, atMs, speed);
  }
  return pid;
}

// The daemon's libfaketime reckons from the moment at which it is loaded, which is this one.
void Lab::execDaemon(const std::string& program, int64_t atMs, int32_t speed) const try {
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
  const int64_t startUs = hostRealUs();
  writeRecord({getpid(), startUs, 0, zone != nullptr ? zone : ""});
  writeClock(atMs, speed, startUs);
  if (chdir((folder_ + "/root").c_str()) == 0) {
    execProgram(program, {"SWITCHSIM_TIME=wall", "LD_PRELOAD=" + clockLibrary(),
                          "FAKETIME_TIMESTAMP_FILE=" + folder_ + "/clock", "FAKETIME_NO_CACHE=1",
                          "NO_FAKE_STAT=1"});
  }
  _exit(EXIT_FAILURE);
} catch (const std::exception&) {
  _exit(EXIT_FAILURE);
}

void Lab::awaitDaemon(pid_t child) const {
  waitUntil([&] { return isAnswered(socketPath()) || waitpid(child, nullptr, WNOHANG) == child; });
  if (!isAnswered(socketPath()) || daemonPid() != child) {
    fail("the lab's daemon did not come up; its log is " + folder_ +
         "/root/tmp/sw900.log, what it printed " + folder_ + "/daemon.out");
  }
}

// A clean end takes some seconds at the speed of 1. It is for those who go on.
void Lab::endDaemon(pid_t pid, bool atOnce) const {
  const auto hasEnded = [this] { return !isRunning(); };
  kill(pid, atOnce ? SIGKILL : SIGTERM);
  if (!waitUntil(hasEnded)) {
    kill(pid, SIGKILL);
    waitUntil(hasEnded);
  }
  removeRemainsOfFaketime(pid);
}

bool Lab::down(bool clean) {
  const std::optional<Record> record = readRecord();
  if (!record) {
    if (clean && access(folder_.c_str(), F_OK) == 0) {
      failUsage(folder_ + " is no lab: it is left alone");
    }
    return false;
  }
  // Whoever moves the clock gives up when the daemon has gone.
  bool ran = false;
  int64_t leftAtMs = record->leftAtMs;
  if (!waitUntil([&] {
        if (const pid_t pid = daemonPid(); pid != 0) {
          leftAtMs = nowMs();
          ran = true;
          endDaemon(pid, clean);
        }
        return isClaimed() && !isRunning();
      })) {
    failClaimed();
  }
  writeRecord({0, 0, leftAtMs, record->zone});
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
