// Which PoE ports a unit has.
#ifndef QUORIN_POE_PORT_ENUMERATION_H
#define QUORIN_POE_PORT_ENUMERATION_H

#include <cstdint>

struct OpenClientHandle;

// Called for one port; its result is ignored.
using PortCallback = int32_t (*)(uint32_t ifNum, void* argument);

// Calls back once for every PoE port of the unit, in the order of the switch's port table; does
// nothing for a unit below 1 or a null callback. A port is a PoE port when its sensors can be read.
// Failures are logged and end the walk. Locks: the process-wide enumeration lock for the whole
// walk, callbacks included, since all walks share one output file. It may be taken under the
// sensors lock, and no other lock is taken under it but the log's.
void forEachPhysicalIntf(int32_t unit, PortCallback callback, void* argument);

// Has the switch OS run a "show" command and write its output to path, replacing what is there. A
// command longer than 254 characters or a path longer than 95 is cut. Returns RESULT_OK,
// ERR_GENERAL when the switch OS refuses, ERR_INVALID_ARG when the command or the path is null;
// failures are logged.
int32_t cliShowExecuteToFile(OpenClientHandle* session, const char* command, const char* path);

#endif
