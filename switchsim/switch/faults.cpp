#include "switchsim/switch/faults.h"

#include <algorithm>

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

std::string addFault(const Fault& fault) {
  if (fault.result == 0 && fault.delayMs == 0) {
    return "a fault needs a result other than 0, or a delay";
  }

  std::string error;
  const LockedState state = lockState(&error);
  if (state == nullptr) {
    return error;
  }
  if (fault.ifNum != 0 && portRecord(state.get(), fault.ifNum) == nullptr) {
    return "no port has the ifNum " + std::to_string(fault.ifNum);
  }
  if (state->faultCount == kMaxFaults) {
    return "there are " + std::to_string(kMaxFaults) + " faults already";
  }

  state->faults[state->faultCount] = fault;
  state->faultCount++;
  return "";
}

std::string clearFaults() {
  std::string error;
  const LockedState state = lockState(&error);
  if (state != nullptr) {
    state->faultCount = 0;
  }
  return error;
}

}  // namespace switchsim
