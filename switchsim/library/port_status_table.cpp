#include "switchsim/library/port_status_table.h"

#include <cstdio>

#include "switchsim/switch/port_model.h"

namespace switchsim {
namespace {

constexpr const char* kHeading =
    "                    Admin     Link    Speed and     Flow      Media\n"
    "Interface           State     State   Duplex        Control   Type\n"
    "------------------  --------  ------  ------------  --------  --------\n";

std::string tableLine(const std::string& name, bool up, const char* speed, const char* media) {
  char line[128];
  snprintf(line, sizeof(line), "%-18s  %-8s  %-6s  %-12s  %-8s  %s\n", name.c_str(), "Enabled",
           up ? "Up" : "Down", up ? speed : "", "Off", media);
  return line;
}

std::string physicalLine(const PortView& port) {
  // A port without PoE is an uplink; every other one has a fibre in it.
  if (!port.poe) {
    return tableLine(port.name, port.ifNum % 2 == 1, "10G Full", "Fibre");
  }
  return tableLine(port.name, port.status == kDelivering, "1000M Full", "Copper");
}

}  // namespace

std::string portStatusTable(const SharedState& state, int64_t nowMs) {
  std::string table = kHeading + tableLine("mgmt", true, "1000M Full", "Copper");
  for (const PortRecord& port : portsOf(state)) {
    table += physicalLine(viewPort(port, nowMs));
  }
  table += tableLine("lag 1", false, "", "");
  table += tableLine("lag 2", false, "", "");
  table += tableLine("vlan 1", true, "", "");
  return table + "\n";
}

}  // namespace switchsim
