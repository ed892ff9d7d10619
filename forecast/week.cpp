#include "forecast/week.h"

#include <algorithm>

namespace {

// The mode that the port has now stands among the changes, in its place.
PortWeek portWeek(const SensorPort& port, const std::vector<Firing>& course, SwitchTime from,
                  SwitchTime now) {
  PortWeek week{port, false, {}, {}};
  for (const Firing& firing : course) {
    week.changes.push_back({firing.at, firing.act != Act::off, firing.act == Act::restart});
    if (firing.at >= from) {
      week.firings.push_back(firing);
    }
  }
  const auto later = std::find_if(week.changes.begin(), week.changes.end(),
                                  [now](const ModeChange& change) { return change.at > now; });
  week.changes.insert(later, {now, port.isOn(), false});
  return week;
}

}  // namespace

std::optional<bool> PortWeek::isOnAt(int64_t instant) const {
  std::optional<bool> isOn;
  for (const ModeChange& change : changes) {
    isOn = change.at <= instant ? std::make_optional(change.isOn) : isOn;
  }
  return isOn;
}

Week weekOf(const std::vector<SensorPort>& ports, const std::vector<Schedule>& schedules,
            const TickTime& firstDay, const View& view) {
  TickTime end = firstDay;
  end.day += kDaysOfWeek;
  Week week{firstDay,
            SwitchTime(view.shownZone.instantOf(firstDay)),
            SwitchTime(view.shownZone.instantOf(end)),
            {}};
  std::vector<Firing> firings = pastFirings(schedules, std::min(week.from, view.now()), view.zone);
  const std::vector<Firing> rest = firingsWithin(schedules, std::min(week.from, view.now()),
                                                 SwitchTime(week.until - 1), view.zone);
  firings.insert(firings.end(), rest.begin(), rest.end());

  for (const SensorPort& port : ports) {
    week.ports.push_back(portWeek(port, courseOf(port, firings), week.from, view.now()));
    week.ports.back().isScheduled =
        std::any_of(schedules.begin(), schedules.end(),
                    [&port](const Schedule& schedule) { return actsOn(schedule, port); });
  }
  return week;
}
