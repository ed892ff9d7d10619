// Whole lives of a daemon in virtual time: schedules of all kinds made, changed, deleted in
// mid-window, manual resets, boot delays, a switch that refuses, a clock that somebody sets, the
// daemon killed and started, its threads in random turns. What is done to which port in which
// second, and what is recorded of it, is compared with what must be, reckoned without any of the
// daemon's code. A failure prints the seed; `scripts/simulate DAYS SEED` repeats it.
#include <poll.h>
#include <sys/syscall.h>

#include <csignal>
#include <map>
#include <numeric>

#include "api/requests.h"
#include "tests/support/daemon_process.h"
#include "tests/support/reckoned.h"

namespace {

constexpr time_t kFirstDay = 1961452800;  // 2032-02-27, before a leap day
constexpr uint32_t kPortOfResets = 24;
constexpr int32_t kOffTimeSec = 20;  // of restarts, which so end within their minute
constexpr time_t kLongestWindowSec = 90000;
constexpr time_t kComparedSec = 2 * kDaySec;  // of what is recorded: as far back as runs change
constexpr int kEndMs = 60000;
constexpr const char* kInterrupted = "Interrupted by unexpected reboot";

using Ports = std::set<uint32_t>;

struct Life {
  int64_t id = 0;
  Reckoned schedule;
};

// What must be recorded.
struct Reckoning {
  std::string trigger;
  int64_t scheduleId;  // 0: of none
  time_t started;
  time_t lifetime = 0;  // when it started, by the clock that nobody sets
  Ports ports = {};
  Ports refused = {};
  time_t completed = 0;  // 0: it is open
  std::string end = "running";

  void close(time_t at, const std::string& failure = "") {
    completed = at;
    end = !failure.empty()                ? "failed " + failure
          : refused.empty()               ? "success"
          : refused.size() < ports.size() ? "partial"
                                          : "failed";
  }
  std::string text() const {
    return fill("%|%|%|%|%", timeText(started, "%F %T"), completed, trigger, scheduleId, end);
  }
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
    command(fill("lab up --speed 0 --shuffle % --at '%'", seed, momentText(now_)));
  }
  ~Simulation() {
    command("lab down --clean");
    unsetenv("QUORIN_POED_LAB");
  }
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;

  void live(int days) {
    days_ = days;
    for (time_t lived = 0; lived < days * kDaySec && !testing::Test::HasFatalFailure();) {
      const int minutes = pick(&random_, 1, 300);
      lived += minutes * 60;
      passMinutes(minutes);
      happen();
    }
  }

 private:
  static std::string momentText(time_t at) { return timeText(at, "%F %T"); }

  std::string command(const std::string& arguments) {
    std::string output;
    const int status = runCommand(programCommand("switchsim ") + arguments + " 2>&1", &output);
    EXPECT_EQ(status, 0) << arguments << "\n" << output;
    return output;
  }

  // Always to half a minute: nothing is under way then but resets and boot delays.
  void passMinutes(int minutes) {
    for (int i = 0; i < minutes; ++i) {
      const time_t minute = now_ / 60 * 60 + 60;
      endWaits(minute - 1);
      tick(minute, minute);
      now_ = minute + 30;
      endWaits(now_);
    }
    compare();
  }

  void endWaits(time_t until) {
    for (auto wait = waits_.begin(); wait != waits_.end() && wait->first <= until;
         wait = waits_.erase(wait)) {
      Reckoning& run = runs_.at(wait->second);
      act(&run, wait->first, run.ports, '+');
      run.close(wait->first);
    }
  }

  // What the daemon does in the minute, come to it at an instant.
  void tick(time_t minute, time_t at) {
    for (Reckoning& run : runs_) {
      reap(&run, at);
    }
    for (const Life& life : lives_) {
      evaluate(life, minute, at);
    }
  }

  void reap(Reckoning* run, time_t at) {
    if (run->completed != 0 || run->trigger != "scheduled") {
      return;
    }
    const auto life = std::find_if(lives_.begin(), lives_.end(), [run](const Life& each) {
      return each.id == run->scheduleId && each.schedule.enabled;
    });
    if (life == lives_.end()) {
      run->close(at, "Schedule removed or modified mid-window");
    } else if (at + set_ - run->lifetime > kLongestWindowSec) {
      run->close(at, "Window end never fired");
    }
  }

