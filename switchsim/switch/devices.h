// What hangs on a port, and what it draws over time. Pure functions of the time since the port
// began to deliver.
#ifndef QUORIN_SWITCHSIM_SWITCH_DEVICES_H
#define QUORIN_SWITCHSIM_SWITCH_DEVICES_H

#include <cstdint>
#include <optional>
#include <string>

namespace switchsim {

// Numbers are stored in the state file: a change of them is a change of its layout.
enum class DeviceKind : uint32_t { none, steady, camera, phone, accessPoint };

struct Device {
  DeviceKind kind = DeviceKind::none;
  uint32_t steadyMw = 0;  // steady only: what it draws from the first moment on
};

// What deviceOf understands, for messages and help.
constexpr const char* kDeviceWords =
    "camera, phone, ap, a number of watts (more than 0, at most 90), or none";

// A device that draws the same from the first moment on.
Device steadyDevice(uint32_t milliwatts);
// The device that a person's word means, which is one of kDeviceWords.
std::optional<Device> deviceOf(const std::string& word);
// "none", "steady", "camera", "phone" or "ap".
const char* kindName(DeviceKind kind);

// The most that it draws once it runs, in mW: what its class and its share of a power budget follow
// from. 0 for none.
uint32_t fullMw(const Device& device);
// What it draws so many ms after the port began to deliver, in mW. One with a kind charges its
// input first, then draws more and more until it has started; then it works now and then.
uint32_t drawMw(const Device& device, int64_t poweredMs);
// Whether it has not reached its full power yet.
bool isStarting(const Device& device, int64_t poweredMs);

}  // namespace switchsim

#endif
