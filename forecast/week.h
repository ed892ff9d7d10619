// Seven days of ports as their schedules make them.
#ifndef QUORIN_FORECAST_WEEK_H
#define QUORIN_FORECAST_WEEK_H

#include <optional>
#include <vector>

#include "api/view.h"
#include "forecast/firings.h"

constexpr int32_t kDaysOfWeek = 7;

// A port's mode from an instant on.
struct ModeChange {
  SwitchTime at;
  bool isOn = false;
  bool isRestart = false;  // off and on again
};

// Up to now the modes follow from the firings of schedules; from now on they follow from the mode
// that the port has.
struct PortWeek {
  SensorPort port;
  bool isScheduled = false;         // some schedule has the port
  std::vector<ModeChange> changes;  // from long before the week until its end
  std::vector<Firing> firings;      // of the week

  // None where nothing tells.
  std::optional<bool> isOnAt(int64_t instant) const;
};

struct Week {
  TickTime firstDay;  // in the shown zone
  SwitchTime from;    // the instants between which it lies
  SwitchTime until;
  std::vector<PortWeek> ports;
};

// schedules must outlive what comes back.
Week weekOf(const std::vector<SensorPort>& ports, const std::vector<Schedule>& schedules,
            const TickTime& firstDay, const View& view);

#endif
