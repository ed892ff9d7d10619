#include "tests/support/test_lab.h"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "base/unique_fd.h"
#include "tests/support/reckoned.h"

namespace {

constexpr int64_t kAnswerMs = 60000;
constexpr int kEndMs = 60000;

}  // namespace

TestLab::TestLab(const std::string& zone, time_t at, unsigned shuffle)
    : shuffle_(shuffle),
      folder_(fill("/tmp/lab.%.%", getpid(), shuffle)),
      daemon_(folder_ + "/root/var/run/quorin_poed.sock", kAnswerMs, {}) {
  setenv("TZ", zone.c_str(), 1);
  tzset();
  setenv("QUORIN_POED_LAB", folder_.c_str(), 1);
  setenv("SWITCHSIM_STATE", (folder_ + "/switch.state").c_str(), 1);
  startDaemon(at);
}

TestLab::~TestLab() {
  command("lab down --clean");
  unsetenv("QUORIN_POED_LAB");
  unsetenv("TZ");
  tzset();
}

std::string TestLab::run(const std::string& program, const std::string& arguments) const {
  std::string output;
  const int status = runCommand(programCommand(program) + " " + arguments + " 2>&1", &output);
  EXPECT_EQ(status, 0) << program << " " << arguments << "\n" << output;
  return output;
}

std::string TestLab::command(const std::string& arguments) const {
  return run("switchsim", arguments);
}

std::string TestLab::client(const std::string& arguments) const {
  return run("quorin_poectl", arguments);
}

void TestLab::goTo(time_t at) const {
  command(fill("lab at %", instantText(at)));
}

void TestLab::killDaemon() const {
  const auto pid = static_cast<pid_t>(
      jsonInt64Member(jsonParse(command("lab show --json").c_str()).get(), "daemonPid", 0));
  ASSERT_GT(pid, 1);
  const UniqueFd process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  kill(pid, SIGKILL);
  pollfd end{process.get(), POLLIN, 0};  // of its last thread, which has its files until then
  ASSERT_EQ(poll(&end, 1, kEndMs), 1);
}

void TestLab::startDaemon(time_t at) const {
  command(fill("lab up --speed 0 --shuffle % --at %", shuffle_, instantText(at)));
}

std::vector<switchsim::JournalEntry> TestLab::newActs() {
  std::vector<switchsim::JournalEntry> acts;
  for (const switchsim::JournalEntry& entry : switchsim::journalSince(lastSeen_)) {
    lastSeen_ = entry.seq;
    if (entry.op != "cliSet") {
      acts.push_back(entry);
    }
  }
  return acts;
}

std::string TestLab::history(const std::string& sql) const {
  return queryValue((folder_ + "/root/mnt/fastpath/quorin_poed/history.db").c_str(), sql);
}

std::string TestLab::log() const {
  return readFile(folder_ + "/root/tmp/sw900.log");
}

std::string instantText(time_t at) {
  return timeText(at, "%FT%TZ");
}
