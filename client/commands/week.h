// What week shows, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_WEEK_H
#define QUORIN_CLIENT_COMMANDS_WEEK_H

#include <optional>
#include <string>
#include <vector>

#include "client/commands/schedule/schedules.h"
#include "forecast/upcoming.h"

// A port's mode from an instant on.
struct ModeChange {
  int64_t at = 0;
  bool isOn = false;
  bool isRestart = false;  // off and on again
};

// A port that schedules act on. What its mode is at the beginning follows from their firings before
// it; from now on it follows from the mode that the port has.
struct PortWeek {
  SensorPort port;
  std::vector<ModeChange> changes;  // from long before the week until its end
  std::vector<Upcoming> firings;    // of the week

  // None where nothing tells.
  std::optional<bool> isOnAt(int64_t instant) const;
};

struct Week {
  TickTime firstDay;  // in the shown zone
  int64_t from = 0;   // the instants between which it lies
  int64_t until = 0;
  std::vector<PortWeek> ports;
  std::vector<PortWeek> unscheduled;  // ports that no schedule has
};

// schedules must outlive what comes back.
Week weekOf(const std::vector<SensorPort>& ports, const std::vector<Schedule>& schedules,
            const TickTime& firstDay, const ShownAt& at);

// A strip a port, or a line for all ports whose strips are equal; of 84 signs where there is room.
std::string weekText(const Week& week, const PortNames& names, const ShownAt& at,
                     const Screen& screen);
// {"from", "until", "ports": [{"unit", "ifNum", "name", "label", "isOnAtStart", "firings": [{"at",
// "act", "isEnd", "scheduleId", "scheduleName"}]}]}; "isOnAtStart" is null where nothing tells.
JsonPtr weekDocument(const Week& week, const PortNames& names, const ShownAt& at);

#endif
