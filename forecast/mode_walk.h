// Follows the modes of all ports through a rehearsal, act by act. It tells which ports changed
// when, how long each port was dark, and which windows lost a port to another schedule.
#ifndef QUORIN_FORECAST_MODE_WALK_H
#define QUORIN_FORECAST_MODE_WALK_H

#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

#include "forecast/planned_acts.h"
#include "forecast/rehearsal.h"

// Acts in the same minute belong together.
int64_t minuteOf(int64_t instant);

struct DarkStretch {
  PoePort port;
  SwitchTime from;
  std::optional<SwitchTime> until;  // none: it lasts
  const Schedule* schedule = nullptr;
  bool wasSo = false;  // the port was dark already when the rehearsal began
};

// A window that wants a port on or off from one instant to another.
struct Window {
  const Schedule* schedule = nullptr;
  Act act = Act::off;
  SwitchTime from;
  SwitchTime until;
  bool isEnded = false;  // something switches the port then
};

// A port was switched against an open window.
struct Undoing {
  PoePort port;
  SwitchTime at;
  Window window;
  const Schedule* undoer = nullptr;  // null: the boot delay
};

class ModeWalk {
 public:
  // Begins with the modes that the ports have when the rehearsal begins, and with the windows that
  // are open then. The rehearsal and the zone are borrowed; results point to the rehearsal's
  // schedules.
  ModeWalk(const Rehearsal& rehearsal, const Zone& zone);

  // The next act of the journal. cause: the planned act that it carries out; null for none.
  void pass(const JournalAct& act, const PlannedAct* cause);

  const std::vector<PortChange>& changes() const { return changes_; }
  bool isOnInTheEnd(const PoePort& port) const { return ports_.at(port).isOn; }
  // Whether a window that was open at the beginning, or is at the end, has the port as it was or
  // is: its mode then is no surprise.
  bool isInWindow(const PoePort& port) const;
  // Leaves out those that were put right again before the window's end.
  std::vector<Undoing> undoings() const;
  // Also those that have not ended.
  std::vector<DarkStretch> darkStretches() const;

 private:
  struct PortState {
    bool isOn = true;
    bool beganInWindow = false;
    DarkStretch dark;                     // while it is off
    const PlannedAct* restart = nullptr;  // that switched it off
    size_t change = 0;                    // of that restart
    std::vector<Window> windows;          // that are open
    std::vector<Undoing> undoings;
  };

  static bool endsRestart(const PlannedAct* cause, const PortState& port);
  static void noteUndoing(const JournalAct& act, const PlannedAct* cause, PortState* port);
  void switchOff(const JournalAct& act, const PlannedAct* cause, PortState* port);
  void switchOn(const JournalAct& act, const PlannedAct* cause, PortState* port);
  size_t changeOf(const JournalAct& act, const PlannedAct* cause, Act shown);

  const Zone& zone_;
  const std::vector<Schedule>& schedules_;
  const SwitchTime until_;
  std::map<PoePort, PortState> ports_;
  std::vector<PortChange> changes_;
  std::map<std::tuple<int64_t, int32_t, const Schedule*, bool, bool, Act>, size_t> places_;
  std::vector<DarkStretch> dark_;
};

#endif
