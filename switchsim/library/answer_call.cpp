#include "switchsim/library/answer_call.h"

#include <exception>

#include "cli/lab_clock.h"
#include "switchos/openclt.h"
#include "switchsim/switch/faults.h"
#include "switchsim/switch/journal.h"
#include "switchsim/switch/port_model.h"

namespace switchsim {
namespace {

bool isMisuse(const SharedState& state, const Call& call) {
  if (!call.argumentsValid) {
    return true;
  }
  const PortRecord* port = portRecord(state, call.ifNum);
  if (port == nullptr) {
    return call.portMustExist;
  }
  return call.unit && *call.unit != static_cast<int32_t>(port->place.unit);
}

int32_t admitCall(SharedState* state, const Call& call) {
  if (isMisuse(*state, call)) {
    state->misuseCount++;
    state->lastMisuse = call.operation;
    return OPENCLT_INVALID_ARGUMENT;
  }
  return needsServer(call.operation) && state->serverDown != 0 ? kCallFailed : OPENCLT_OK;
}

// What the client library does by itself succeeds without a switch.
int32_t resultWithoutSwitch(const Call& call) {
  if (!call.argumentsValid) {
    return OPENCLT_INVALID_ARGUMENT;
  }
  return needsServer(call.operation) ? kCallFailed : OPENCLT_OK;
}

// The port that the call is about; 0: none.
uint32_t portOf(const SharedState& state, const Call& call) {
  return call.portName == nullptr ? call.ifNum : portNamed(state, call.portName).value_or(0);
}

int32_t answerOnSwitch(const Call& call, const CallWork& work) {
  LockedState state = lockState();
  if (state == nullptr) {
    return resultWithoutSwitch(call);
  }

  int32_t result = admitCall(state.get(), call);
  if (result == OPENCLT_OK) {
    const FaultEffect effect = takeFaults(state.get(), call.operation, portOf(*state, call));
    if (effect.delayMs != 0) {
      state.reset();
      systemSleepMs(effect.delayMs);
      state = lockState();
      if (state == nullptr) {
        return resultWithoutSwitch(call);
      }
      // Meanwhile it may have become another switch.
      result = admitCall(state.get(), call);
    }
    if (result == OPENCLT_OK) {
      result = effect.result;
    }
  }
  if (result == OPENCLT_OK) {
    result = work(state.get());
  }
  if (call.newMode) {
    appendJournal(state.get(), call.operation, call.ifNum, *call.newMode, result);
  }

  return result;
}

}  // namespace

int32_t answerCallWith(const Call& call, const CallWork& work) noexcept {
  try {
    return answerOnSwitch(call, work);
  } catch (const std::exception&) {  // out of memory
    return kCallFailed;
  }
}

}  // namespace switchsim
