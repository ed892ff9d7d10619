// Whole lives of a daemon in virtual time: schedules of all kinds made, changed, deleted in
// mid-window, manual resets, boot delays, a switch that refuses or answers late, clocks that
// somebody sets, zones whose clocks change, the daemon killed and started, its threads in random
// turns. What is done to which port in which second, and what is recorded of it, is compared with
// what must be, reckoned without any of the daemon's code. A failure prints the seed;
// `scripts/simulate DAYS SEED` repeats it.
#include <list>
#include <map>
#include <numeric>
#include <optional>

#include "api/requests.h"
#include "tests/support/reckoned.h"
#include "tests/support/test_lab.h"

namespace {

constexpr time_t kNewYear = 1956528000;  // 2032-01-01, of a leap year
constexpr uint32_t kPortOfResets = 24;
constexpr const char* kZones[] = {
    "UTC",          "Europe/Berlin",       "Europe/Dublin",  "Africa/Casablanca", "Asia/Kolkata",
    "Africa/Cairo", "Australia/Lord_Howe", "America/Havana", "America/New_York",  "Asia/Kathmandu"};
constexpr time_t kLongestWindowSec = 90000;
constexpr time_t kComparedSec = 2 * kDaySec;  // of what is recorded: as far back as runs change
constexpr const char* kAdminSet = "openapiPoePsePortAdminEnableSet";
constexpr const char* kClockGet = "openapiClockGet";
constexpr const char* kInterrupted = "Interrupted by unexpected reboot";

using Ports = std::set<uint32_t>;

struct Life {
  int64_t id = 0;
  Reckoned schedule;
  int offTimeSec = 0;
  int delaySec = 0;  // between its ports; 0: none
};

// What must be recorded.
struct Reckoning {
  std::string trigger;
  int64_t scheduleId;  // 0: of none
  time_t started;
  time_t lifetime = 0;  // when it started, by the clock that nobody sets
  Ports ports = {};
  bool isWindow = false;
  time_t completed = 0;  // 0: it is open
  std::string end = "running";
  std::map<uint32_t, std::string> outcomes = {};  // of those that have one

  // Of the restoring end of a window the worse outcome counts, and the first message.
  void record(uint32_t port, const std::string& failure) {
    std::string& outcome = outcomes[port];
    if (completed == 0 && outcome.find("failed") == std::string::npos) {
      outcome = failure.empty() ? "success" : "failed " + failure;
    }
  }
  void close(time_t at, const std::string& failure = "") {
    completed = at;
    size_t failed = 0;
    for (const uint32_t port : ports) {
      std::string& outcome = outcomes[port];
      outcome = !outcome.empty() ? outcome : "failed " + failure;
      failed += outcome == "success" ? 0 : 1;
    }
    end = !failure.empty()        ? "failed " + failure
          : failed == 0           ? "success"
          : failed < ports.size() ? "partial"
                                  : "failed";
  }
  std::string text() const {
    std::string text =
        fill("%|%|%|%|%|", timeText(started, "%F %T"), completed, trigger, scheduleId, end);
    for (const uint32_t port : ports) {
      const auto outcome = outcomes.find(port);
      text += fill("% %,", port, outcome != outcomes.end() ? outcome->second : "pending");
    }
    return text;
  }
};

// What a thread of the daemon has still to do, port by port.
struct Job {
  Reckoning* run;
  std::vector<uint32_t> ports;
  time_t due;      // by the clock that nobody sets
  int offTimeSec;  // of a restart; 0: the ports only come on
  int delaySec;    // between ports that come on
  bool isOff = false;
  bool isAsked = false;  // the switch was, and has not answered
  size_t next = 0;
  std::vector<uint32_t> taken = {};    // that went off
  std::vector<uint32_t> refused = {};  // that did not, which is recorded when others come on

  void recordRefused(uint32_t before) {
    while (!refused.empty() && refused.front() < before) {
      run->record(refused.front(), "power_off failed");
      refused.erase(refused.begin());
    }
  }
};

class Simulation {
 public:
  explicit Simulation(unsigned seed)
      : seed_(seed),
        random_(seed),
        firstDay_(kNewYear + kDaySec * pick(&random_, 0, 365)),
        now_(firstDay_ + kDaySec / 2 + 30),
        nextTick_(now_),
        lab_(kZones[pick(&random_, 0, std::size(kZones) - 1)], now_, seed) {}

