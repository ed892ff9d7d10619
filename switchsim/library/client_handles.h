// Which client handles are registered in this process.
#ifndef QUORIN_SWITCHSIM_LIBRARY_CLIENT_HANDLES_H
#define QUORIN_SWITCHSIM_LIBRARY_CLIENT_HANDLES_H

#include "switchos/openclt.h"

namespace switchsim {

// All three may be called with the same handle by several threads at once.

// Registers the handle, in place of what it was registered as before. Returns whether there was
// memory for that.
bool registerHandle(OpenClientHandle* handle) noexcept;
// Unregisters and zeroes a registered handle; leaves any other alone.
void unregisterHandle(OpenClientHandle* handle) noexcept;
// False for null too.
bool isRegistered(const OpenClientHandle* handle) noexcept;

}  // namespace switchsim

#endif
