// What must be done to ports while schedules run for some days, and which of the acts that were
// done is which of it.
#ifndef QUORIN_FORECAST_PLANNED_ACTS_H
#define QUORIN_FORECAST_PLANNED_ACTS_H

#include <cstdint>
#include <utility>
#include <vector>

#include "forecast/rehearsal.h"

// How late an act may come that was planned: others of its minute, with their pauses, come first.
constexpr int64_t kMaxLateSec = int64_t{15} * 60;

// A firing on one port.
struct PlannedAct {
  SwitchTime at;
  PoePort port;
  Act act = Act::off;
  Firing firing;              // a boot delay's is a restart of no schedule
  bool isSecondHalf = false;  // switches on what a restart or a boot delay switched off
  int64_t pauses = 0;         // between ports, before this one
  bool isReported = false;    // a run tells already that it was not done
  bool isMet = false;

  const Schedule* schedule() const { return firing.schedule; }
};

// All that the rehearsal's schedules and boot delays do to ports in its time; schedules are pointed
// to.
std::vector<PlannedAct> plannedActs(const Rehearsal& rehearsal, const Zone& zone);

// For each act the planned one that it carries out: the nearest that no earlier act has met, and
// that is met now; one of which no run tells that it was not done comes first. Null for none.
// Points into *planned.
std::vector<const PlannedAct*> matched(const std::vector<JournalAct>& acts,
                                       std::vector<PlannedAct>* planned);

#endif