  void live(int days) {
    days_ = days;
    const time_t end = lifetime() + days * kDaySec;
    while (lifetime() < end && !testing::Test::HasFatalFailure()) {
      passMinutes(pick(&random_, 1, 300));
      happen();
    }
  }

 private:
  time_t lifetime() const { return now_ + set_; }

  // The switch's own time, as if it were UTC. What the daemon's zone skips counts as after it.
  time_t localTime(time_t at) const {
    tm calendar{};
    if (!switchAhead_) {
      localtime_r(&at, &calendar);
      return timegm(&calendar);
    }
    const time_t own = at + set_ + *switchAhead_;
    gmtime_r(&own, &calendar);
    calendar.tm_isdst = -1;
    mktime(&calendar);
    return timegm(&calendar);
  }

  // To half a minute in which nothing is under way but what waits to switch ports on.
  void passMinutes(int minutes) {
    for (int i = 0; i < minutes || !isQuiet(); ++i) {
      now_ = now_ / 60 * 60 + 90;
      while (nextTick_ <= now_) {
        tick(nextTick_);
      }
      work();
    }
    compare();
  }

  bool isQuiet() const {
    return tickEnd_ <= now_ && std::all_of(jobs_.begin(), jobs_.end(), [](const Job& job) {
             return job.offTimeSec > 0 && job.isOff && !job.isAsked && job.next == 0;
           });
  }

  // What the daemon does in the minute, come to it at an instant. A sweep makes the next one late.
  void tick(time_t at) {
    const time_t minute = at / 60 * 60;
    tickEnd_ = at + latenessOf(kClockGet);
    const time_t local = localTime(tickEnd_);
    lookAt(local / 60 * 60);
    if (local % 60 == 59) {  // late, and so close to the next minute that it waits for that
      const bool isOver = localTime(tickEnd_) / 60 != local / 60;
      tickEnd_ += std::max(latenessOf(kClockGet), isOver ? 0 : 1);
      lookAt(localTime(tickEnd_) / 60 * 60);
    }
    nextTick_ = std::max(minute + 60, tickEnd_ + 1);
  }

  void lookAt(time_t local) {
    for (Reckoning& run : runs_) {
      reap(&run);
    }
    for (const Life& life : lives_) {
      evaluate(life, local);
    }
  }

  void reap(Reckoning* run) {
    if (run->completed != 0 || !run->isWindow) {
      return;
    }
    const auto life = std::find_if(lives_.begin(), lives_.end(), [run](const Life& each) {
      return each.id == run->scheduleId && each.schedule.enabled;
    });
    if (life == lives_.end()) {
      run->close(tickEnd_, "Schedule removed or modified mid-window");
    } else if (tickEnd_ + set_ - run->lifetime > kLongestWindowSec) {
      run->close(tickEnd_, "Window end never fired");
    }
  }

  void evaluate(const Life& life, time_t local) {
    const Reckoned& schedule = life.schedule;
    const bool isOn = schedule.type == "power_on";
    if (schedule.allDay) {
      if (appliesOn(schedule, local) && isFirst(life.id, timeText(local, "%F"))) {
        start(life, begin(life), isOn);
      }
      return;
    }
    if (startsIn(schedule, local) && isFirst(life.id, instantText(local) + "S")) {
      if (Reckoning* stale = schedule.isWindow() ? openRunOf(life.id) : nullptr) {
        stale->close(tickEnd_, "Superseded by a new occurrence");
      }
      start(life, begin(life), isOn);
    }
    if (endsIn(schedule, local) && isFirst(life.id, instantText(local) + "E")) {
      Reckoning* run = openRunOf(life.id);
      sweep(run, portsOf(schedule), isOn ? '-' : '+', isOn ? 0 : life.delaySec, "restore failed");
      if (run != nullptr) {
        run->close(tickEnd_);
      }
    }
  }

  // Whether this did not happen yet in this life of the daemon: not so where a clock went back.
  bool isFirst(int64_t scheduleId, const std::string& occurrence) {
    return fired_.insert(fill("% %", scheduleId, occurrence)).second;
  }

