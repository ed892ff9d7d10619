#include "poe/port_actions.h"

#include <cstddef>
#include <utility>

#include "base/result_codes.h"
#include "poe/poe_readings.h"
#include "poe/port_enumeration.h"
#include "switchos/session.h"

namespace {

struct EnabledPorts {
  size_t capacity;
  std::vector<uint32_t> ifNums;
};

int32_t collectEnabledPort(uint32_t ifNum, void* argument) {
  auto* ports = static_cast<EnabledPorts*>(argument);
  if (ports->ifNums.size() >= ports->capacity) {
    return 0;
  }
  uint32_t mode = 0;
  if (rpcclt_openapiPoePsePortAdminEnableGet(&openApiClient, ifNum, &mode) == OPENCLT_OK &&
      mode == OPENCLT_ADMIN_ENABLE) {
    ports->ifNums.push_back(ifNum);  // the room was reserved
  }
  return 0;
}

bool isPoePortOfUnit(int32_t unit, uint32_t ifNum) {
  OpenUnitSlotPort where{};
  if (rpcclt_openapiHashIntfUnitSlotPortGet(&openApiClient, ifNum, &where) != OPENCLT_OK) {
    return false;
  }
  PoeReadings readings;
  return where.unit == static_cast<uint8_t>(unit) && poeReadingsGet(unit, ifNum, &readings);
}

}  // namespace

int32_t poePortSwitch(uint32_t ifNum, int32_t enable) {
  const uint32_t mode = enable != 0 ? OPENCLT_ADMIN_ENABLE : OPENCLT_ADMIN_DISABLE;
  return rpcclt_openapiPoePsePortAdminEnableSet(&openApiClient, ifNum, mode);
}

int32_t poePortAdminSet(uint32_t ifNum, int32_t enable) {
  switch (poePortSwitch(ifNum, enable)) {
    case OPENCLT_OK:
      return RESULT_OK;
    case OPENCLT_INVALID_ARGUMENT:
      return ERR_INVALID_ARG;
    case OPENCLT_NOT_ALLOWED:
      return ERR_NOT_FOUND;
    default:
      return ERR_GENERAL;
  }
}

std::vector<uint32_t> poeUnitEnabledPortsGet(int32_t unit, int32_t capacity) {
  if (unit < 1 || capacity < 1) {
    return {};
  }
  EnabledPorts ports{static_cast<size_t>(capacity), {}};
  ports.ifNums.reserve(ports.capacity);
  forEachPhysicalIntf(unit, collectEnabledPort, &ports);
  return std::move(ports.ifNums);
}

int32_t poePortsCheckUnit(int32_t unit, const uint32_t* ifNums, int32_t count, uint32_t* badIfNum) {
  if (unit < 1 || ifNums == nullptr) {
    return 0;
  }
  for (int32_t i = 0; i < count; ++i) {
    if (!isPoePortOfUnit(unit, ifNums[i])) {
      if (badIfNum != nullptr) {
        *badIfNum = ifNums[i];
      }
      return -1;
    }
  }
  return 0;
}
