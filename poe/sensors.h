// The readings and settings of all PoE ports of a unit.
#ifndef QUORIN_POE_SENSORS_H
#define QUORIN_POE_SENSORS_H

#include <cstdint>

#include "base/json.h"

// Sets *document to {"ports": [...]}, one object per PoE port in the order of the switch's port
// table; a value that the switch OS does not give has no key. Returns RESULT_OK, ERR_INVALID_ARG
// for a null document, or ERR_GENERAL when memory runs out, with *document untouched. Locks: the
// process-wide sensors lock for the whole build, and the enumeration lock under it.
int32_t sensorsAll(uint32_t unit, JsonPtr* document);

#endif
