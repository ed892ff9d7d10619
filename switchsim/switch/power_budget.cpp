#include "switchsim/switch/power_budget.h"

#include <algorithm>
#include <array>

#include "switchsim/switch/port_model.h"

namespace switchsim {
namespace {

bool comesFirst(const PortRecord* a, const PortRecord* b) {
  return a->settings.priority != b->settings.priority ? a->settings.priority > b->settings.priority
                                                      : a->ifNum < b->ifNum;
}

void setDenied(PortRecord* port, bool isDenied, int64_t nowMs) {
  if (port->isDenied != 0 && !isDenied) {
    restartDetection(port, nowMs);
  }
  port->isDenied = isDenied ? 1 : 0;
}

}  // namespace

bool wantsPower(const PortRecord& port) {
  const uint32_t neededMw = fullMw(port.device);
  return port.poe != 0 && port.adminOn != 0 && neededMw != 0 && neededMw <= port.settings.limitMw &&
         (port.statusHeld == 0 || port.heldStatus == kDelivering);
}

bool hasShare(const PortRecord& port) {
  return wantsPower(port) && port.isDenied == 0;
}

// Without memory of its own: it runs inside calls that must not fail for want of it.
void shareBudget(SharedState* state, uint32_t unit, int64_t nowMs) {
  if (state->budgetMw == 0) {
    return;
  }
  std::array<PortRecord*, kMaxPortsPerUnit> ports{};
  size_t count = 0;
  for (PortRecord& port : portsOf(state)) {
    if (port.place.unit == unit) {
      ports[count++] = &port;
    }
  }
  std::sort(ports.begin(), ports.begin() + count, comesFirst);

  uint32_t leftMw = state->budgetMw;
  for (size_t i = 0; i < count; i++) {
    const uint32_t neededMw = wantsPower(*ports[i]) ? fullMw(ports[i]->device) : 0;
    setDenied(ports[i], neededMw > leftMw, nowMs);
    leftMw -= neededMw > leftMw ? 0 : neededMw;
  }
}

}  // namespace switchsim
