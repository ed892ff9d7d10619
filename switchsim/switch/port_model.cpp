#include "switchsim/switch/port_model.h"

#include <algorithm>
#include <iterator>

#include "cli/failure.h"

namespace switchsim {
namespace {

constexpr uint32_t kSupplyMv = 54000;      // what the supply gives an idle port
constexpr uint32_t kDropMvPerWatt = 10;    // what the way to the port costs
constexpr uint32_t kIdleTemperature = 38;  // degrees Celsius
constexpr uint32_t kMilliwattsPerDegree = 2500;
constexpr int64_t kLongMs = 86400000;  // everything has started by then

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

// How long ago the port's detection was over, in ms; negative while it goes on. A start in the
// future is one of an earlier run of the host, or of a process with a faked clock: that is long
// over.
int64_t poweredMs(const PortRecord& port, int64_t nowMs) {
  return port.detectionStartMs <= nowMs ? nowMs - port.detectionStartMs - kDetectionMs : kLongMs;
}

uint32_t statusOf(const PortRecord& port, int64_t nowMs) {
  if (port.poe == 0 || port.adminOn == 0) {
    return kDisabled;
  }
  if (port.statusHeld != 0) {
    return port.heldStatus;
  }
  if (port.device.kind == DeviceKind::none || poweredMs(port, nowMs) < 0) {
    return kSearching;
  }
  return hasShare(port) ? kDelivering : kDenied;
}

void fillReadings(const PortRecord& port, int64_t nowMs, PortView* view) {
  const uint32_t neededMw = fullMw(port.device);
  view->temperature = kIdleTemperature;
  if (view->status == kDelivering || view->status == kDenied) {
    view->powerClass = neededMw == 0 ? 0 : classOf(neededMw);
  }
  if (view->status != kDelivering || neededMw == 0) {
    return;
  }

  const int64_t sinceMs = std::max<int64_t>(poweredMs(port, nowMs), 0);
  view->isStarting = isStarting(port.device, sinceMs);
  view->powerMw = drawMw(port.device, sinceMs);
  view->voltageMv = kSupplyMv - view->powerMw * kDropMvPerWatt / 1000;
  view->currentMa = static_cast<uint32_t>((uint64_t{view->powerMw} * 1000 + view->voltageMv / 2) /
                                          view->voltageMv);
  view->temperature += view->powerMw / kMilliwattsPerDegree;
}

template <typename Record>
Record* find(PortRange<Record> ports, uint32_t ifNum) {
  const auto found = std::find_if(ports.begin(), ports.end(),
                                  [ifNum](const Record& port) { return port.ifNum == ifNum; });
  return found != ports.end() ? found : nullptr;
}

}  // namespace

const PortRecord* portRecord(const SharedState& state, uint32_t ifNum) {
  return find(portsOf(state), ifNum);
}

PortRecord* portRecord(SharedState* state, uint32_t ifNum) {
  return find(portsOf(state), ifNum);
}

PortRecord* requirePort(SharedState* state, uint32_t ifNum) {
  PortRecord* port = portRecord(state, ifNum);
  if (port == nullptr) {
    fail("no port has the ifNum " + std::to_string(ifNum));
  }
  return port;
}

std::optional<uint32_t> portNamed(const SharedState& state, const char* name) {
  const std::optional<PortPlace> place = placeNamed(name);
  for (const PortRecord& port : portsOf(state)) {
    if (place && port.place == *place && port.place.form == place->form) {
      return port.ifNum;
    }
  }
  return std::nullopt;
}

PortView viewPort(const PortRecord& port, int64_t nowMs) {
  PortView view;
  view.ifNum = port.ifNum;
  view.place = port.place;
  view.name = nameOf(port.place);
  view.poe = port.poe != 0;
  if (!view.poe) {
    return view;
  }

  view.adminOn = port.adminOn != 0;
  view.device = port.device;
  view.deviceMw = fullMw(port.device);
  view.settings = port.settings;
  view.isHeld = port.statusHeld != 0;
  view.hasShare = hasShare(port);
  view.status = statusOf(port, nowMs);
  fillReadings(port, nowMs, &view);
  return view;
}

void switchPort(SharedState* state, PortRecord* port, bool on, int64_t nowMs) {
  alterPort(state, port, nowMs, [on](PortRecord* each) { each->adminOn = on ? 1 : 0; });
}

void restartDetection(PortRecord* port, int64_t nowMs) {
  port->detectionStartMs = nowMs;
}

std::vector<PortRecord> freshPorts(const SwitchOptions& options) {
  std::vector<PortRecord> ports;
  for (uint32_t unit = 1; unit <= options.units; unit++) {
    for (uint32_t number = 1; number <= options.portsPerUnit; number++) {
      PortRecord port{};
      port.ifNum = static_cast<uint32_t>(ports.size()) + 1;
      port.place = {unit, 0, number, options.names};
      if (number <= options.poePortsPerUnit) {
        port.poe = 1;
        port.adminOn = 1;
        port.device = steadyDevice(kFirstDevicesMw[(port.ifNum - 1) % std::size(kFirstDevicesMw)]);
      }
      ports.push_back(port);
    }
  }
  return ports;
}

// The count comes last: whoever is killed before that leaves a switch without ports, not one with
// wrong ones.
void placePorts(SharedState* state, const std::vector<PortRecord>& ports, int64_t nowMs) {
  std::transform(ports.begin(), ports.end(), state->ports, [nowMs](PortRecord port) {
    port.detectionStartMs = nowMs - kDetectionMs;
    return port;
  });
  state->portCount = static_cast<uint32_t>(ports.size());
  for (uint32_t unit = 1; unit <= kMaxUnits; unit++) {
    shareBudget(state, unit, nowMs);
  }
}

}  // namespace switchsim
