// Whole lives of a daemon in virtual time: schedules of all kinds made, changed, deleted in
// mid-window, manual resets, the daemon killed and started, its threads in random turns. What is
// done to which port in which second is compared with what must be, reckoned without any of the
// daemon's code. A failure prints the seed; `scripts/simulate DAYS SEED` repeats it.
#include <csignal>
#include <filesystem>
#include <map>

#include "api/requests.h"
#include "tests/support/daemon_process.h"
#include "tests/support/reckoned.h"

namespace {

constexpr time_t kFirstDay = 1961452800;  // 2032-02-27, before a leap day
constexpr uint32_t kPortOfResets = 24;
constexpr int32_t kOffTimeSec = 20;  // of restarts, which so end within their minute

struct Life {
  int64_t id = 0;
  Reckoned schedule;
  time_t actedOn =
      0;  // an all-day schedule: the day on which it last did, in this life of the daemon
};

class Simulation {
 public:
  explicit Simulation(unsigned seed)
      : seed_(seed),
        random_(seed),
        folder_(fill("/tmp/simulation.%.%", getpid(), seed)),
        daemon_(folder_ + "/root/var/run/quorin_poed.sock", 60000, {}) {
    setenv("TZ", "UTC", 1);
    tzset();
    setenv("QUORIN_POED_LAB", folder_.c_str(), 1);
    setenv("SWITCHSIM_STATE", (folder_ + "/switch.state").c_str(), 1);
    lab(fill("up --speed 0 --shuffle % --at '%'", seed, momentText(now_)));
  }
  ~Simulation() {
    lab("down --clean");
    unsetenv("QUORIN_POED_LAB");
  }
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;

  void live(int days) {
    days_ = days;
    while (now_ < kFirstDay + days * kDaySec && !testing::Test::HasFatalFailure()) {
      passMinutes(pick(&random_, 1, 300));
      happen();
    }
  }

 private:
  static std::string momentText(time_t at) { return timeText(at, "%F %T"); }

  void lab(const std::string& arguments) {
    std::string output;
    const int status =
        runCommand(programCommand("switchsim") + " lab " + arguments + " 2>&1", &output);
    ASSERT_EQ(status, 0) << arguments << "\n" << output;
  }

  // Always to half a minute: nothing is under way then but a manual reset.
  void passMinutes(int minutes) {
    std::multiset<std::string> expected;
    const time_t until = now_ + minutes * 60;
    for (time_t minute = now_ / 60 * 60 + 60; minute <= until; minute += 60) {
      for (Life& each : lives_) {
        expect(&each, minute, minute, &expected);
      }
    }
    for (auto reset = resets_.begin(); reset != resets_.end() && *reset <= until;
         reset = resets_.erase(reset)) {
      expected.insert(actText(*reset, kPortOfResets, '+'));
    }
    now_ = until;
    lab(fill("at '%'", momentText(now_)));
    compare(expected);
  }

  static std::string actText(time_t at, uint32_t port, char act) {
    return timeText(at, "%F %T ") + fill("%%", port, act);
  }

  // What the schedule does in the minute, begun at an instant.
  static void expect(Life* life, time_t minute, time_t at, std::multiset<std::string>* expected) {
    Reckoned& schedule = life->schedule;
    std::string acts;
    if (schedule.allDay) {
      const time_t day = minute - minute % kDaySec;
      if (!appliesOn(schedule, minute) || life->actedOn == day) {
        return;
      }
      life->actedOn = day;
      acts = schedule.type == "power_on" ? "+" : "-";
    } else {
      const std::string both = passMinute(&schedule, minute);
      acts =
          both.substr(0, both.size() / 2);  // of the first port, each behind a blank and its number
      acts.erase(std::remove_if(acts.begin(), acts.end(),
                                [](char each) { return each != '+' && each != '-'; }),
                 acts.end());
    }
    for (const uint32_t port : {schedule.port, schedule.port + 1}) {
      for (size_t i = 0; i < acts.size(); ++i) {
        const bool isBack = schedule.type == "restart" && i == 1;
        expected->insert(actText(at + (isBack ? kOffTimeSec : 0), port, acts[i]));
      }
    }
  }

