// The operations that the simulated switch knows by name: in its journal, in its faults and on its
// command line.
#ifndef QUORIN_SWITCHSIM_SWITCH_OPERATIONS_H
#define QUORIN_SWITCHSIM_SWITCH_OPERATIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace switchsim {

// Numbers are stored in the state file: a change of them is a change of its layout.
enum class Operation : uint32_t {
  crashlogRegister,
  clientRegister,
  clientTearDown,
  connectivityCheck,
  osVersionGet,
  apiVersionGet,
  adminEnableSet,
  adminEnableGet,
  portReset,
  sensorsGet,
  classGet,
  priorityGet,
  limitGet,
  powerUpModeGet,
  detectionModeGet,
  detectionStatusGet,
  violationTypeGet,
  unitSlotPortGet,
  ifNumGet,
  clockGet,
  cliShow,
  cliSet,  // a change made with the switch's own CLI; no client calls it
};

// The function's name without the prefix rpcclt_, for example "openapiPoePsePortReset"; "cliSet"
// for cliSet, "?" for a number that is none.
std::string_view operationName(Operation operation);

// The operation that clients call under this name; none for cliSet or an unknown name.
std::optional<Operation> clientOperation(std::string_view name);

// The names that clientOperation takes, each on a line of its own, indented.
std::string clientOperationList();

// Whether the operation is answered by the switch OS's server, rather than by the client library
// alone.
bool needsServer(Operation operation);

}  // namespace switchsim

#endif
