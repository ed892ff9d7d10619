#include "forecast/planned_acts.h"

#include <algorithm>
#include <cstdlib>
#include <map>

namespace {

constexpr int64_t kLongestWorkSec = int64_t{24} * 3600;

// A daemon that starts carries out at once what all-day schedules want of that day; another one has
// done so already. What it began before may go on.
std::vector<Firing> firingsOf(const Rehearsal& rehearsal, const Zone& zone) {
  std::vector<Firing> all;
  for (const Schedule& schedule : rehearsal.schedules) {
    if (!rehearsal.withBoot || !isAllDayDue(schedule, rehearsal.from, zone)) {
      continue;
    }
    Firing firing = firingsOn(schedule, zone.tickAt(rehearsal.from), zone).front();
    if (firing.at < rehearsal.from) {
      firing.at = rehearsal.from;
      all.push_back(firing);
    }
  }
  const int64_t before = rehearsal.withBoot ? 0 : kLongestWorkSec;
  const std::vector<Firing> timed =
      firingsWithin(rehearsal.schedules, SwitchTime(rehearsal.from - 1 - before),
                    SwitchTime(rehearsal.until - 1), zone);
  all.insert(all.end(), timed.begin(), timed.end());
  return all;
}

// Only what brings power back is done port by port with pauses.
void planFiring(const Firing& firing, std::vector<PlannedAct>* all) {
  const Schedule& schedule = *firing.schedule;
  const bool isPaced = schedule.executionMode == EXECUTION_SEQUENTIAL;
  int64_t pauses = 0;
  for (const uint32_t ifNum : schedule.ifNums) {
    const PoePort port{schedule.unit, ifNum};
    const int64_t pausesSec = pauses * schedule.interPortDelaySec;
    if (firing.act == Act::off) {
      all->push_back({firing.at, port, Act::off, firing});
    } else if (firing.act == Act::restart && schedule.offTimeSec > 0) {
      const SwitchTime back(firing.at + schedule.offTimeSec + pausesSec);
      all->push_back({firing.at, port, Act::off, firing});
      all->push_back({back, port, Act::on, firing, true, pauses});
    } else {
      all->push_back({SwitchTime(firing.at + pausesSec), port, firing.act, firing});
    }
    pauses += isPaced ? 1 : 0;
  }
}

void planBootDelay(const BootDelay& delay, const Rehearsal& rehearsal,
                   std::vector<PlannedAct>* all) {
  const Firing firing{rehearsal.from, Act::restart, false, nullptr};
  int64_t pauses = 0;
  for (const SensorPort& sensor : rehearsal.before) {
    if (sensor.unit != delay.unit || delay.delaySec <= 0 || !sensor.isOn()) {
      continue;
    }
    all->push_back({rehearsal.from, sensor, Act::off, firing});
    const SwitchTime back(rehearsal.from + delay.delaySec + pauses * delay.interPortDelaySec);
    all->push_back({back, sensor, Act::on, firing, true, pauses});
    pauses += delay.sequential ? 1 : 0;
  }
}

}  // namespace

std::vector<PlannedAct> plannedActs(const Rehearsal& rehearsal, const Zone& zone) {
  std::vector<PlannedAct> all;
  for (const BootDelay& delay : rehearsal.bootDelays) {
    planBootDelay(delay, rehearsal, &all);
  }
  for (const Firing& each : firingsOf(rehearsal, zone)) {
    planFiring(each, &all);
  }
  all.erase(std::remove_if(all.begin(), all.end(),
                           [&](const PlannedAct& each) { return each.at < rehearsal.from; }),
            all.end());
  return all;
}

std::vector<const PlannedAct*> matched(const std::vector<JournalAct>& acts,
                                       std::vector<PlannedAct>* planned) {
  std::map<std::pair<PoePort, Act>, std::vector<PlannedAct*>> open;
  for (PlannedAct& each : *planned) {
    open[{each.port, each.act}].push_back(&each);
  }
  std::vector<const PlannedAct*> causes;
  for (const JournalAct& act : acts) {
    const auto farness = [&act](const PlannedAct& each) {
      return std::pair(each.isReported, std::abs(act.at - each.at));
    };
    PlannedAct* nearest = nullptr;
    for (PlannedAct* each : open[{act.port, act.act}]) {
      const bool isNearer = nearest == nullptr || farness(*each) < farness(*nearest);
      const bool canBe = !each->isMet && std::abs(act.at - each->at) <= kMaxLateSec;
      nearest = canBe && isNearer ? each : nearest;
    }
    if (nearest != nullptr) {
      nearest->isMet = true;
    }
    causes.push_back(nearest);
  }
  return causes;
}
