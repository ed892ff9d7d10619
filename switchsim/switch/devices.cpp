#include "switchsim/switch/devices.h"

#include <cmath>
#include <cstdlib>
#include <iterator>

namespace switchsim {
namespace {

constexpr double kMaxWatts = 90;  // what a class 8 port supplies: IEEE Std 802.3, clause 145

// A port limits the current to IInrush for up to TInrush while the device's input charges; here the
// least of both that IEEE Std 802.3 allows, 400 mA (of 54 V) for 50 ms: table 33-11.
constexpr uint32_t kInrushMw = 21600;
constexpr int64_t kInrushMs = 50;

struct Behaviour {
  const char* name;
  uint32_t bootMw;  // at first; it grows evenly to fullMw
  int64_t bootMs;   // until it runs
  uint32_t idleMw;
  uint32_t fullMw;
  int64_t periodMs;  // each period begins with so long at full power
  int64_t fullForMs;
};

// By DeviceKind, from camera on.
constexpr Behaviour kBehaviours[] = {
    {"camera", 4000, 40000, 10200, 12400, 60000, 10000},
    {"phone", 1800, 20000, 2900, 4600, 60000, 10000},
    {"ap", 6000, 90000, 13500, 19800, 60000, 15000},
};
constexpr uint32_t kFirstKind = static_cast<uint32_t>(DeviceKind::camera);

// Null for what draws the same all the time.
const Behaviour* behaviourOf(DeviceKind kind) {
  const uint32_t index = static_cast<uint32_t>(kind) - kFirstKind;
  return index < std::size(kBehaviours) ? &kBehaviours[index] : nullptr;
}

// None for what is no number, or more or less than a device takes.
std::optional<uint32_t> wattsWord(const std::string& word) {
  char* end = nullptr;
  const double watts = strtod(word.c_str(), &end);
  const bool isWatts = end != word.c_str() && *end == '\0' && watts >= 0.001 && watts <= kMaxWatts;
  return isWatts ? std::make_optional(static_cast<uint32_t>(std::lround(watts * 1000)))
                 : std::nullopt;
}

}  // namespace

Device steadyDevice(uint32_t milliwatts) {
  return {milliwatts == 0 ? DeviceKind::none : DeviceKind::steady, milliwatts};
}

std::optional<Device> deviceOf(const std::string& word) {
  if (word == "none") {
    return Device();
  }
  for (uint32_t index = 0; index < std::size(kBehaviours); index++) {
    if (word == kBehaviours[index].name) {
      return Device{static_cast<DeviceKind>(kFirstKind + index), 0};
    }
  }

  const std::optional<uint32_t> milliwatts = wattsWord(word);
  return milliwatts ? std::make_optional(steadyDevice(*milliwatts)) : std::nullopt;
}

const char* kindName(DeviceKind kind) {
  const Behaviour* behaviour = behaviourOf(kind);
  if (behaviour != nullptr) {
    return behaviour->name;
  }
  return kind == DeviceKind::steady ? "steady" : "none";
}

uint32_t fullMw(const Device& device) {
  const Behaviour* behaviour = behaviourOf(device.kind);
  return behaviour != nullptr ? behaviour->fullMw : device.steadyMw;
}

uint32_t drawMw(const Device& device, int64_t poweredMs) {
  const Behaviour* behaviour = behaviourOf(device.kind);
  if (behaviour == nullptr) {
    return device.steadyMw;
  }
  if (poweredMs < kInrushMs) {
    return kInrushMw;
  }
  if (poweredMs < behaviour->bootMs) {
    const int64_t growthMw = int64_t{behaviour->fullMw} - behaviour->bootMw;
    return behaviour->bootMw + static_cast<uint32_t>(growthMw * poweredMs / behaviour->bootMs);
  }

  const int64_t inPeriodMs = (poweredMs - behaviour->bootMs) % behaviour->periodMs;
  return inPeriodMs < behaviour->fullForMs ? behaviour->fullMw : behaviour->idleMw;
}

bool isStarting(const Device& device, int64_t poweredMs) {
  const Behaviour* behaviour = behaviourOf(device.kind);
  return behaviour != nullptr && poweredMs < behaviour->bootMs;
}

}  // namespace switchsim
