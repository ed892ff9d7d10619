// Follows the modes of all ports through a rehearsal, from act to act: the changes, the times in
// which a port was dark, and what windows wanted and did not get.
#ifndef QUORIN_FORECAST_MODE_WALK_H
#define QUORIN_FORECAST_MODE_WALK_H

#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

#include "forecast/planned_acts.h"
#include "forecast/rehearsal.h"

// By which acts are told apart.
int64_t minuteOf(int64_t instant);

struct DarkStretch {
  PoePort port;
  SwitchTime from;
  std::optional<SwitchTime> until;  // none: it lasts
  const Schedule* schedule = nullptr;
  bool wasSo = false;  // from before the beginning on
};

// What a window wants of a port.
struct Window {
  const Schedule* schedule = nullptr;
  Act act = Act::off;
  SwitchTime from;
  SwitchTime until;
};

// That it was not so any more.
struct Undoing {
  PoePort port;
  SwitchTime at;
  Window window;
  const Schedule* undoer = nullptr;  // null: the boot delay
};

class ModeWalk {
 public:
  // Begins with the modes of before, and with the windows that are open then. What is given is
  // borrowed, and what comes back points to the rehearsal's schedules.
  ModeWalk(const Rehearsal& rehearsal, const Zone& zone);

  // The next act. cause: what planned it; null for nothing.
  void pass(const JournalAct& act, const PlannedAct* cause);

  const std::vector<PortChange>& changes() const { return changes_; }
  bool isOnInTheEnd(const PoePort& port) const { return ports_.at(port).isOn; }
  // Without what was put back before the window's end.
  std::vector<Undoing> undoings() const;
  // Those that have ended, and those that last.
  std::vector<DarkStretch> darkStretches() const;

 private:
  struct PortState {
    bool isOn = true;
    DarkStretch dark;                     // while it is off
    const PlannedAct* restart = nullptr;  // that switched it off
    size_t change = 0;                    // of that restart
    std::vector<Window> windows;          // that are open
    std::vector<Undoing> undoings;
  };

  static bool endsRestart(const PlannedAct* cause, const PortState& port);
  static int64_t darkOf(const PortState& port, const JournalAct& back, const PlannedAct& cause);
  static void noteUndoing(const JournalAct& act, const PlannedAct* cause, PortState* port);
  void switchOff(const JournalAct& act, const PlannedAct* cause, PortState* port);
  void switchOn(const JournalAct& act, const PlannedAct* cause, PortState* port);
  size_t changeOf(const JournalAct& act, const PlannedAct* cause, Act shown);

  const Zone& zone_;
  std::map<PoePort, PortState> ports_;
  std::vector<PortChange> changes_;
  std::map<std::tuple<int64_t, int32_t, const Schedule*, bool, bool, Act>, size_t> places_;
  std::vector<DarkStretch> dark_;
};

#endif