  Reckoning* begin(const Life& life) {
    Reckoning* run = begin("scheduled", life.id, tickEnd_, portsOf(life.schedule));
    run->isWindow = life.schedule.isWindow();
    return run;
  }
  Reckoning* begin(const char* trigger, int64_t scheduleId, time_t at, const Ports& ports) {
    runs_.push_back({trigger, scheduleId, at, at + set_, ports});
    return &runs_.back();
  }
  Reckoning* openRunOf(int64_t scheduleId) {
    const auto run = std::find_if(runs_.begin(), runs_.end(), [scheduleId](const Reckoning& each) {
      return each.scheduleId == scheduleId && each.completed == 0;
    });
    return run == runs_.end() ? nullptr : &*run;
  }
  static Ports portsOf(const Reckoned& schedule) { return {schedule.port, schedule.port + 1}; }

  // Ports go off at once, on the scheduler's thread; all else is a job of its own.
  void start(const Life& life, Reckoning* run, bool isOn) {
    if (life.schedule.type != "power_off") {
      spawn(run, tickEnd_, isOn ? 0 : life.offTimeSec, life.delaySec);
      return;
    }
    sweep(run, run->ports, '-', 0, "power_off failed");
    if (!run->isWindow) {
      run->close(tickEnd_);
    }
  }

  void sweep(Reckoning* run, const Ports& ports, char sign, int delaySec, const char* failure) {
    for (const uint32_t port : ports) {
      tickEnd_ += latenessOf(kAdminSet);
      const bool isDone = act(tickEnd_, port, sign);
      if (run != nullptr) {
        run->record(port, isDone ? "" : failure);
      }
      tickEnd_ += port == *ports.rbegin() ? 0 : delaySec;
    }
  }

  Job* spawn(Reckoning* run, time_t at, int offTimeSec, int delaySec) {
    jobs_.push_back({run, {run->ports.begin(), run->ports.end()}, at + set_, offTimeSec, delaySec});
    jobs_.back().isOff = offTimeSec == 0;
    return &jobs_.back();
  }

  void work() {
    for (Job& job : jobs_) {
      while (job.run != nullptr && job.due <= lifetime()) {
        advance(&job);
      }
    }
    jobs_.remove_if([](const Job& job) { return job.run == nullptr; });
  }

  void advance(Job* job) {
    if (job->next == job->ports.size()) {
      endPhase(job);
    } else if (!job->isAsked) {
      job->isAsked = true;
      job->due += latenessOf(kAdminSet);
    } else {
      const uint32_t port = job->ports[job->next++];
      job->isAsked = false;
      const bool isDone = act(job->due - set_, port, job->isOff ? '+' : '-');
      if (job->isOff) {
        job->recordRefused(port);
        job->run->record(port, isDone ? "" : failureOf(*job));
      } else {
        (isDone ? job->taken : job->refused).push_back(port);
      }
      job->due += job->isOff && job->next < job->ports.size() ? job->delaySec : 0;
    }
  }

  void endPhase(Job* job) {
    if (!job->isOff) {
      job->isOff = true;
      job->ports.swap(job->taken);
      job->next = 0;
      job->due += job->offTimeSec;
      return;
    }
    job->recordRefused(UINT32_MAX);
    if (!job->run->isWindow) {
      job->run->close(job->due - set_);
    }
    job->run = nullptr;
  }

  static const char* failureOf(const Job& job) {
    return job.run->trigger == "boot-delay" ? "re-enable failed"
           : job.offTimeSec > 0             ? "power_on failed"
                                            : "hardware error";
  }

  int latenessOf(const std::string& operation) const {
    return lateOperation_ == operation ? lateSec_ : 0;
  }

  // Whether the switch did it.
  bool act(time_t at, uint32_t port, char sign) {
    const bool isDone = refusing_.count(port) == 0;
    acts_.insert(actText(at, port, sign, isDone));
    return isDone;
  }
  static std::string actText(time_t at, uint32_t port, char sign, bool isDone) {
    return timeText(at, "%F %T ") + fill("%%%", port, sign, isDone ? "" : "!");
  }