  void evaluate(const Life& life, time_t minute, time_t at) {
    const Reckoned& schedule = life.schedule;
    const bool isOn = schedule.type == "power_on";
    if (schedule.allDay) {
      if (appliesOn(schedule, minute) && isFirst(life.id, timeText(minute, "%F"))) {
        act(&begin(life, at), at, portsOf(schedule), isOn ? '+' : '-');
        runs_.back().close(at);
      }
      return;
    }
    if (startsIn(schedule, minute) && isFirst(life.id, momentText(minute) + "S")) {
      if (Reckoning* stale = openRunOf(life.id)) {
        stale->close(at, "Superseded by a new occurrence");
      }
      Reckoning& run = begin(life, at);
      const Ports taken = act(&run, at, run.ports, isOn ? '+' : '-');
      if (!schedule.isWindow()) {
        act(&run, at + kOffTimeSec, taken, '+');
        run.close(at + kOffTimeSec);
      }
    }
    if (endsIn(schedule, minute) && isFirst(life.id, momentText(minute) + "E")) {
      Reckoning* run = openRunOf(life.id);
      act(run, at, portsOf(schedule), isOn ? '-' : '+');
      if (run != nullptr) {
        run->close(at);
      }
    }
  }

  // Whether this did not happen yet in this life of the daemon: not so where somebody set the clock
  // back.
  bool isFirst(int64_t scheduleId, const std::string& occurrence) {
    return fired_.insert(fill("% %", scheduleId, occurrence)).second;
  }

  Reckoning& begin(const Life& life, time_t at) {
    return begin("scheduled", life.id, at, portsOf(life.schedule));
  }
  Reckoning& begin(const char* trigger, int64_t scheduleId, time_t at, const Ports& ports) {
    runs_.push_back({trigger, scheduleId, at, at + set_, ports});
    return runs_.back();
  }
  Reckoning* openRunOf(int64_t scheduleId) {
    const auto run = std::find_if(runs_.begin(), runs_.end(), [scheduleId](const Reckoning& each) {
      return each.scheduleId == scheduleId && each.completed == 0;
    });
    return run == runs_.end() ? nullptr : &*run;
  }
  static Ports portsOf(const Reckoned& schedule) { return {schedule.port, schedule.port + 1}; }

  // Those at which the switch did it; the others are the run's, if it has one.
  Ports act(Reckoning* run, time_t at, const Ports& ports, char sign) {
    Ports taken;
    for (const uint32_t port : ports) {
      if (port != refusing_) {
        taken.insert(port);
        acts_.insert(actText(at, port, sign));
      } else if (run != nullptr) {
        run->refused.insert(port);
      }
    }
    return taken;
  }
  static std::string actText(time_t at, uint32_t port, char sign) {
    return timeText(at, "%F %T ") + fill("%%", port, sign);
  }

  // The lab comes to the same moment, and all that was done and recorded is compared.
  void compare() {
    command(fill("lab at '%'", momentText(now_)));
    std::multiset<std::string> done;
    for (const switchsim::JournalEntry& entry : switchsim::journalSince(lastSeen_)) {
      lastSeen_ = entry.seq;
      if (entry.op != "cliSet" && entry.result == 0) {
        done.insert(actText(static_cast<time_t>(entry.timeMs / 1000), entry.ifNum,
                            entry.value != 0 ? '+' : '-'));
      }
    }
    ASSERT_EQ(testing::PrintToString(done), testing::PrintToString(acts_)) << repeatText();
    acts_.clear();

    std::multiset<std::string> expected;
    for (const Reckoning& run : runs_) {
      if (run.started >= now_ - kComparedSec) {
        expected.insert(run.text() + "\n");
      }
    }
    ASSERT_EQ(recorded(), std::accumulate(expected.begin(), expected.end(), std::string()))
        << repeatText();
  }

  std::string recorded() const {
    return queryValue(
        (folder_ + "/root/mnt/fastpath/quorin_poed/history.db").c_str(),
        fill("SELECT IFNULL(GROUP_CONCAT(line || x'0a', ''), '') FROM (SELECT datetime(started_at, "
             "'unixepoch') || '|' || IFNULL(completed_at, 0) || '|' || trigger_source || '|' || "
             "IFNULL(schedule_id, 0) || '|' || IFNULL(overall_result, status) || "
             "IFNULL(' ' || error_message, '') AS line FROM poe_history WHERE started_at >= % "
             "ORDER BY line)",
             now_ - kComparedSec));
  }

