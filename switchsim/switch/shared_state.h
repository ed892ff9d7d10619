// The state file: its layout, and the lock under which all processes read and change it.
#ifndef QUORIN_SWITCHSIM_SWITCH_SHARED_STATE_H
#define QUORIN_SWITCHSIM_SWITCH_SHARED_STATE_H

#include <pthread.h>

#include <functional>
#include <memory>
#include <string>
#include <type_traits>

#include "switchsim/switch/switch_state.h"

namespace switchsim {

constexpr size_t kClientNameBytes = 128;

struct PortRecord {
  uint32_t ifNum;
  PortPlace place;
  uint32_t poe;  // 0 or 1
  uint32_t adminOn;
  Device device;
  uint32_t statusHeld;
  uint32_t heldStatus;       // the status to show while statusHeld
  int64_t detectionStartMs;  // monotonic time when it last began to look for a device
  uint32_t isDenied;         // 0 or 1: it wants power, and the unit's budget has none left
  PortSettings settings;
};

struct ClockRecord {
  ClockMode mode;
  int64_t localSec;  // frozen, running: the local time shown at hostMs, as seconds since
                     // 1970-01-01 00:00:00 local
  int64_t hostMs;    // the host's real time when the clock was set
  int64_t behindMs;  // follow: how far behind the host
};

struct JournalRecord {
  int64_t timeMs;
  int64_t monoMs;
  Operation operation;
  int32_t unit;
  uint32_t ifNum;
  uint32_t value;
  int32_t result;
};

// The whole file. All but the header, which stays as it was made, is guarded by `mutex`.
struct SharedState {
  // The header.
  char magic[16];
  uint32_t layoutVersion;
  uint32_t byteSize;  // differs between 32-bit and 64-bit programs, which cannot share a mutex
  pthread_mutex_t mutex;

  // The switch. A reset zeroes what is below and makes it anew.
  uint32_t portCount;
  PortRecord ports[kMaxPorts];  // as the switch prints them, those of a unit together
  uint32_t budgetMw;            // of each unit; 0: there is none
  ClockRecord clock;
  uint32_t serverDown;
  uint32_t faultCount;
  Fault faults[kMaxFaults];
  uint64_t misuseCount;
  Operation lastMisuse;  // meaningful when misuseCount > 0
  uint64_t crashlogCount;
  char lastClientName[kClientNameBytes];
  uint64_t lastSeq;
  JournalRecord journal[kJournalCapacity];  // the entry `seq` is at (seq - 1) % kJournalCapacity
};
static_assert(std::is_trivially_copyable_v<SharedState> && std::is_standard_layout_v<SharedState>,
              "the state is shared between processes as bytes");

class MappedFile;

// Unlocks the state and lets go of its mapping.
struct StateUnlock {
  std::shared_ptr<MappedFile> file;
  void operator()(SharedState* state) const { pthread_mutex_unlock(&state->mutex); }
};

// The state, locked for as long as this lives. Its owner must not ask for the lock again.
using LockedState = std::unique_ptr<SharedState, StateUnlock>;

// Waits for the lock. Null when there is no state file or none that this program can use: for the
// stand-ins, whose callers know no exceptions.
LockedState lockState();
// The same for the tools. Throws Failure, which says why.
LockedState lockedState();

// Makes the state file, all zero but for its header, and lets `write` put the switch into it before
// any other process can see it. Throws Failure, also when there is a file at the path already.
void makeStateFile(const std::function<void(SharedState*)>& write);

// By which ports go: a clock that only goes forward.
int64_t monotonicMs();

}  // namespace switchsim

#endif
