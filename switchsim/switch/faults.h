// The faults that are set on operations.
#ifndef QUORIN_SWITCHSIM_SWITCH_FAULTS_H
#define QUORIN_SWITCHSIM_SWITCH_FAULTS_H

#include "switchsim/switch/shared_state.h"

namespace switchsim {

struct FaultEffect {
  int32_t result = 0;
  uint32_t delayMs = 0;
};

// What befalls this call, which uses up one of the times of each fault that contributes. ifNum: the
// port that the call is about, or 0. Requires the state's lock.
FaultEffect takeFaults(SharedState* state, Operation operation, uint32_t ifNum);

}  // namespace switchsim

#endif
