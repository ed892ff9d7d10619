// The acts that schedules and boot delays plan for some days, and which act of the switch's journal
// carries out which of them.
#ifndef QUORIN_FORECAST_PLANNED_ACTS_H
#define QUORIN_FORECAST_PLANNED_ACTS_H

#include <cstdint>
#include <vector>

#include "forecast/rehearsal.h"

// A planned act may come so late: other schedules of its minute, with their pauses, may come first.
constexpr int64_t kMaxLateSec = int64_t{15} * 60;

// A firing on one port.
struct PlannedAct {
  SwitchTime at;
  PoePort port;
  Act act = Act::off;
  Firing firing;              // a boot delay's is a restart of no schedule
  bool isSecondHalf = false;  // a restart or a boot delay switches the port on again
  int64_t pauses = 0;         // between ports, before this one
  bool isReported = false;    // a run says that it failed or was skipped
  bool isMet = false;         // an act of the journal carries it out

  const Schedule* schedule() const { return firing.schedule; }
};

// All planned acts of the rehearsal, pointing to its schedules.
std::vector<PlannedAct> plannedActs(const Rehearsal& rehearsal, const Zone& zone);

// For each act of the journal the planned act that it carries out, as a pointer into *planned; null
// for none. Of several it is one that no run reports as failed, then the nearest. A planned act is
// met once.
std::vector<const PlannedAct*> matched(const std::vector<JournalAct>& acts,
                                       std::vector<PlannedAct>* planned);

#endif
