#include "switchsim/switch/operations.h"

#include <iterator>

namespace switchsim {
namespace {

struct OperationRow {
  std::string_view name;
  bool needsServer;
};

// In the order of Operation.
constexpr OperationRow kOperations[] = {
    {"l7proc_crashlog_register", false},
    {"openapiClientRegister", false},
    {"openapiClientTearDown", false},
    {"openapiConnectivityCheck", true},
    {"openapiNetworkOSVersionGet", true},
    {"openapiApiVersionGet", true},
    {"openapiPoePsePortAdminEnableSet", true},
    {"openapiPoePsePortAdminEnableGet", true},
    {"openapiPoePsePortReset", true},
    {"openapiPoePsePortSensorsGet", true},
    {"openapiPoePsePortPowerClassificationsGet", true},
    {"openapiPoePsePortCurPowerPriorityGet", true},
    {"openapiPoePsePortCurPowerLimitGet", true},
    {"openapiPoePsePortPowerUpModeGet", true},
    {"openapiPoePsePortDetectionModeGet", true},
    {"openapiPoePsePortDetectionStatusGet", true},
    {"openapiPoePsePortViolationTypeGet", true},
    {"openapiHashIntfUnitSlotPortGet", true},
    {"openapiIfNumGet", true},
    {"openapiClockGet", true},
    {"openapiCliShowExecuteToFile", true},
    {"cliSet", false},
};
constexpr uint32_t kClientOperationCount = static_cast<uint32_t>(Operation::cliSet);
static_assert(std::size(kOperations) == kClientOperationCount + 1, "one row per operation");

}  // namespace

std::string_view operationName(Operation operation) {
  const auto index = static_cast<uint32_t>(operation);
  return index < std::size(kOperations) ? kOperations[index].name : "?";
}

std::optional<Operation> clientOperation(std::string_view name) {
  for (uint32_t i = 0; i < kClientOperationCount; i++) {
    if (kOperations[i].name == name) {
      return static_cast<Operation>(i);
    }
  }
  return std::nullopt;
}

std::string clientOperationList() {
  std::string list;
  for (uint32_t i = 0; i < kClientOperationCount; i++) {
    list.append("  ").append(kOperations[i].name).append("\n");
  }
  return list;
}

bool needsServer(Operation operation) {
  return kOperations[static_cast<uint32_t>(operation)].needsServer;
}

}  // namespace switchsim
