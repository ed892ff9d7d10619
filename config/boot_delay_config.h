// The boot-delay settings: one small JSON file, read whole on every access, replaced atomically on
// every change.
//
// The file holds {"units": {"<unit>": {"delaySec", "executionMode", "interPortDelaySec"}, ...}},
// the unit last written last. What is not such a document reads as one without units, and the next
// set writes a good file. Locks: a mutex of its own around every get and set, never held together
// with a database mutex or a port lock.
#ifndef QUORIN_CONFIG_BOOT_DELAY_CONFIG_H
#define QUORIN_CONFIG_BOOT_DELAY_CONFIG_H

#include <cstdint>

#include "base/execution_mode.h"
#include "rules/boot_delay.h"

// One unit's settings; all 0 for a unit that was never set.
struct BootDelayConfig {
  uint32_t delaySec = 0;  // wait after start before the unit's ports get power; 0: none
  ExecutionMode executionMode = EXECUTION_SIMULTANEOUS;
  uint32_t interPortDelaySec = 0;
};

// Makes the file if there is none. Returns 0, also when it can't be made: the first set tries
// again. REQUIRES: no other thread.
int32_t configStoreInit();

// Reads a unit's settings; what the file does not hold is 0, and nothing is range-checked. Returns
// RESULT_OK, or ERR_INVALID_ARG for a null config. Any thread.
int32_t bootDelayConfigGet(int32_t unit, BootDelayConfig* config);

// Replaces a unit's settings. Returns RESULT_OK; ERR_INVALID_ARG for a null config or a value out
// of range; ERR_GENERAL when the file can't be read or written, which leaves the old one as it was,
// and (logged) when the new one stands but may not survive a power cut. Once RESULT_OK is returned
// the settings survive a power cut. Any thread.
int32_t bootDelayConfigSet(int32_t unit, const BootDelayConfig* config);

#endif
