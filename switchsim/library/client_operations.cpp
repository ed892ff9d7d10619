// The client library: the switch OS's operations, answered by the simulated switch.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "switchos/openclt.h"
#include "switchsim/library/answer_call.h"
#include "switchsim/library/client_handles.h"
#include "switchsim/library/port_status_table.h"
#include "switchsim/switch/port_model.h"
#include "switchsim/switch/switch_clock.h"

#define OPENCLT_EXPORT __attribute__((visibility("default")))

using namespace switchsim;

namespace {

constexpr const char* kOsVersion = "switchsim 1.0";
constexpr OpenApiVersion kApiVersion = {{1, 0, 0, 0}};
constexpr const char* kPortStatusCommand = "show port status all";

// A string that a client hands over: its size counts the terminating zero.
bool isText(const OpenBuffDesc* buffer) {
  return buffer != nullptr && buffer->start != nullptr &&
         memchr(buffer->start, 0, buffer->size) != nullptr;
}

bool holdsBytes(const OpenBuffDesc* buffer, uint32_t byteCount) {
  return buffer != nullptr && buffer->start != nullptr && buffer->size >= byteCount;
}

void writeText(const OpenBuffDesc& buffer, const std::string& text) {
  snprintf(buffer.start, buffer.size, "%s", text.c_str());
}

Call plainCall(Operation operation, const OpenClientHandle* handle, bool argumentsValid) {
  Call call;
  call.operation = operation;
  call.argumentsValid = isRegistered(handle) && argumentsValid;
  return call;
}

Call portCall(Operation operation, const OpenClientHandle* handle, std::optional<int32_t> unit,
              uint32_t ifNum, bool argumentsValid) {
  Call call = plainCall(operation, handle, argumentsValid);
  call.ifNum = ifNum;
  call.portMustExist = true;
  call.unit = unit;
  return call;
}

// Reads one value of a PoE port. `value` picks it out of the PortView.
template <typename Out, typename Value>
int32_t readPort(Operation operation, const OpenClientHandle* handle, std::optional<int32_t> unit,
                 uint32_t ifNum, Out* out, Value value) {
  const Call call = portCall(operation, handle, unit, ifNum, out != nullptr);
  return answerCall(call, [&](SharedState* state) {
    const PortView port = viewPort(*portRecord(state, ifNum), monotonicMs());
    if (!port.poe) {
      return OPENCLT_NOT_ALLOWED;
    }
    *out = static_cast<Out>(value(port));
    return OPENCLT_OK;
  });
}

int32_t writeFile(const char* path, const std::string& text) {
  unlink(path);
  const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path, "wxe"),
                                                   [](FILE* each) { return fclose(each); });
  if (file == nullptr) {
    return kCallFailed;
  }
  const bool written =
      fwrite(text.data(), 1, text.size(), file.get()) == text.size() && fflush(file.get()) == 0;
  return written ? OPENCLT_OK : kCallFailed;
}

}  // namespace

