// What can be asked of PoE ports one at a time, and which ports belong to a unit. No function here
// takes a port lock.
#ifndef QUORIN_POE_PORT_ACTIONS_H
#define QUORIN_POE_PORT_ACTIONS_H

#include <cstdint>
#include <vector>

// Has the switch OS switch a port's PoE on (enable non-zero) or off. Returns the switch OS's own
// code, OPENCLT_OK when it is done. The one place where a port's PoE is turned on or off; the
// switch's own port reset is the executor's.
int32_t poePortSwitch(uint32_t ifNum, int32_t enable);

// The same with a result code of the daemon. Returns RESULT_OK, ERR_INVALID_ARG when the switch OS
// rejects the argument, ERR_NOT_FOUND when the port's state does not allow it, or ERR_GENERAL.
int32_t poePortAdminSet(uint32_t ifNum, int32_t enable);

// The unit's PoE ports whose PoE is enabled, at most capacity of them, in the order of the switch's
// port table. Empty for a unit or capacity below 1. Takes the enumeration lock. Throws
// std::bad_alloc.
std::vector<uint32_t> poeUnitEnabledPortsGet(int32_t unit, int32_t capacity);

// Whether every port is a PoE port of the unit: 0, or -1 with the first that is not in *badIfNum
// (which may be null). 0 for a count or unit below 1 and for a null array.
int32_t poePortsCheckUnit(int32_t unit, const uint32_t* ifNums, int32_t count, uint32_t* badIfNum);

#endif
