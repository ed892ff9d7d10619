// The boot delay of a unit, for its command and for import.
#ifndef QUORIN_CLIENT_COMMANDS_BOOTDELAY_H
#define QUORIN_CLIENT_COMMANDS_BOOTDELAY_H

#include <string>

#include "client/model.h"

// Throws what Daemon::ask throws.
void setBootDelay(Daemon& daemon, const BootDelay& bootDelay);

// "none", "60 s", "60 s, then one port every 5 s".
std::string bootDelayText(const BootDelay& bootDelay);

// {"unit", "delaySec", "executionMode", "interPortDelaySec"}.
JsonPtr bootDelayJson(const BootDelay& bootDelay);

bool isSameBootDelay(const BootDelay& a, const BootDelay& b);

#endif
