// The ports of another switch, as `quorin_poectl ports --json` tells them.
#ifndef QUORIN_SWITCHSIM_VIEW_PORTS_FILE_H
#define QUORIN_SWITCHSIM_VIEW_PORTS_FILE_H

#include "switchsim/switch/shared_state.h"

namespace switchsim {

// The ports that the file at the path ("-": stdin) tells, ready for createSwitch, in their present
// state: what delivers has a device that takes just as much; what is on and searches has none. What
// hangs on the others is not known: they get a modest device, so that they deliver once they may. A
// port whose name is not known gets one that is free. None, with a sentence in *error that says
// what is wrong and where, when it is no such document.
std::optional<std::vector<PortRecord>> readPortsFile(const std::string& path, std::string* error);

}  // namespace switchsim

#endif