  std::string repeatText() const { return fill("scripts/simulate % %", days_, seed_); }

  void happen() {
    command("fault clear");
    refusing_ = 0;
    const int choice = pick(&random_, 0, 11);
    if (choice <= 3) {
      create();
    } else if (choice == 4 && !lives_.empty()) {
      deleteSchedule(daemon_, asStored(lives_.back()));
      freePorts_.insert(lives_.back().schedule.port);
      lives_.pop_back();
    } else if (choice <= 7 && !lives_.empty()) {
      change(&lives_[static_cast<size_t>(pick(&random_, 0, static_cast<int>(lives_.size()) - 1))]);
    } else if (choice == 8 && waits_.empty()) {
      reset();
    } else if (choice == 9) {
      killAndStart();
    } else if (choice == 10 && waits_.empty()) {
      refusing_ = static_cast<uint32_t>(pick(&random_, 1, 22));
      command(fill("fault openapiPoePsePortAdminEnableSet --port % --result -1", refusing_));
    } else if (choice == 11) {
      setClock(pick(&random_, -90, 90) * 60);
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
    act(&begin("manual", 0, now_, {kPortOfResets}), now_, {kPortOfResets}, '-');
    waits_.emplace(now_ + offTimeSec, runs_.size() - 1);
    compare();
  }

  // A new daemon knows nothing of what the old one did in this minute, or of this day. What a reset
  // or a boot delay held off stays off.
  void killAndStart() {
    const int delaySec = std::max(0, pick(&random_, -600, 600));
    setBootDelay(daemon_, {1, delaySec, 0, false});
    const std::string shown = command("lab show --json");
    const pid_t pid = std::stoi(shown.substr(shown.find("daemonPid\":") + 11));
    const UniqueFd process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    kill(pid, SIGKILL);
    pollfd end{process.get(), POLLIN, 0};  // of its last thread, which has its files until then
    ASSERT_EQ(poll(&end, 1, kEndMs), 1);
    const Ports enabled = enabledPorts();
    command("lab up --speed 0");
    fired_.clear();
    waits_.clear();
    for (Reckoning& run : runs_) {
      if (run.completed == 0) {
        run.close(now_, kInterrupted);
      }
    }
    if (delaySec > 0 && !enabled.empty()) {
      act(&begin("boot-delay", 0, now_, enabled), now_, enabled, '-');
      waits_.emplace(now_ + delaySec, runs_.size() - 1);
    }
    tick(now_ / 60 * 60, now_);
    passMinutes(1);
  }

  static Ports enabledPorts() {
    Ports ports;
    for (const switchsim::PortView& port : switchsim::viewSwitch().ports) {
      if (port.place.unit == 1 && port.poe && port.adminOn) {
        ports.insert(port.ifNum);
      }
    }
    return ports;
  }

  // What waits goes by a clock that nobody sets. The daemon looks at its own every second.
  void setClock(time_t bySec) {
    if (bySec == 0) {
      return;
    }
    now_ += bySec;
    set_ -= bySec;
    std::multimap<time_t, size_t> waits;
    for (const auto& [until, run] : waits_) {
      waits.emplace(until + bySec, run);
    }
    waits_.swap(waits);
    command(fill("lab jump '%'", momentText(now_)));
    tick(now_ / 60 * 60, now_ + 1);
    passMinutes(1);
  }

  const unsigned seed_;
  std::mt19937 random_;
  const std::string folder_;
  SocketDaemon daemon_;
  time_t now_ = kFirstDay - 30;
  time_t set_ = 0;  // how far the clock that nobody sets is ahead
  int days_ = 0;
  std::vector<Life> lives_;
  std::set<uint32_t> freePorts_{1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21};
  std::set<std::string> fired_;
  uint32_t refusing_ = 0;  // the port that the switch does not switch
  std::vector<Reckoning> runs_;
  std::multimap<time_t, size_t> waits_;  // when which runs, begun by a reset or a start, end
  std::multiset<std::string> acts_;      // since they were compared
  uint64_t lastSeen_ = 0;
};

}  // namespace

TEST(SimulationTest, everyPortIsSwitchedAndRecordedInTheSecondInWhichItMustBe) {
  const int days = environmentNumber("QUORIN_SIMULATION_DAYS", 20);
  const unsigned seed = environmentSeed("QUORIN_SIMULATION_SEED");
  Simulation(seed).live(days);
}
