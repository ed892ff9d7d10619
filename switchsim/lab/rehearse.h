// Rehearses schedules: a lab that goes with the function lives through days of them.
#ifndef QUORIN_SWITCHSIM_LAB_REHEARSE_H
#define QUORIN_SWITCHSIM_LAB_REHEARSE_H

#include <functional>
#include <vector>

#include "cli/times.h"
#include "forecast/rehearsal.h"
#include "switchsim/switch/shared_state.h"

namespace switchsim {

struct RehearsalPlan {
  std::vector<Schedule> schedules;
  std::vector<BootDelay> bootDelays;
  bool withBoot = false;          // it begins with a start of the switch
  std::vector<PortRecord> ports;  // as they are now
  SwitchTime now;
  SwitchTime from;   // a whole minute, later than now
  SwitchTime until;  // a whole minute, later than from
};

// What was done, and what the daemon recorded of it. passing is told the lab's time as it goes, and
// ends all of it by what it throws. Throws Failure. Leaves nothing behind.
Rehearsal rehearse(const RehearsalPlan& plan, const std::function<void(SwitchTime)>& passing);

}  // namespace switchsim

#endif
