// Seven days of ports: as they were, and as their schedules will make them.
#ifndef QUORIN_FORECAST_WEEK_H
#define QUORIN_FORECAST_WEEK_H

#include <functional>
#include <optional>
#include <vector>

#include "api/view.h"
#include "forecast/firings.h"

constexpr int32_t kDaysOfWeek = 7;

// A port's mode from an instant on; none where nothing tells.
struct ModeChange {
  SwitchTime at;
  std::optional<bool> isOn;
  bool isRestart = false;  // it went off and on again, or will
};

// From now on the modes follow from the mode that the port has and from what schedules do.
struct PortWeek {
  SensorPort port;
  bool isScheduled = false;         // some schedule has the port
  std::vector<ModeChange> changes;  // from the first that is known until the week's end
  std::vector<Firing> firings;      // of the week, those to come

  // None where nothing tells.
  std::optional<bool> isOnAt(int64_t instant) const;
};

struct Week {
  TickTime firstDay;  // in the shown zone
  SwitchTime from;    // the instants between which it lies
  SwitchTime until;
  std::vector<PortWeek> ports;
};

// What is known of a port's modes up to now, oldest first; with a last one of now where the mode
// that the port has is none that lasts until a schedule acts: a run is about to switch it on.
using PastOf = std::function<std::vector<ModeChange>(const SensorPort& port)>;

// schedules must outlive what comes back.
Week weekOf(const std::vector<SensorPort>& ports, const std::vector<Schedule>& schedules,
            const TickTime& firstDay, const PastOf& pastOf, const View& view);

#endif
