#include "switchsim/lab/rehearse.h"

#include <algorithm>
#include <map>

#include "api/requests.h"
#include "cli/failure.h"
#include "switchsim/lab/lab.h"
#include "switchsim/lab/own_lab.h"
#include "switchsim/switch/switch_state.h"

namespace switchsim {
namespace {

constexpr int64_t kMsPerSec = 1000;
constexpr int64_t kSecPerMin = 60;
constexpr int64_t kSecPerDay = 86400;
constexpr int64_t kAskTimeoutMs = 60000;
// The lab begins so long before now: by then every window that is open now has begun, and what
// all-day schedules want of today has been done, as in the daemon that is rehearsed for.
constexpr int64_t kBeforeNowSec = int64_t{25} * 3600;
// And not longer than so before the rehearsal: what acted last on a port did so within that time.
constexpr int64_t kBeforeFromSec = 62 * kSecPerDay;
// What began before the end may go on after it.
constexpr int64_t kAfterEndSec = 2 * kSecPerDay;

class Stage {
 public:
  Stage(const RehearsalPlan& plan, const std::function<void(SwitchTime)>& passing)
      : plan_(plan), passing_(passing), daemon_(lab_.socketPath(), kAskTimeoutMs, {}) {}

  Rehearsal play() {
    begin();
    Rehearsal rehearsal;
    rehearsal.from = plan_.from;
    rehearsal.until = plan_.until;
    rehearsal.schedules = plan_.schedules;
    rehearsal.withBoot = plan_.withBoot;
    rehearsal.before = portsNow();
    lastSeen_ = lastSeq();
    if (plan_.withBoot) {
      rehearsal.bootDelays = plan_.bootDelays;
      boot();
    }
    for (SwitchTime day = plan_.from; day < plan_.until; day = SwitchTime(day + kSecPerDay)) {
      passing_(day);
      goTo(std::min(SwitchTime(day + kSecPerDay), plan_.until));
      takeActs(&rehearsal);
    }
    for (int64_t passed = 0; passed < kAfterEndSec && areHeldBack(); passed += kSecPerMin) {
      goTo(SwitchTime(plan_.until + passed + kSecPerMin));
      takeActs(&rehearsal);
    }
    rehearsal.runs = runs();
    return rehearsal;
  }

 private:
  // To the moment at which the rehearsal begins.
  void begin() {
    const int64_t presentAt = std::max(plan_.now, SwitchTime(plan_.from - kBeforeFromSec));
    LabPlan up;
    up.at = presentAt / kSecPerMin * kSecPerMin - kBeforeNowSec;
    up.speed = 0;
    up.makeSwitch = [this] { createSwitch(plan_.ports, 0, false); };
    lab_.up(up);
    for (const Schedule& schedule : plan_.schedules) {
      ids_[createSchedule(daemon_, schedule).scheduleId] = schedule.scheduleId;
    }
    goTo(SwitchTime(presentAt));
    const std::vector<Run> open = openRuns();
    for (const PortRecord& port : plan_.ports) {
      const auto isHeldBack = [&port](const Run& run) {
        const RunPort* own = run.port(port.ifNum);
        return run.switchesBack() && own != nullptr && own->status == PortStatus::pending;
      };
      if (portView(port.ifNum).adminOn != (port.adminOn != 0) &&
          std::none_of(open.begin(), open.end(), isHeldBack)) {
        setAdmin(port.ifNum, port.adminOn != 0);
      }
    }
    goTo(plan_.from);
  }

  // To the last moment before the instant.
  void goTo(SwitchTime instant) {
    lab_.travelTo(instant * kMsPerSec - 1,
                  [this] { passing_(SwitchTime(lab_.nowMs() / kMsPerSec)); });
  }

  void boot() {
    for (const BootDelay& delay : plan_.bootDelays) {
      setBootDelay(daemon_, delay);
    }
    lab_.down(false);
    LabPlan up;
    up.at = plan_.from;
    up.speed = 0;
    lab_.up(up);
  }

  std::vector<SensorPort> portsNow() {
    std::vector<SensorPort> all =
        ofUnits(units(), [this](int32_t unit) { return askSensors(daemon_, unit); });
    return all;
  }

  std::vector<int32_t> units() const {
    std::vector<int32_t> all;
    for (int32_t unit = 1; unit <= static_cast<int32_t>(kMaxUnits); ++unit) {
      all.push_back(unit);
    }
    return all;
  }

  void takeActs(Rehearsal* rehearsal) {
    for (const JournalEntry& entry : journalSince(lastSeen_)) {
      const bool isReset = entry.op == operationName(Operation::portReset);
      rehearsal->acts.push_back({SwitchTime(entry.timeMs / kMsPerSec),
                                 {entry.unit, entry.ifNum},
                                 isReset            ? Act::restart
                                 : entry.value != 0 ? Act::on
                                                    : Act::off,
                                 entry.result != 0});
      lastSeen_ = entry.seq;
    }
  }

  std::vector<Run> openRuns() {
    return ofUnits(units(), [this](int32_t unit) { return askOpenRuns(daemon_, unit); });
  }

  bool areHeldBack() {
    const std::vector<Run> open = openRuns();
    return std::any_of(open.begin(), open.end(), [](const Run& run) { return run.switchesBack(); });
  }

  // Those that deserve a look and were not over when it began, or cut off by its start of the
  // switch: as runs of the plan's schedules, oldest first.
  std::vector<Run> runs() {
    std::vector<Run> bad = ofUnits(units(), [this](int32_t unit) {
      std::vector<Run> ofUnit;
      for (const Run& listed :
           askRunsSince(daemon_, unit, SystemTime(plan_.from - kBeforeNowSec))) {
        const bool isOver = listed.completedAt && *listed.completedAt < int64_t{plan_.from};
        const bool isCutOff = plan_.withBoot && listed.startedAt < SystemTime(plan_.from);
        const bool isGood =
            !listed.isFailure() && listed.failedPortCount + listed.skippedPortCount == 0;
        if (!isOver && !isCutOff && !isGood) {
          ofUnit.push_back(askRun(daemon_, unit, listed.runId));  // with its ports
        }
      }
      std::reverse(ofUnit.begin(), ofUnit.end());
      return ofUnit;
    });
    for (Run& run : bad) {
      const auto known = ids_.find(run.scheduleId.value_or(0));
      run.scheduleId = known != ids_.end() ? known->second : run.scheduleId;
    }
    return bad;
  }

  const RehearsalPlan& plan_;
  const std::function<void(SwitchTime)>& passing_;
  OwnLab own_{"quorin-rehearsal"};
  Lab& lab_ = own_.lab();
  SocketDaemon daemon_;
  std::map<int64_t, int64_t> ids_;  // those of the lab, and those of the plan
  uint64_t lastSeen_ = 0;           // of the journal
};

}  // namespace

Rehearsal rehearse(const RehearsalPlan& plan, const std::function<void(SwitchTime)>& passing) {
  return Stage(plan, passing).play();
}

}  // namespace switchsim
