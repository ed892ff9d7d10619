// The journal of what was done to the ports.
#ifndef QUORIN_SWITCHSIM_SWITCH_JOURNAL_H
#define QUORIN_SWITCHSIM_SWITCH_JOURNAL_H

#include "switchsim/switch/shared_state.h"

namespace switchsim {

// Appends an entry stamped with the time now, over the oldest when the journal is full. Requires
// the state's lock.
void appendJournal(SharedState* state, Operation operation, uint32_t ifNum, uint32_t value,
                   int32_t result);

}  // namespace switchsim

#endif
