// How a port behaves: which it is, what its readings are, what a change of it brings about.
#ifndef QUORIN_SWITCHSIM_SWITCH_PORT_MODEL_H
#define QUORIN_SWITCHSIM_SWITCH_PORT_MODEL_H

#include "switchsim/switch/power_budget.h"
#include "switchsim/switch/shared_state.h"

namespace switchsim {

// Ports of the state, for range loops.
template <typename Record>
struct PortRange {
  Record* first;
  uint32_t count;
  Record* begin() const { return first; }
  Record* end() const { return first + count; }
};

// All of the following require the state's lock.

// As the switch prints them.
inline PortRange<PortRecord> portsOf(SharedState* state) {
  return {state->ports, state->portCount};
}
inline PortRange<const PortRecord> portsOf(const SharedState& state) {
  return {state.ports, state.portCount};
}

// The port's record; null for an unknown ifNum.
const PortRecord* portRecord(const SharedState& state, uint32_t ifNum);
PortRecord* portRecord(SharedState* state, uint32_t ifNum);
// Throws Failure for an unknown ifNum.
PortRecord* requirePort(SharedState* state, uint32_t ifNum);

// The ifNum of the port that the switch prints under exactly this name.
std::optional<uint32_t> portNamed(const SharedState& state, const char* name);

// Everything about a port at this monotonic time. The readings agree with each other.
PortView viewPort(const PortRecord& port, int64_t nowMs);

// Lets change(port) alter the port, and then happen what that brings about: the unit's budget is
// shared out anew, and a port that is switched on or comes to power detects its device first.
template <typename Change>
void alterPort(SharedState* state, PortRecord* port, int64_t nowMs, const Change& change);
// Switches a port on or off. One that is on already goes on undisturbed.
void switchPort(SharedState* state, PortRecord* port, bool on, int64_t nowMs);
// Takes the port's power away until it has detected its device again.
void restartDetection(PortRecord* port, int64_t nowMs);

// The ports of a fresh switch with these options: all on, with devices on some of them.
std::vector<PortRecord> freshPorts(const SwitchOptions& options);
// Gives the state, which has none, these ports, as they are long after a start.
void placePorts(SharedState* state, const std::vector<PortRecord>& ports, int64_t nowMs);

template <typename Change>
void alterPort(SharedState* state, PortRecord* port, int64_t nowMs, const Change& change) {
  const bool wasOn = port->adminOn != 0;
  const bool hadShare = hasShare(*port);
  change(port);
  shareBudget(state, port->place.unit, nowMs);
  if ((!wasOn && port->adminOn != 0) || (!hadShare && hasShare(*port))) {
    restartDetection(port, nowMs);
  }
}

}  // namespace switchsim

#endif
