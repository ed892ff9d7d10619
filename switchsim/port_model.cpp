#include "switchsim/port_model.h"

#include <iterator>

namespace switchsim {
namespace {

constexpr uint32_t kSupplyMv = 54000;      // what the supply gives an idle port
constexpr uint32_t kDropMvPerWatt = 10;    // what the way to the port costs
constexpr uint32_t kIdleTemperature = 38;  // degrees Celsius
constexpr uint32_t kMilliwattsPerDegree = 2500;

// The power that a port must supply for each class, 1 to 8, in mW: IEEE Std 802.3, clauses 33 (type
// 1 and 2) and 145 (type 3 and 4).
constexpr uint32_t kClassLimitMw[] = {4000, 7000, 15400, 30000, 45000, 60000, 75000, 90000};

// The devices that a fresh switch has, over and over: phones, cameras, access points, empty ports,
// and one device that is too large for its port.
constexpr uint32_t kFirstDevicesMw[] = {6400, 0, 12900, 3200, 0,     25100, 8700,
                                        0,    0, 15300, 2100, 38000, 0};

uint32_t classOf(uint32_t deviceMw) {
  uint32_t powerClass = 1;
  while (powerClass < std::size(kClassLimitMw) && deviceMw > kClassLimitMw[powerClass - 1]) {
    powerClass++;
  }
  return powerClass;
}

// A start in the future is one of an earlier run of the host, or of a process with a faked clock:
// it is long over.
bool isDetecting(const PortRecord& port, int64_t nowMs) {
  return port.detectionStartMs <= nowMs && nowMs - port.detectionStartMs < kDetectionMs;
}

uint32_t statusOf(const PortRecord& port, int64_t nowMs) {
  if (port.poe == 0 || port.adminOn == 0) {
    return kDisabled;
  }
  if (port.statusHeld != 0) {
    return port.heldStatus;
  }
  if (port.deviceMw == 0 || isDetecting(port, nowMs)) {
    return kSearching;
  }
  return port.deviceMw > port.settings.limitMw ? kDenied : kDelivering;
}

void fillReadings(const PortRecord& port, PortView* view) {
  view->temperature = kIdleTemperature;
  if (view->status == kDelivering || view->status == kDenied) {
    view->powerClass = port.deviceMw == 0 ? 0 : classOf(port.deviceMw);
  }
  if (view->status != kDelivering || port.deviceMw == 0) {
    return;
  }
  view->powerMw = port.deviceMw;
  view->voltageMv = kSupplyMv - port.deviceMw * kDropMvPerWatt / 1000;
  view->currentMa = static_cast<uint32_t>((uint64_t{port.deviceMw} * 1000 + view->voltageMv / 2) /
                                          view->voltageMv);
  view->temperature += port.deviceMw / kMilliwattsPerDegree;
}

}  // namespace

PortView viewPort(const SharedState& state, uint32_t ifNum, int64_t nowMs) {
  const PortRecord& port = state.ports[ifNum - 1];
  PortView view;
  view.ifNum = ifNum;
  view.unit = unitOf(state.options, ifNum);
  view.port = (ifNum - 1) % state.options.portsPerUnit + 1;
  view.name = portName(state.options, ifNum);
  view.poe = port.poe != 0;
  if (!view.poe) {
    return view;
  }

  view.adminOn = port.adminOn != 0;
  view.deviceMw = port.deviceMw;
  view.settings = port.settings;
  view.status = statusOf(port, nowMs);
  fillReadings(port, &view);
  return view;
}

PortRecord* portRecord(SharedState* state, uint32_t ifNum) {
  return ifNum >= 1 && ifNum <= portCount(state->options) ? &state->ports[ifNum - 1] : nullptr;
}

uint32_t portCount(const SwitchOptions& options) {
  return options.units * options.portsPerUnit;
}

uint32_t unitOf(const SwitchOptions& options, uint32_t ifNum) {
  return (ifNum - 1) / options.portsPerUnit + 1;
}

std::string portName(const SwitchOptions& options, uint32_t ifNum) {
  std::string slotPort = "0/" + std::to_string((ifNum - 1) % options.portsPerUnit + 1);
  if (options.names == NameForm::slotPort) {
    return slotPort;
  }
  return std::to_string(unitOf(options, ifNum)) + "/" + slotPort;
}

std::optional<uint32_t> portNamed(const SwitchOptions& options, std::string_view name) {
  for (uint32_t ifNum = 1; ifNum <= portCount(options); ifNum++) {
    if (portName(options, ifNum) == name) {
      return ifNum;
    }
  }
  return std::nullopt;
}

void switchPort(PortRecord* port, bool on, int64_t nowMs) {
  if (on && port->adminOn == 0) {
    restartDetection(port, nowMs);
  }
  port->adminOn = on ? 1 : 0;
}

void restartDetection(PortRecord* port, int64_t nowMs) {
  port->detectionStartMs = nowMs;
}

void makePorts(SharedState* state, const SwitchOptions& options, int64_t nowMs) {
  for (uint32_t ifNum = 1; ifNum <= portCount(options); ifNum++) {
    PortRecord* port = &state->ports[ifNum - 1];
    *port = PortRecord{};
    if ((ifNum - 1) % options.portsPerUnit >= options.poePortsPerUnit) {
      continue;
    }
    port->poe = 1;
    port->adminOn = 1;
    port->deviceMw = kFirstDevicesMw[(ifNum - 1) % std::size(kFirstDevicesMw)];
    port->detectionStartMs = nowMs - kDetectionMs;
  }
}

}  // namespace switchsim
