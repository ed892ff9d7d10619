#include "switchsim/switch_state.h"

#include <unistd.h>

#include <cmath>
#include <cstddef>
#include <cstring>

#include "switchsim/journal.h"
#include "switchsim/port_model.h"
#include "switchsim/shared_state.h"
#include "switchsim/switch_clock.h"

namespace switchsim {
namespace {

// The options come last: whoever is killed before that leaves a switch without ports, not one with
// wrong ones.
void resetSwitch(SharedState* state, const SwitchOptions& options) {
  constexpr size_t kStart = offsetof(SharedState, options);
  memset(reinterpret_cast<char*>(state) + kStart, 0, sizeof(SharedState) - kStart);
  makePorts(state, options, monotonicMs());
  state->options = options;
}

// Lets `change` alter the record of a PoE port under the lock.
template <typename Change>
std::string changePort(uint32_t ifNum, Change change) {
  std::string error;
  const LockedState state = lockState(&error);
  if (state == nullptr) {
    return error;
  }

  PortRecord* port = portRecord(state.get(), ifNum);
  if (port == nullptr) {
    return "no port has the ifNum " + std::to_string(ifNum);
  }
  if (port->poe == 0) {
    return "port " + portName(state->options, ifNum) + " has no PoE";
  }

  change(state.get(), port);
  return "";
}

// The ifNum that the string means on this switch; otherwise *error says why there is none.
std::optional<uint32_t> resolvePort(const SwitchOptions& options, const std::string& text,
                                    std::string* error) {
  const bool isNumber = !text.empty() && text.size() <= 9 &&
                        text.find_first_not_of("0123456789") == std::string::npos;
  if (isNumber) {
    const unsigned long ifNum = std::stoul(text);
    if (ifNum >= 1 && ifNum <= portCount(options)) {
      return static_cast<uint32_t>(ifNum);
    }
  }

  SwitchOptions printing = options;
  printing.names = NameForm::unitSlotPort;
  if (const auto ifNum = portNamed(printing, text)) {
    return ifNum;
  }

  printing.names = NameForm::slotPort;
  const auto onFirstUnit = portNamed(printing, text);
  if (onFirstUnit && options.units == 1) {
    return onFirstUnit;
  }

  *error = onFirstUnit
               ? "port " + text + " could be on any unit: put the unit before it, as in 1/" + text
               : "no port is called \"" + text +
                     "\": a port is an ifNum such as 5 or a name such as 1/0/5";
  return std::nullopt;
}

}  // namespace

std::string checkOptions(const SwitchOptions& options) {
  if (options.units < 1 || options.units > kMaxUnits) {
    return "a switch has 1 to 8 units";
  }
  if (options.portsPerUnit < 1 || options.portsPerUnit > kMaxPortsPerUnit) {
    return "a unit has 1 to 128 ports";
  }
  if (options.poePortsPerUnit > options.portsPerUnit) {
    return "a unit has no more PoE ports than ports";
  }
  if (options.names == NameForm::slotPort && options.units > 1) {
    return "names such as 0/5 tell the ports of a single unit apart; more units need names such as "
           "1/0/5";
  }
  return "";
}

std::string createSwitch(const SwitchOptions& options, bool force) {
  std::string reason = checkOptions(options);
  if (!reason.empty()) {
    return reason;
  }

  const std::string path = statePath();
  const LockedState state = lockState(&reason);
  if (state == nullptr) {
    return access(path.c_str(), F_OK) == 0 ? reason : makeStateFile(resetSwitch, options);
  }
  if (!force) {
    return "there is a switch at " + path + " already; --force resets it";
  }

  resetSwitch(state.get(), options);
  return "";
}

std::optional<SwitchView> viewSwitch(std::string* error) {
  const LockedState state = lockState(error);
  if (state == nullptr) {
    return std::nullopt;
  }

  SwitchView view;
  view.options = state->options;
  const int64_t nowMs = monotonicMs();
  for (uint32_t ifNum = 1; ifNum <= portCount(state->options); ifNum++) {
    view.ports.push_back(viewPort(*state, ifNum, nowMs));
  }

  view.serverUp = state->serverDown == 0;
  view.clock = ClockView{state->clock.mode, clockText(state->clock)};
  view.faults.assign(state->faults, state->faults + state->faultCount);
  view.misuseCount = state->misuseCount;
  if (state->misuseCount > 0) {
    view.lastMisuse = operationName(state->lastMisuse);
  }

  view.crashlogCount = state->crashlogCount;
  view.lastClientName = state->lastClientName;
  return view;
}

std::optional<PortView> portView(uint32_t ifNum) {
  const LockedState state = lockState();
  if (state == nullptr || portRecord(state.get(), ifNum) == nullptr) {
    return std::nullopt;
  }
  return viewPort(*state, ifNum, monotonicMs());
}

std::optional<uint32_t> findPort(const std::string& text, std::string* error) {
  const LockedState state = lockState(error);
  return state == nullptr ? std::nullopt : resolvePort(state->options, text, error);
}

std::string setAdmin(uint32_t ifNum, bool on) {
  return changePort(ifNum, [&](SharedState* state, PortRecord* port) {
    switchPort(port, on, monotonicMs());
    appendJournal(state, Operation::cliSet, ifNum, on ? 1 : 0, 0);
  });
}

// False for a NaN too.
bool isDeviceWatts(double watts) {
  return watts >= 0.001 && watts <= 90;
}

std::string setDevice(uint32_t ifNum, std::optional<double> watts) {
  if (watts && !isDeviceWatts(*watts)) {
    return "a device takes more than 0 and at most 90 W";
  }
  const uint32_t deviceMw = watts ? static_cast<uint32_t>(std::lround(*watts * 1000)) : 0;
  return changePort(ifNum, [&](SharedState*, PortRecord* port) {
    if (deviceMw != 0) {
      restartDetection(port, monotonicMs());
    }
    port->deviceMw = deviceMw;
  });
}

std::string setPortSettings(uint32_t ifNum, const PortSettings& settings) {
  return changePort(ifNum, [&](SharedState*, PortRecord* port) { port->settings = settings; });
}

std::string holdStatus(uint32_t ifNum, std::optional<uint32_t> status) {
  return changePort(ifNum, [&](SharedState*, PortRecord* port) {
    port->statusHeld = status ? 1 : 0;
    port->heldStatus = status.value_or(0);
  });
}

std::string setServerUp(bool up) {
  std::string error;
  const LockedState state = lockState(&error);
  if (state != nullptr) {
    state->serverDown = up ? 0 : 1;
  }
  return error;
}

ClockReads clockReads() {
  const LockedState state = lockState();
  return state == nullptr ? ClockReads{} : ClockReads{state->clockReadMs, state->clockReadBeforeMs};
}

uint64_t misuseCount() {
  const LockedState state = lockState();
  return state == nullptr ? 0 : state->misuseCount;
}

}  // namespace switchsim
