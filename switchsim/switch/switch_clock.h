// The switch's clock.
#ifndef QUORIN_SWITCHSIM_SWITCH_SWITCH_CLOCK_H
#define QUORIN_SWITCHSIM_SWITCH_SWITCH_CLOCK_H

#include "switchsim/switch/shared_state.h"

namespace switchsim {

constexpr uint32_t kTimeTextBytes = 20;  // YYYY-MM-DD HH:MM:SS and its zero

// The switch's local time as text; empty when reading the clock fails. Requires the state's lock.
std::string clockText(const ClockRecord& clock);

// The host's time zone, which is the switch's too: minutes from UTC.
int32_t zoneOffsetMinutes();

}  // namespace switchsim

#endif
