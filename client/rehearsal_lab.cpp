#include "client/rehearsal_lab.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "cli/failure.h"
#include "cli/files.h"
#include "cli/lab_clock.h"
#include "cli/text.h"

namespace {

constexpr int64_t kMsPerSec = 1000;
// A socket's path has room for 107 bytes, and the lab's own part of it takes 60.
constexpr size_t kMaxTempBytes = 40;

std::string foundSwitchsim() {
  std::string path = programNamed("switchsim");
  if (path.empty()) {
    throw Failure(kExitNoSuch,
                  "there is no switchsim, which a rehearsal runs on. It is in the package "
                  "quorin-switchsim, but not on a switch: there, quorin_poectl export FILE, and "
                  "rehearse FILE on another machine that has the package.");
  }
  return path;
}

std::string newFolder() {
  const char* given = getenv("TMPDIR");
  const bool isUsable = given != nullptr && given[0] == '/' && strlen(given) <= kMaxTempBytes;
  std::string path = std::string(isUsable ? given : "/tmp") + "/rehearsal-XXXXXX";
  if (mkdtemp(path.data()) == nullptr) {
    failFile(path, "made", errno);
  }
  return path;
}

// switchsim's own words, without its name in front.
std::string reasonOf(const ProgramEnd& end) {
  const std::string said = end.error.substr(0, end.error.find_last_not_of('\n') + 1);
  return said.empty() ? "it ended with status " + std::to_string(end.status) : escaped(said);
}

}  // namespace

RehearsalLab::RehearsalLab(const Zone& zone, const Output& output)
    : zone_(zone), output_(output), program_(foundSwitchsim()), place_(newFolder()) {
  StopCatcher::tellWhatIsLeft(
      "interrupted twice. What is left goes with: switchsim lab down --clean --dir " + folder() +
      "; rm -r " + place_);
}

RehearsalLab::~RehearsalLab() {
  StopCatcher::spareProgram(true);
  try {
    if (isUp_) {
      run({"lab", "down", "--dir", folder(), "--clean"});
    }
  } catch (const std::exception& error) {
    output_.warn(error.what());
  }
  std::error_code error;
  std::filesystem::remove_all(place_, error);
  if (error) {
    output_.warn(place_ + " could not be removed: " + error.message());
  }
}

void RehearsalLab::up(const std::string& ports, int64_t at) {
  const std::string portFile = place_ + "/ports.json";
  writeWholeFile(portFile, ports);
  startDaemon({"--from", portFile, "--at", rfc3339(at, zone_)});
}

// A start that is cut short could leave a daemon that nobody knows of.
void RehearsalLab::startDaemon(const std::vector<std::string>& more) {
  std::vector<std::string> arguments{"lab", "up", "--dir", folder()};
  arguments.insert(arguments.end(), more.begin(), more.end());
  StopCatcher::throwIfStopped();
  StopCatcher::spareProgram(true);
  isUp_ = true;
  run(arguments);
  StopCatcher::spareProgram(false);
  StopCatcher::throwIfStopped();
}

void RehearsalLab::restart(int64_t at, int32_t speed) {
  run({"lab", "down", "--dir", folder()});
  startDaemon({"--at", rfc3339(at, zone_), "--speed", std::to_string(speed)});
}

void RehearsalLab::runTo(int64_t at, const std::function<void(int64_t now)>& passing) {
  run({"lab", "at", rfc3339(at, zone_), "--dir", folder()}, [this, &passing] {
    clock_ = clock_ != nullptr ? clock_ : mapLabClock(folder());
    if (clock_ != nullptr) {
      passing(clock_->wallMs() / kMsPerSec);
    }
  });
}

JsonPtr RehearsalLab::journalSince(int64_t entry) {
  const std::string text = run({"journal", "--json", "--since", std::to_string(entry)});
  JsonPtr journal = jsonParse(text.c_str());
  if (journal == nullptr) {
    throw Failure(kExitNoDaemon, "the lab's switch has no journal that can be read.");
  }
  return journal;
}

std::string RehearsalLab::run(const std::vector<std::string>& arguments,
                              const std::function<void()>& passing) {
  const ProgramEnd end = runProgram(program_, arguments, environment(), passing);
  StopCatcher::throwIfStopped();
  if (end.status != 0) {
    throw Failure(kExitNoDaemon, "the lab of the rehearsal failed at \"switchsim " +
                                     joined(arguments, " ") + "\": " + reasonOf(end));
  }
  return end.out;
}

// A clock that was moved for this program, as for a test, is not that of the lab.
Variables RehearsalLab::environment() const {
  return {{"LD_PRELOAD", ""},
          {"TZ", zone_.name()},
          {"QUORIN_POED_LAB", folder()},
          {"SWITCHSIM_STATE", folder() + "/switch.state"}};
}
