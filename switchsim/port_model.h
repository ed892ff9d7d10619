// How a port behaves: what its readings are, and what its name is.
#ifndef QUORIN_SWITCHSIM_PORT_MODEL_H
#define QUORIN_SWITCHSIM_PORT_MODEL_H

#include "switchsim/shared_state.h"

namespace switchsim {

// Everything about a port of the switch at this monotonic time. The readings agree with each other.
// Requires a known ifNum and the state's lock.
PortView viewPort(const SharedState& state, uint32_t ifNum, int64_t nowMs);

// The port's record; null for an unknown ifNum. Requires the state's lock.
PortRecord* portRecord(SharedState* state, uint32_t ifNum);

uint32_t portCount(const SwitchOptions& options);
uint32_t unitOf(const SwitchOptions& options, uint32_t ifNum);
std::string portName(const SwitchOptions& options, uint32_t ifNum);
// The port that the switch prints under exactly this name.
std::optional<uint32_t> portNamed(const SwitchOptions& options, std::string_view name);

// Switches an existing port on or off. One that is on already goes on undisturbed.
void switchPort(PortRecord* port, bool on, int64_t nowMs);
// Takes the port's power away until it has detected its device again.
void restartDetection(PortRecord* port, int64_t nowMs);

// Makes all ports of a switch with these options: as they are long after a start, with devices on
// some of them.
void makePorts(SharedState* state, const SwitchOptions& options, int64_t nowMs);

}  // namespace switchsim

#endif
