#include "switchsim/switch/faults.h"

#include <algorithm>

#include "cli/failure.h"
#include "switchsim/switch/port_model.h"

namespace switchsim {
namespace {

// Returns whether the fault has befallen its last call.
bool useUp(Fault* fault) {
  if (fault->times == 0) {
    return false;
  }
  fault->times--;
  return fault->times == 0;
}

void removeFault(SharedState* state, uint32_t index) {
  std::copy(state->faults + index + 1, state->faults + state->faultCount, state->faults + index);
  state->faultCount--;
}

}  // namespace

FaultEffect takeFaults(SharedState* state, Operation operation, uint32_t ifNum) {
  FaultEffect effect;
  uint32_t index = 0;
  while (index < state->faultCount) {
    Fault* fault = &state->faults[index];
    const bool matches =
        fault->operation == operation && (fault->ifNum == 0 || fault->ifNum == ifNum);
    const bool contributes =
        (effect.result == 0 && fault->result != 0) || (effect.delayMs == 0 && fault->delayMs != 0);
    if (matches && contributes) {
      if (effect.result == 0) {
        effect.result = fault->result;
      }
      if (effect.delayMs == 0) {
        effect.delayMs = fault->delayMs;
      }
      if (useUp(fault)) {
        removeFault(state, index);
        continue;
      }
    }
    index++;
  }

  return effect;
}

void addFault(const Fault& fault) {
  if (fault.result == 0 && fault.delayMs == 0) {
    fail("a fault needs a result other than 0, or a delay");
  }
  const LockedState state = lockedState();
  if (fault.ifNum != 0) {
    requirePort(state.get(), fault.ifNum);
  }
  if (state->faultCount == kMaxFaults) {
    fail("there are " + std::to_string(kMaxFaults) + " faults already");
  }
  state->faults[state->faultCount] = fault;
  state->faultCount++;
}

void clearFaults() {
  lockedState()->faultCount = 0;
}

}  // namespace switchsim
