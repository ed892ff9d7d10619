// Who gets power where a unit has less than its ports ask for.
#ifndef QUORIN_SWITCHSIM_SWITCH_POWER_BUDGET_H
#define QUORIN_SWITCHSIM_SWITCH_POWER_BUDGET_H

#include "switchsim/switch/shared_state.h"

namespace switchsim {

// Whether nothing but the budget keeps the port from delivering, now or after its detection.
bool wantsPower(const PortRecord& port);
// Whether it also has its share of the budget.
bool hasShare(const PortRecord& port);

// Shares the budget of the unit out anew: in the order of priority and then of ifNum, each port
// that wants power gets the full power of its device reserved if that is left, and is denied
// otherwise. A port that was denied and has a share now detects its device anew. To be called after
// every change of a port; who is killed before that leaves the old shares until the unit's next
// change. Requires the state's lock.
void shareBudget(SharedState* state, uint32_t unit, int64_t nowMs);

}  // namespace switchsim

#endif