extern "C" {

OPENCLT_EXPORT int32_t openapiClientRegister(const char* clientName, OpenClientHandle* handle) {
  Call call;
  call.operation = Operation::clientRegister;
  call.argumentsValid = clientName != nullptr && handle != nullptr;
  const int32_t result = answerCall(call, [&](SharedState* state) {
    snprintf(state->lastClientName, sizeof(state->lastClientName), "%s", clientName);
    return OPENCLT_OK;
  });
  if (result != OPENCLT_OK) {
    return result;
  }
  return registerHandle(handle) ? OPENCLT_OK : kCallFailed;
}

OPENCLT_EXPORT int32_t openapiClientTearDown(OpenClientHandle* handle) {
  const Call call = plainCall(Operation::clientTearDown, handle, true);
  const int32_t result = answerCall(call, [](SharedState*) { return OPENCLT_OK; });
  if (result == OPENCLT_OK) {
    unregisterHandle(handle);
  }
  return result;
}

OPENCLT_EXPORT int32_t rpcclt_openapiConnectivityCheck(OpenClientHandle* handle) {
  const Call call = plainCall(Operation::connectivityCheck, handle, true);
  return answerCall(call, [](SharedState*) { return OPENCLT_OK; });
}

OPENCLT_EXPORT int32_t rpcclt_openapiNetworkOSVersionGet(OpenClientHandle* handle,
                                                         OpenBuffDesc* version) {
  const Call call = plainCall(Operation::osVersionGet, handle, holdsBytes(version, 1));
  return answerCall(call, [&](SharedState*) {
    writeText(*version, kOsVersion);
    return OPENCLT_OK;
  });
}

OPENCLT_EXPORT int32_t rpcclt_openapiApiVersionGet(OpenClientHandle* handle,
                                                   OpenApiVersion* version) {
  const Call call = plainCall(Operation::apiVersionGet, handle, version != nullptr);
  return answerCall(call, [&](SharedState*) {
    *version = kApiVersion;
    return OPENCLT_OK;
  });
}

OPENCLT_EXPORT int32_t rpcclt_openapiPoePsePortAdminEnableSet(OpenClientHandle* handle,
                                                              uint32_t ifNum, uint32_t mode) {
  Call call = portCall(Operation::adminEnableSet, handle, std::nullopt, ifNum, mode <= 1);
  call.newMode = mode;
  return answerCall(call, [&](SharedState* state) {
    PortRecord* port = portRecord(state, ifNum);
    if (port->poe == 0) {
      return OPENCLT_NOT_ALLOWED;
    }
    switchPort(state, port, mode == 1, monotonicMs());
    return OPENCLT_OK;
  });
}

OPENCLT_EXPORT int32_t rpcclt_openapiPoePsePortAdminEnableGet(OpenClientHandle* handle,
                                                              uint32_t ifNum, uint32_t* mode) {
  return readPort(Operation::adminEnableGet, handle, std::nullopt, ifNum, mode,
                  [](const PortView& port) { return port.adminOn ? 1 : 0; });
}

OPENCLT_EXPORT int32_t rpcclt_openapiPoePsePortReset(OpenClientHandle* handle, int32_t unit,
                                                     uint32_t ifNum) {
  Call call = portCall(Operation::portReset, handle, unit, ifNum, true);
  call.newMode = 0;
  return answerCall(call, [&](SharedState* state) {
    PortRecord* port = portRecord(state, ifNum);
    if (port->poe == 0) {
      return OPENCLT_NOT_ALLOWED;
    }
    restartDetection(port, monotonicMs());
    return OPENCLT_OK;
  });
}

OPENCLT_EXPORT int32_t rpcclt_openapiPoePsePortSensorsGet(OpenClientHandle* handle, int32_t unit,
                                                          uint32_t ifNum, uint32_t* powerMw,
                                                          uint32_t* currentMa, uint32_t* voltageMv,
                                                          uint32_t* temperature) {
  const bool complete =
      powerMw != nullptr && currentMa != nullptr && voltageMv != nullptr && temperature != nullptr;
  const Call call = portCall(Operation::sensorsGet, handle, unit, ifNum, complete);
  return answerCall(call, [&](SharedState* state) {
    const PortView port = viewPort(*portRecord(state, ifNum), monotonicMs());
    if (!port.poe) {
      return OPENCLT_NOT_ALLOWED;
    }
    *powerMw = port.powerMw;
    *currentMa = port.currentMa;
    *voltageMv = port.voltageMv;
    *temperature = port.temperature;
    return OPENCLT_OK;
  });
}

OPENCLT_EXPORT int32_t rpcclt_openapiPoePsePortPowerClassificationsGet(OpenClientHandle* handle,
                                                                       int32_t unit, uint32_t ifNum,
                                                                       uint32_t* powerClass) {
  return readPort(Operation::classGet, handle, unit, ifNum, powerClass,
                  [](const PortView& port) { return port.powerClass; });
}

OPENCLT_EXPORT int32_t rpcclt_openapiPoePsePortCurPowerPriorityGet(OpenClientHandle* handle,
                                                                   int32_t unit, uint32_t ifNum,
                                                                   uint32_t* priority) {
  return readPort(Operation::priorityGet, handle, unit, ifNum, priority,
                  [](const PortView& port) { return port.settings.priority; });
}

OPENCLT_EXPORT int32_t rpcclt_openapiPoePsePortCurPowerLimitGet(OpenClientHandle* handle,
                                                                int32_t unit, uint32_t ifNum,
                                                                uint32_t* limitMw) {
  return readPort(Operation::limitGet, handle, unit, ifNum, limitMw,
                  [](const PortView& port) { return port.settings.limitMw; });
}

OPENCLT_EXPORT int32_t rpcclt_openapiPoePsePortPowerUpModeGet(OpenClientHandle* handle,
                                                              int32_t unit, uint32_t ifNum,
                                                              int32_t* mode) {
  return readPort(Operation::powerUpModeGet, handle, unit, ifNum, mode,
                  [](const PortView& port) { return port.settings.powerUpMode; });
}

OPENCLT_EXPORT int32_t rpcclt_openapiPoePsePortDetectionModeGet(OpenClientHandle* handle,
                                                                int32_t unit, uint32_t ifNum,
                                                                uint32_t* mode) {
  return readPort(Operation::detectionModeGet, handle, unit, ifNum, mode,
                  [](const PortView& port) { return port.settings.detectionMode; });
}

OPENCLT_EXPORT int32_t rpcclt_openapiPoePsePortDetectionStatusGet(OpenClientHandle* handle,
                                                                  int32_t unit, uint32_t ifNum,
                                                                  uint32_t* status) {
  return readPort(Operation::detectionStatusGet, handle, unit, ifNum, status,
                  [](const PortView& port) { return port.status; });
}

OPENCLT_EXPORT int32_t rpcclt_openapiPoePsePortViolationTypeGet(OpenClientHandle* handle,
                                                                int32_t unit, uint32_t ifNum,
                                                                uint32_t* type) {
  return readPort(Operation::violationTypeGet, handle, unit, ifNum, type,
                  [](const PortView& port) { return port.settings.violationType; });
}

OPENCLT_EXPORT int32_t rpcclt_openapiHashIntfUnitSlotPortGet(OpenClientHandle* handle,
                                                             uint32_t ifNum,
                                                             OpenUnitSlotPort* where) {
  Call call = plainCall(Operation::unitSlotPortGet, handle, where != nullptr);
  call.ifNum = ifNum;  // which need not exist: asking is how a client finds out
  return answerCall(call, [&](SharedState* state) {
    const PortRecord* port = portRecord(state, ifNum);
    if (port == nullptr) {
      return OPENCLT_INVALID_ARGUMENT;
    }
    const PortPlace& place = port->place;
    *where = OpenUnitSlotPort{static_cast<uint8_t>(place.unit), static_cast<uint8_t>(place.slot),
                              static_cast<uint16_t>(place.number)};
    return OPENCLT_OK;
  });
}

OPENCLT_EXPORT int32_t rpcclt_openapiIfNumGet(OpenClientHandle* handle, OpenBuffDesc* name,
                                              uint32_t* ifNum) {
  Call call = plainCall(Operation::ifNumGet, handle, isText(name) && ifNum != nullptr);
  if (call.argumentsValid) {
    call.portName = name->start;
  }
  return answerCall(call, [&](SharedState* state) {
    const std::optional<uint32_t> found = portNamed(*state, name->start);
    if (!found) {
      return OPENCLT_INVALID_ARGUMENT;
    }
    *ifNum = *found;
    return OPENCLT_OK;
  });
}

OPENCLT_EXPORT int32_t rpcclt_openapiClockGet(OpenClientHandle* handle, OpenBuffDesc* timeText,
                                              int32_t* zoneOffset) {
  const Call call = plainCall(Operation::clockGet, handle,
                              holdsBytes(timeText, kTimeTextBytes) && zoneOffset != nullptr);
  return answerCall(call, [&](SharedState* state) {
    const std::string text = clockText(state->clock);
    if (text.empty()) {
      return kCallFailed;
    }
    writeText(*timeText, text);
    *zoneOffset = zoneOffsetMinutes();
    return OPENCLT_OK;
  });
}

OPENCLT_EXPORT int32_t rpcclt_openapiCliShowExecuteToFile(OpenClientHandle* handle,
                                                          OpenBuffDesc* command,
                                                          OpenBuffDesc* path) {
  const Call call = plainCall(Operation::cliShow, handle, isText(command) && isText(path));
  std::string output;
  const int32_t result = answerCall(call, [&](SharedState* state) {
    if (strcmp(command->start, kPortStatusCommand) != 0) {
      return kCallFailed;
    }
    output = portStatusTable(*state, monotonicMs());
    return OPENCLT_OK;
  });
  // Written without the lock: a slow disk holds up no other client.
  return result == OPENCLT_OK ? writeFile(path->start, output) : result;
}

}  // extern "C"
