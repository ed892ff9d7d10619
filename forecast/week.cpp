#include "forecast/week.h"

#include <algorithm>

std::optional<bool> PortWeek::isOnAt(int64_t instant) const {
  std::optional<bool> isOn;
  for (const ModeChange& change : changes) {
    isOn = change.at <= instant ? change.isOn : isOn;
  }
  return isOn;
}

Week weekOf(const std::vector<SensorPort>& ports, const std::vector<Schedule>& schedules,
            const TickTime& firstDay, const PastOf& pastOf, const View& view) {
  TickTime end = firstDay;
  end.day += kDaysOfWeek;
  Week week{firstDay,
            SwitchTime(view.shownZone.instantOf(firstDay)),
            SwitchTime(view.shownZone.instantOf(end)),
            {}};
  const std::vector<Firing> toCome =
      firingsWithin(schedules, view.now(), SwitchTime(week.until - 1), view.zone);

  for (const SensorPort& port : ports) {
    const bool isScheduled =
        std::any_of(schedules.begin(), schedules.end(),
                    [&port](const Schedule& schedule) { return actsOn(schedule, port); });
    PortWeek own{port, isScheduled, isScheduled ? pastOf(port) : std::vector<ModeChange>(), {}};
    if (own.changes.empty() || own.changes.back().at < view.now()) {
      own.changes.push_back({view.now(), port.isOn(), false});
    }
    for (const Firing& firing : courseOf(port, toCome)) {
      const bool isRestart = firing.act == Act::restart;
      own.changes.push_back({firing.at, firing.act == Act::on, isRestart});
      if (isRestart) {
        own.changes.push_back({SwitchTime(firing.at + restartSec(*firing.schedule)), true, false});
      }
      if (firing.at >= week.from) {
        own.firings.push_back(firing);
      }
    }
    std::stable_sort(own.changes.begin(), own.changes.end(),
                     [](const ModeChange& a, const ModeChange& b) { return a.at < b.at; });
    week.ports.push_back(std::move(own));
  }
  return week;
}
