// The simulated switch: everything that can be seen of it and done to it from outside its client
// libraries.
//
// The switch is one file, mapped and shared by every process that uses it. Each function looks the
// file up anew, so that a switch that appears, vanishes or is replaced is followed at once. All
// functions may be called from any thread of any process; each takes the lock inside the file for
// its own duration, and the lock of a killed process is recovered.
//
// Where there is not a switch or no such port, what changes the switch or finds and views a port
// throws Failure, and nothing is changed; what reads the journal tells of nothing.
#ifndef QUORIN_SWITCHSIM_SWITCH_SWITCH_STATE_H
#define QUORIN_SWITCHSIM_SWITCH_SWITCH_STATE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "switchsim/switch/devices.h"
#include "switchsim/switch/operations.h"
#include "switchsim/switch/port_place.h"

namespace switchsim {

constexpr uint32_t kMaxUnits = 8;
constexpr uint32_t kMaxPortsPerUnit = 128;
constexpr uint32_t kMaxPorts = kMaxUnits * kMaxPortsPerUnit;
constexpr uint32_t kMaxFaults = 64;
constexpr uint32_t kJournalCapacity = 65536;
constexpr int64_t kDetectionMs =
    300;  // how long a port searches before it powers an attached device

// Detection status codes, as the client operation reports them.
enum DetectionStatus : uint32_t {
  kDisabled = 0,
  kSearching = 1,
  kDelivering = 2,
  kFault = 3,
  kDenied = 4,
  kOff = 5
};

// A port as the state file has it (shared_state.h).
struct PortRecord;

struct SwitchOptions {
  uint32_t units = 1;
  uint32_t portsPerUnit = 28;
  uint32_t poePortsPerUnit = 24;  // the first ports of each unit
  NameForm names = NameForm::unitSlotPort;
  uint32_t budgetMw = 0;  // of each unit; 0: all the power that its ports want
};

// What the switch's administrator has configured on a PoE port, in the codes of the client
// operations.
struct PortSettings {
  uint32_t priority = 1;       // low
  uint32_t limitMw = 30000;    // what a class 4 device may take
  uint32_t detectionMode = 7;  // 802.3bt
  uint32_t powerUpMode = 7;    // 802.3bt
  uint32_t violationType = 2;  // the limit was set by the user
};

struct PortView {
  uint32_t ifNum = 0;
  PortPlace place{};
  std::string name;  // as the switch prints it
  bool poe = false;  // the rest is meaningful on a PoE port only
  bool adminOn = false;
  uint32_t status = kDisabled;  // a DetectionStatus
  uint32_t powerMw = 0;
  uint32_t currentMa = 0;
  uint32_t voltageMv = 0;
  uint32_t temperature = 0;  // degrees Celsius
  uint32_t powerClass = 0;
  Device device;
  uint32_t deviceMw = 0;    // the most that the device takes; 0: no device
  bool isStarting = false;  // the device draws power, but has not reached its full power yet
  bool isHeld = false;      // the status is held
  bool hasShare = false;    // deviceMw of the budget are reserved for it
  PortSettings settings;
};

// What befalls the calls of one operation: they are delayed, or fail, or both. Where several match
// a call, the oldest that delays and the oldest that fails it apply.
struct Fault {
  Operation operation = Operation::connectivityCheck;
  uint32_t ifNum = 0;    // only calls about this port; 0: all calls
  int32_t result = 0;    // what the call returns, having done nothing; 0: it does its work
  uint32_t delayMs = 0;  // the call is answered that much later
  uint32_t times = 0;    // how many calls it still befalls; 0: all until cleared
};

enum class ClockMode : uint32_t { follow, frozen, running, fail };

struct ClockView {
  ClockMode mode = ClockMode::follow;
  std::string time;  // the switch's local time, YYYY-MM-DD HH:MM:SS; empty when reading it fails
};

struct JournalEntry {
  uint64_t seq = 0;    // counts from 1
  int64_t timeMs = 0;  // real time, since the epoch
  int64_t monoMs = 0;  // monotonic time
  std::string_view op;
  int32_t unit = 0;  // 0 when the call named a port that does not exist
  uint32_t ifNum = 0;
  uint32_t value = 0;  // the admin mode asked for; 0 for a reset
  int32_t result = 0;
};

struct UnitView {
  uint32_t unit = 0;
  uint32_t powerMw = 0;     // what its ports deliver
  uint32_t reservedMw = 0;  // of the budget: the most that the devices with a share of it may take
};

struct SwitchView {
  uint32_t budgetMw = 0;        // of each unit; 0: there is none
  std::vector<PortView> ports;  // as the switch prints them, those of a unit together
  std::vector<UnitView> units;  // in the same order
  bool serverUp = true;
  ClockView clock;
  std::vector<Fault> faults;
  uint64_t misuseCount = 0;
  std::string_view lastMisuse;  // the operation that was misused last; empty: none
  uint64_t crashlogCount = 0;   // registrations with the crash logger
  std::string lastClientName;   // of the client that registered last
};

// The file's path: the environment variable SWITCHSIM_STATE, by default /tmp/switchsim.state.
std::string statePath();

// Makes a fresh switch: all PoE ports on and settled, devices on some of them. An existing one is
// an error unless `force`, which resets it in place, journal included, so that processes that use
// it see the new one. A file that is not a switch is never touched.
void createSwitch(const SwitchOptions& options, bool force);
// The same with these ports, which the caller has checked: their ifNums and names are unique, those
// of a unit stand together, and they are within the bounds above.
void createSwitch(const std::vector<PortRecord>& ports, uint32_t budgetMw, bool force);

SwitchView viewSwitch();
PortView portView(uint32_t ifNum);
// Of escaped text: the port that a person means by its ifNum (5) or its name in either form (1/0/5;
// 0/5 where only one unit has such a port).
uint32_t findPort(const std::string& text);

// Switches the port as the switch's own CLI would. It is journalled as "cliSet".
void setAdmin(uint32_t ifNum, bool on);
// Attaches a device in place of the one there, or, for none, detaches it. It starts anew.
void setDevice(uint32_t ifNum, const Device& device);
// 1 low to 4 critical: of the ports that a budget leaves without power, the lowest come first.
void setPriority(uint32_t ifNum, uint32_t priority);
// The codes are stored as they are, sensible or not.
void setPortSettings(uint32_t ifNum, const PortSettings& settings);
// Holds an enabled port in this detection status (such as kFault), without power unless it is
// kDelivering with a device attached; none: the status follows from the device again.
void holdStatus(uint32_t ifNum, std::optional<uint32_t> status);

// While the server is down every operation that needs it fails.
void setServerUp(bool up);

void addFault(const Fault& fault);
void clearFaults();

// The switch's local time as the seconds since 1970-01-01 00:00:00 local, and back. None for a text
// that is no time of the form YYYY-MM-DD HH:MM:SS.
std::optional<int64_t> localSeconds(const std::string& text);
std::string localTimeText(int64_t localSec);

// localTime: YYYY-MM-DD HH:MM:SS, for frozen and running only. behindMs: for follow only, how far
// behind the host.
void setClock(ClockMode mode, const std::string& localTime = "", int64_t behindMs = 0);

// Lets so much time go by at once, for the ports and for a clock that runs.
void passTime(int64_t milliseconds);

// The entries above `seq` that the journal still holds, in order. Empty when there is not a switch.
std::vector<JournalEntry> journalSince(uint64_t seq);
// 0 when there is not a switch or nothing was journalled.
uint64_t lastSeq();

uint64_t misuseCount();

}  // namespace switchsim

#endif
