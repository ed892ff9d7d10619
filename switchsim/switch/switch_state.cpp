#include "switchsim/switch/switch_state.h"

#include <unistd.h>

#include <cstddef>
#include <cstring>

#include "cli/failure.h"
#include "switchsim/switch/journal.h"
#include "switchsim/switch/port_model.h"
#include "switchsim/switch/shared_state.h"
#include "switchsim/switch/switch_clock.h"

namespace switchsim {
namespace {

void resetSwitch(SharedState* state, const std::vector<PortRecord>& ports, uint32_t budgetMw) {
  constexpr size_t kStart = offsetof(SharedState, portCount);
  memset(reinterpret_cast<char*>(state) + kStart, 0, sizeof(SharedState) - kStart);
  state->budgetMw = budgetMw;
  placePorts(state, ports, monotonicMs());
}

// Lets `change` alter the record of a PoE port under the lock.
template <typename Change>
void changePort(uint32_t ifNum, Change change) {
  const LockedState state = lockedState();
  PortRecord* port = requirePort(state.get(), ifNum);
  if (port->poe == 0) {
    fail("port " + nameOf(port->place) + " has no PoE");
  }
  alterPort(state.get(), port, monotonicMs(),
            [&](PortRecord* altered) { change(state.get(), altered); });
}

// The ports that have the place's slot and number: on its unit if the text named one, else on any.
std::vector<uint32_t> portsAt(const SharedState& state, const PortPlace& place) {
  std::vector<uint32_t> ifNums;
  for (const PortRecord& port : portsOf(state)) {
    const bool isOnUnit = place.form == NameForm::slotPort || port.place.unit == place.unit;
    if (isOnUnit && port.place.slot == place.slot && port.place.number == place.number) {
      ifNums.push_back(port.ifNum);
    }
  }
  return ifNums;
}

uint32_t resolvePort(const SharedState& state, const std::string& text) {
  const bool isNumber = !text.empty() && text.size() <= 9 &&
                        text.find_first_not_of("0123456789") == std::string::npos;
  if (isNumber && portRecord(state, static_cast<uint32_t>(std::stoul(text))) != nullptr) {
    return static_cast<uint32_t>(std::stoul(text));
  }
  if (const auto ifNum = portNamed(state, text.c_str())) {
    return *ifNum;
  }

  const std::optional<PortPlace> place = placeNamed(text.c_str());
  const std::vector<uint32_t> found = place ? portsAt(state, *place) : std::vector<uint32_t>();
  if (found.size() == 1) {
    return found.front();
  }
  fail(found.size() > 1
           ? "port " + text + " could be on any unit: put the unit before it, as in 1/" + text
           : "no port is called \"" + text +
                 "\": a port is an ifNum such as 5 or a name such as 1/0/5");
}

void addToView(const PortView& port, SwitchView* view) {
  if (view->units.empty() || view->units.back().unit != port.place.unit) {
    view->units.push_back({port.place.unit, 0, 0});
  }
  UnitView* unit = &view->units.back();
  unit->powerMw += port.powerMw;
  unit->reservedMw += port.hasShare ? port.deviceMw : 0;
  view->ports.push_back(port);
}

// What is wrong with the options; empty: nothing.
std::string mistakeIn(const SwitchOptions& options) {
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

}  // namespace

void createSwitch(const SwitchOptions& options, bool force) {
  const std::string mistake = mistakeIn(options);
  if (!mistake.empty()) {
    throw Failure(kExitUsage, mistake);
  }
  createSwitch(freshPorts(options), options.budgetMw, force);
}

void createSwitch(const std::vector<PortRecord>& ports, uint32_t budgetMw, bool force) {
  const std::string path = statePath();
  if (access(path.c_str(), F_OK) != 0) {
    makeStateFile([&](SharedState* made) { resetSwitch(made, ports, budgetMw); });
    return;
  }
  const LockedState state = lockedState();
  if (!force) {
    fail("there is a switch at " + path + " already; --force resets it");
  }
  resetSwitch(state.get(), ports, budgetMw);
}

SwitchView viewSwitch() {
  const LockedState state = lockedState();
  SwitchView view;
  view.budgetMw = state->budgetMw;
  const int64_t nowMs = monotonicMs();
  for (const PortRecord& port : portsOf(*state)) {
    addToView(viewPort(port, nowMs), &view);
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

PortView portView(uint32_t ifNum) {
  const LockedState state = lockedState();
  return viewPort(*requirePort(state.get(), ifNum), monotonicMs());
}

uint32_t findPort(const std::string& text) {
  return resolvePort(*lockedState(), text);
}

void setAdmin(uint32_t ifNum, bool on) {
  changePort(ifNum, [&](SharedState* state, PortRecord* port) {
    port->adminOn = on ? 1 : 0;
    appendJournal(state, Operation::cliSet, ifNum, on ? 1 : 0, 0);
  });
}

void setDevice(uint32_t ifNum, const Device& device) {
  changePort(ifNum, [&](SharedState*, PortRecord* port) {
    restartDetection(port, monotonicMs());
    port->device = device;
  });
}

void setPriority(uint32_t ifNum, uint32_t priority) {
  changePort(ifNum, [&](SharedState*, PortRecord* port) { port->settings.priority = priority; });
}

void setPortSettings(uint32_t ifNum, const PortSettings& settings) {
  changePort(ifNum, [&](SharedState*, PortRecord* port) { port->settings = settings; });
}

void holdStatus(uint32_t ifNum, std::optional<uint32_t> status) {
  changePort(ifNum, [&](SharedState*, PortRecord* port) {
    port->statusHeld = status ? 1 : 0;
    port->heldStatus = status.value_or(0);
  });
}

void setServerUp(bool up) {
  lockedState()->serverDown = up ? 0 : 1;
}

void passTime(int64_t milliseconds) {
  const LockedState state = lockedState();
  for (PortRecord& port : portsOf(state.get())) {
    port.detectionStartMs -= milliseconds;
  }
  if (state->clock.mode == ClockMode::running) {
    state->clock.hostMs -= milliseconds;
  }
}

uint64_t misuseCount() {
  const LockedState state = lockState();
  return state == nullptr ? 0 : state->misuseCount;
}

}  // namespace switchsim
