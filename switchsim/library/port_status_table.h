// What the switch's CLI prints for "show port status all".
#ifndef QUORIN_SWITCHSIM_LIBRARY_PORT_STATUS_TABLE_H
#define QUORIN_SWITCHSIM_LIBRARY_PORT_STATUS_TABLE_H

#include "switchsim/switch/shared_state.h"

namespace switchsim {

// The whole table: a heading, its underline, a line for the management interface, one for each
// physical port and each logical interface, a blank line. Requires the state's lock.
std::string portStatusTable(const SharedState& state, int64_t nowMs);

}  // namespace switchsim

#endif
