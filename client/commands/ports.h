// What ports shows, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_PORTS_H
#define QUORIN_CLIENT_COMMANDS_PORTS_H

#include <string>
#include <vector>

#include "client/model.h"
#include "client/table.h"

std::string portsText(const std::vector<SensorPort>& ports, const PortNames& names,
                      const Screen& screen);
// {"ports": [{"unit", "ifNum", "name", "label", ...}]}, the daemon's keys as they are.
JsonPtr portsJson(const std::vector<SensorPort>& ports, const PortNames& names);

// "12.9 W".
std::string wattsText(int64_t milliwatts);

#endif