  void compare(const std::multiset<std::string>& expected) {
    std::multiset<std::string> done;
    for (const switchsim::JournalEntry& entry : switchsim::journalSince(lastSeen_)) {
      lastSeen_ = entry.seq;
      if (entry.op != "cliSet") {
        done.insert(actText(static_cast<time_t>(entry.timeMs / 1000), entry.ifNum,
                            entry.value != 0 ? '+' : '-'));
      }
    }
    ASSERT_EQ(testing::PrintToString(done), testing::PrintToString(expected))
        << "scripts/simulate " << days_ << " " << seed_;
  }

  void happen() {
    const int choice = pick(&random_, 0, 9);
    if (choice <= 3) {
      create();
    } else if (choice == 4 && !lives_.empty()) {
      deleteSchedule(daemon_, asStored(lives_.back()));
      freePorts_.insert(lives_.back().schedule.port);
      lives_.pop_back();
    } else if (choice <= 7 && !lives_.empty()) {
      change(&lives_[static_cast<size_t>(pick(&random_, 0, static_cast<int>(lives_.size()) - 1))]);
    } else if (choice == 8 && resets_.empty()) {
      reset();
    } else if (choice == 9) {
      killAndStart();
    }
  }

  static Schedule asStored(const Life& life) {
    const std::string members =
        fill(R"("offTimeSec":%,"name":"s%",)", kOffTimeSec, life.schedule.port) +
        membersOf(life.schedule);
    Schedule schedule = readSchedule(jsonParse(scheduleJson(members).c_str()).get(), 1);
    schedule.scheduleId = life.id;
    return schedule;
  }

  void create() {
    if (freePorts_.empty()) {
      return;
    }
    Life life;
    life.schedule = randomSchedule(*freePorts_.begin(), kFirstDay, days_, &random_);
    freePorts_.erase(freePorts_.begin());
    life.id = createSchedule(daemon_, asStored(life)).scheduleId;
    lives_.push_back(life);
  }

  // An all-day schedule keeps its day.
  void change(Life* life) {
    if (life->schedule.allDay) {
      return;
    }
    if (pick(&random_, 0, 1) == 0) {
      life->schedule.enabled = !life->schedule.enabled;
    } else {
      life->schedule.start = pick(&random_, 0, kMinutesPerDay - 1);
      life->schedule.end = (life->schedule.start + pick(&random_, 1, 1439)) % kMinutesPerDay;
    }
    updateSchedule(daemon_, asStored(*life));
  }

  void reset() {
    const int offTimeSec = pick(&random_, 1, 7200);
    daemon_.ask("manual.reset",
                jsonParse(fill(R"({"unit":1,"request":{"ifNums":[%],"offTimeSec":%}})",
                               kPortOfResets, offTimeSec)
                              .c_str()));
    lab(fill("at '%'", momentText(now_)));
    compare({actText(now_, kPortOfResets, '-')});
    resets_.insert(now_ + offTimeSec);
  }

  // A new daemon knows nothing of what the old one did in this minute, or of this day. What a reset
  // holds off stays off.
  void killAndStart() {
    std::string pid;
    runCommand(programCommand("switchsim") + " lab show --json", &pid);
    kill(std::stoi(pid.substr(pid.find("daemonPid\":") + 11)), SIGKILL);
    lab("up --speed 0");
    runCommand(programCommand("switchsim") + fill(" set % on", kPortOfResets), &pid);
    resets_.clear();
    std::multiset<std::string> expected;
    for (Life& each : lives_) {
      each.actedOn = 0;
      expect(&each, now_ / 60 * 60, now_, &expected);
    }
    passSeconds(&expected);
  }

  // Until what began at this moment is done.
  void passSeconds(std::multiset<std::string>* expected) {
    now_ += 60;
    for (Life& each : lives_) {
      expect(&each, now_ / 60 * 60, now_ / 60 * 60, expected);
    }
    lab(fill("at '%'", momentText(now_)));
    compare(*expected);
  }

  const unsigned seed_;
  std::mt19937 random_;
  const std::string folder_;
  SocketDaemon daemon_;
  time_t now_ = kFirstDay - 30;
  int days_ = 0;
  std::vector<Life> lives_;
  std::set<uint32_t> freePorts_{1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21};
  std::multiset<time_t> resets_;  // when those under way end
  uint64_t lastSeen_ = 0;
};

}  // namespace

TEST(SimulationTest, everyPortIsSwitchedInTheSecondInWhichItMustBe) {
  const int days = environmentNumber("QUORIN_SIMULATION_DAYS", 20);
  const unsigned seed = environmentSeed("QUORIN_SIMULATION_SEED");
  Simulation(seed).live(days);
}