  // The lab comes to the same moment, and all that was done and recorded is compared.
  void compare() {
    lab_.goTo(now_);
    std::multiset<std::string> done;
    for (const switchsim::JournalEntry& entry : lab_.newActs()) {
      done.insert(actText(static_cast<time_t>(entry.timeMs / 1000), entry.ifNum,
                          entry.value != 0 ? '+' : '-', entry.result == 0));
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
    runs_.remove_if([this](const Reckoning& run) {
      return run.completed != 0 && run.started < now_ - 2 * kComparedSec;
    });
  }

  std::string recorded() const {
    return lab_.history(fill(
        "SELECT IFNULL(GROUP_CONCAT(line || x'0a', ''), '') FROM (SELECT datetime(started_at, "
        "'unixepoch') || '|' || IFNULL(completed_at, 0) || '|' || trigger_source || '|' || "
        "IFNULL(schedule_id, 0) || '|' || IFNULL(overall_result, status) || "
        "IFNULL(' ' || error_message, '') || '|' || (SELECT GROUP_CONCAT(port || ',', '') FROM "
        "(SELECT if_num || ' ' || status || IFNULL(' ' || error_msg, '') AS port FROM "
        "poe_history_port AS own WHERE own.run_id = poe_history.run_id ORDER BY if_num)) AS "
        "line FROM poe_history WHERE started_at >= % ORDER BY line)",
        now_ - kComparedSec));
  }

  std::string repeatText() const {
    return fill("scripts/simulate % %, in %", days_, seed_, getenv("TZ"));
  }

  void happen() {
    lab_.command("fault clear");
    refusing_.clear();
    lateOperation_.clear();
    const int choice = pick(&random_, 0, 15);
    if (choice <= 2) {
      create();
    } else if (choice == 3 && !lives_.empty()) {
      deleteSchedule(lab_.daemon(), asStored(lives_.back()));
      lives_.pop_back();
    } else if (choice <= 6 && !lives_.empty()) {
      change(&lives_[static_cast<size_t>(pick(&random_, 0, static_cast<int>(lives_.size()) - 1))]);
    } else if (choice == 7) {
      reset();
    } else if (choice == 8) {
      killAndStart();
    } else if (choice <= 10) {
      refuse();
    } else if (choice <= 13) {
      lateOperation_ = choice == 11 ? kClockGet : kAdminSet;
      lateSec_ = pick(&random_, 1, 9);
      lab_.command(fill("fault % --delay-ms %000", lateOperation_, lateSec_));
    } else if (choice == 14) {
      setClock(pick(&random_, -90, 90) * 60);
    } else if (choice == 15) {
      setSwitchClock();
    }
  }

  // Some ports, or all.
  void refuse() {
    const int oneIn = pick(&random_, 1, 3);
    for (uint32_t port = 1; port <= kPortOfResets; ++port) {
      if (pick(&random_, 1, oneIn) == 1) {
        refusing_.insert(port);
        lab_.command(fill("fault % --port % --result -1", kAdminSet, port));
      }
    }
  }

  static Schedule asStored(const Life& life) {
    const std::string members =
        fill(R"("offTimeSec":%,"executionMode":"%","interPortDelaySec":%,"name":"s%",)",
             life.offTimeSec, life.delaySec > 0 ? "sequential" : "simultaneous", life.delaySec,
             life.schedule.port) +
        membersOf(life.schedule);
    Schedule schedule = readSchedule(jsonParse(scheduleJson(members).c_str()).get(), 1);
    schedule.scheduleId = life.id;
    return schedule;
  }

  void create() {
    Ports ports = {1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21};
    for (const Life& life : lives_) {
      ports.erase(life.schedule.port);
    }
    for (const Job& job : jobs_) {  // of schedules that were deleted
      ports.erase(*job.run->ports.begin());
    }
    if (ports.empty()) {
      return;
    }
    Life life;
    life.schedule = randomSchedule(*ports.begin(), firstDay_, days_, &random_);
    life.offTimeSec = pick(&random_, 1, pick(&random_, 0, 1) == 0 ? 50 : 7200);
    life.delaySec = std::max(0, pick(&random_, -240, 120));
    if (life.schedule.type == "power_on" || life.delaySec > 0) {
      setTimes(&life);
    }
    life.id = createSchedule(lab_.daemon(), asStored(life)).scheduleId;
    lives_.push_back(life);
  }

  // A window that is longer, as is the time to the next, than its ports take to come on: none meets
  // its own work.
  void setTimes(Life* life) {
    life->schedule.start = pick(&random_, 0, kMinutesPerDay - 1);
    life->schedule.end = (life->schedule.start + pick(&random_, 10, 1430)) % kMinutesPerDay;
  }

  // An all-day schedule keeps its day, a restart that is under way its time.
  void change(Life* life) {
    const bool isUnderWay = std::any_of(jobs_.begin(), jobs_.end(), [life](const Job& job) {
      return job.run->scheduleId == life->id;
    });
    if (life->schedule.allDay) {
      return;
    }
    if (isUnderWay || pick(&random_, 0, 1) == 0) {
      life->schedule.enabled = !life->schedule.enabled;
    } else {
      setTimes(life);
    }
    updateSchedule(lab_.daemon(), asStored(*life));
  }

  void reset() {
    const bool isUnderWay = std::any_of(
        jobs_.begin(), jobs_.end(), [](const Job& job) { return job.run->trigger == "manual"; });
    if (isUnderWay) {
      return;
    }
    const int offTimeSec = pick(&random_, 1, 7200);
    lab_.daemon().ask("manual.reset",
                      jsonParse(fill(R"({"unit":1,"request":{"ifNums":[%],"offTimeSec":%}})",
                                     kPortOfResets, offTimeSec)
                                    .c_str()));
    spawn(begin("manual", 0, now_, {kPortOfResets}), now_, offTimeSec, 0);
    work();
    compare();
  }

  // A new daemon knows nothing of what the old one did in this minute, or of this day. What a reset
  // or a boot delay held off stays off.
  void killAndStart() {
    const int delaySec = std::max(0, pick(&random_, -600, 600));
    const int betweenSec = std::max(0, pick(&random_, -10, 10));
    setBootDelay(lab_.daemon(), {1, delaySec, betweenSec, betweenSec > 0});
    lab_.killDaemon();
    const Ports enabled = enabledPorts();
    lab_.startDaemon(now_);
    fired_.clear();
    jobs_.clear();
    for (Reckoning& run : runs_) {
      if (run.completed == 0) {
        run.close(now_, kInterrupted);
      }
    }
    if (delaySec > 0 && !enabled.empty()) {
      holdOff(enabled, delaySec, betweenSec);
    }
    nextTick_ = now_;
    passMinutes(1);
  }

  void holdOff(const Ports& ports, int delaySec, int betweenSec) {
    Reckoning* run = begin("boot-delay", 0, now_, ports);
    for (const uint32_t port : ports) {
      act(now_, port, '-');
    }
    Job* job = spawn(run, now_ + delaySec, delaySec, betweenSec);
    job->isOff = true;
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
    lab_.command(fill("lab jump %", instantText(now_)));
    nextTick_ = now_ + 1;
    passMinutes(1);
  }

  // The switch gets another zone, has the daemon's, or does not tell its time, and the daemon goes
  // by its own.
  void setSwitchClock() {
    const int choice = pick(&random_, 0, 3);
    const bool isUnderWay = std::any_of(
        jobs_.begin(), jobs_.end(), [](const Job& job) { return job.run->trigger == "scheduled"; });
    if (isUnderWay) {  // another day's restart must not meet this one's
      return;
    }
    switchAhead_.reset();
    if (choice <= 1) {
      const time_t own = localTime(now_) + pick(&random_, -28, 28) * 1800;
      switchAhead_ = own - lifetime();
      lab_.command(fill("clock '%' --run", timeText(own, "%F %T")));
      return;
    }
    lab_.command(choice == 2 ? "clock follow" : "clock fail");
  }

  const unsigned seed_;
  std::mt19937 random_;
  const time_t firstDay_;
  time_t now_;
  time_t set_ = 0;                     // how far the clock that nobody sets is ahead
  std::optional<time_t> switchAhead_;  // of that clock, where the switch's has a zone of its own
  time_t nextTick_, tickEnd_ = 0;
  int days_ = 0;
  std::vector<Life> lives_;
  std::set<std::string> fired_;
  Ports refusing_;  // which the switch does not switch
  std::string lateOperation_;
  int lateSec_ = 0;
  std::list<Reckoning> runs_;
  std::list<Job> jobs_;
  std::multiset<std::string> acts_;  // since they were compared
  TestLab lab_;
};

}  // namespace

TEST(SimulationTest, everyPortIsSwitchedAndRecordedInTheSecondInWhichItMustBe) {
  const int days = environmentNumber("QUORIN_SIMULATION_DAYS", 8);
  const unsigned lives = getenv("QUORIN_SIMULATION_SEED") != nullptr ? 1 : 3;
  const unsigned seed = environmentSeed("QUORIN_SIMULATION_SEED");
  for (unsigned i = 0; i < lives && !HasFatalFailure(); ++i) {
    SCOPED_TRACE(fill("QUORIN_SIMULATION_SEED=%", seed + i));
    Simulation(seed + i).live(days);
  }
}
