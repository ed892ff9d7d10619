// The ports of another switch, as `quorin_poectl ports --json` tells them.
#ifndef QUORIN_SWITCHSIM_VIEW_PORTS_FILE_H
#define QUORIN_SWITCHSIM_VIEW_PORTS_FILE_H

#include <string>
#include <vector>

#include "base/json.h"
#include "switchsim/switch/shared_state.h"

namespace switchsim {

// The ports that the file at the path ("-": stdin) tells, ready for createSwitch, in their present
// state: what delivers has a device that takes just as much; what is on and searches has none. What
// hangs on the others is not known: they get a modest device, so that they deliver once they may. A
// port whose name is not known gets one that is free. Throws Failure, which says what is wrong and
// where.
std::vector<PortRecord> readPortsFile(const std::string& path);

// The same of the member "ports" of a document.
std::vector<PortRecord> portsOfDocument(const cJSON* document);

}  // namespace switchsim

#endif
