// What must be done to ports while schedules run for some days, and which of the acts that were
// done is which of it.
#ifndef QUORIN_FORECAST_PLANNED_ACTS_H
#define QUORIN_FORECAST_PLANNED_ACTS_H

#include <cstdint>
#include <utility>
#include <vector>

#include "forecast/rehearsal.h"

using Port = std::pair<int32_t, uint32_t>;  // unit and ifNum

// How late an act may come that was foretold: others of its minute, with their pauses, come first.
constexpr int64_t kMaxLateSec = int64_t{15} * 60;

// An act on one port.
struct Foretold {
  int64_t at = 0;
  Port port;
  Act act = Act::off;
  Firing firing;                       // a boot delay's is a restart
  const Schedule* schedule = nullptr;  // null: the boot delay
  bool isSecondHalf = false;           // switches on what a restart or a boot delay switched off
  int64_t pauses = 0;                  // between ports, before this one
  bool isTold = false;                 // a run tells already that it was not done
  bool isMet = false;
};

// All that the rehearsal's schedules and boot delays do to ports in its time; schedules are pointed
// to.
std::vector<Foretold> foretoldBy(const Rehearsal& rehearsal, const Zone& zone);

// For each act what it was foretold by, the nearest that no earlier act has met, and that is met
// now; one of which no run tells that it was not done comes first. Null for none. Points into the
// foretold.
std::vector<const Foretold*> matched(const std::vector<PortAct>& acts,
                                     std::vector<Foretold>* foretold);

#endif
