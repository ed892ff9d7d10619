#include "forecast/planned_acts.h"

#include <cstdlib>
#include <map>

namespace {

// An all-day schedule that is due already is carried out at once.
std::vector<Upcoming> firingsOf(const Rehearsal& rehearsal, const Zone& zone) {
  std::vector<Upcoming> all;
  for (const Schedule& schedule : rehearsal.schedules) {
    if (!isAllDayDue(schedule, rehearsal.from, zone)) {
      continue;
    }
    Firing firing = firingsOn(schedule, zone.tickAt(rehearsal.from), zone).front();
    if (firing.at < rehearsal.from) {
      firing.at = rehearsal.from;
      all.push_back({firing, &schedule});
    }
  }
  const std::vector<Upcoming> later =
      firingsWithin(rehearsal.schedules, rehearsal.from - 1, rehearsal.until - 1, zone);
  all.insert(all.end(), later.begin(), later.end());
  return all;
}

// Only what brings power back is done port by port with pauses.
void foretellFiring(const Upcoming& upcoming, std::vector<Foretold>* all) {
  const Schedule& schedule = *upcoming.schedule;
  const Firing& firing = upcoming.firing;
  const bool isPaced = schedule.executionMode == EXECUTION_SEQUENTIAL;
  int64_t pauses = 0;
  for (const uint32_t ifNum : schedule.ifNums) {
    const Port port{schedule.unit, ifNum};
    const int64_t pausesSec = pauses * schedule.interPortDelaySec;
    if (firing.act == Act::off) {
      all->push_back({firing.at, port, Act::off, firing, &schedule});
    } else if (firing.act == Act::restart && schedule.offTimeSec > 0) {
      const int64_t back = firing.at + schedule.offTimeSec + pausesSec;
      all->push_back({firing.at, port, Act::off, firing, &schedule});
      all->push_back({back, port, Act::on, firing, &schedule, true, pauses});
    } else {
      all->push_back({firing.at + pausesSec, port, firing.act, firing, &schedule});
    }
    pauses += isPaced ? 1 : 0;
  }
}

void foretellBoot(const BootDelay& delay, const Rehearsal& rehearsal, std::vector<Foretold>* all) {
  const Firing firing{rehearsal.from, Act::restart, false};
  int64_t pauses = 0;
  for (const SensorPort& sensor : rehearsal.before) {
    if (sensor.unit != delay.unit || delay.delaySec <= 0 || !sensor.isOn()) {
      continue;
    }
    const Port port{sensor.unit, sensor.ifNum};
    all->push_back({rehearsal.from, port, Act::off, firing, nullptr});
    const int64_t back = rehearsal.from + delay.delaySec + pauses * delay.interPortDelaySec;
    all->push_back({back, port, Act::on, firing, nullptr, true, pauses});
    pauses += delay.sequential ? 1 : 0;
  }
}

}  // namespace

std::vector<Foretold> foretoldBy(const Rehearsal& rehearsal, const Zone& zone) {
  std::vector<Foretold> all;
  for (const BootDelay& delay : rehearsal.bootDelays) {
    foretellBoot(delay, rehearsal, &all);
  }
  for (const Upcoming& each : firingsOf(rehearsal, zone)) {
    foretellFiring(each, &all);
  }
  return all;
}

std::vector<const Foretold*> matched(const std::vector<PortAct>& acts,
                                     std::vector<Foretold>* foretold) {
  std::map<std::pair<Port, Act>, std::vector<Foretold*>> open;
  for (Foretold& each : *foretold) {
    open[{each.port, each.act}].push_back(&each);
  }
  std::vector<const Foretold*> causes;
  for (const PortAct& act : acts) {
    const auto farness = [&act](const Foretold& each) {
      return std::pair(each.isTold, std::abs(act.at - each.at));
    };
    Foretold* nearest = nullptr;
    for (Foretold* each : open[{Port(act.unit, act.ifNum), act.act}]) {
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
