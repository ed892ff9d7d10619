// A rehearsal: schedules ran for some days in a lab, and the journal of its switch says what was
// done to which port. From that come the changes of ports, and findings: what an operator should
// look at.
#ifndef QUORIN_FORECAST_REHEARSAL_H
#define QUORIN_FORECAST_REHEARSAL_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "api/records.h"
#include "forecast/firings.h"

// The ports with the modes that they will have when the open runs have ended: an open restart,
// reset or boot delay switches its ports on again.
std::vector<SensorPort> portsAfter(std::vector<SensorPort> ports, const std::vector<Run>& openRuns);

// One act on a port, from the switch's journal.
struct JournalAct {
  SwitchTime at;
  PoePort port;
  Act act = Act::off;  // restart: the switch's own port reset, which leaves a port off that is off
  bool isRefused = false;
};

struct Rehearsal {
  SwitchTime from;   // the first minute in which schedules may act; with boot delays also the
                     // moment at which the switch starts
  SwitchTime until;  // the end of the last minute
  std::vector<Schedule> schedules;
  bool withBoot = false;              // the switch starts at the beginning
  std::vector<BootDelay> bootDelays;  // those that hold ports back then
  std::vector<SensorPort> before;     // as they are when it begins
  std::vector<JournalAct>
      acts;               // oldest first; those after the end count as far as they end restarts
  std::vector<Run> runs;  // those that are not a plain success, with their ports
};

// Ports that one schedule, or the boot delay, changed in one minute.
struct PortChange {
  SwitchTime at;
  Act act = Act::off;
  bool isEnd = false;  // of a window
  int32_t unit = 0;
  std::vector<uint32_t> ifNums;
  const Schedule* schedule = nullptr;  // one of the rehearsal's; null: of none
  bool isBootDelay = false;
  std::optional<int64_t> darkSec;  // of a restart, of its port that was dark longest
};

enum class FindingKind {
  dark,       // off for longer than kLongDarkSec
  otherEnd,   // in another mode in the end than in the beginning
  run,        // failed, or skipped ports
  undone,     // what a window wants, by another before the window's end
  notDone,    // planned, and nothing was done
  unplanned,  // done, and no schedule says so
};
constexpr int64_t kLongDarkSec = int64_t{24} * 3600;

struct Finding {
  FindingKind kind = FindingKind::dark;
  SwitchTime from;                  // of a run its start
  std::optional<SwitchTime> until;  // of a dark stretch that has an end; undone: the window's end
  int32_t unit = 0;
  std::vector<uint32_t> ifNums;
  const Schedule* schedule = nullptr;  // which did it; null: none is known
  const Schedule* undoer = nullptr;    // undone: who did it; null: the boot delay
  Act act = Act::off;                  // otherEnd: the mode in the end; else what was, or was to be
  bool wasSo = false;                  // dark: from before the beginning on
  std::string detail;                  // run: what the daemon says, not escaped
  size_t times = 1;                    // how often; from and until are those of the first
};

struct RehearsalReport {
  std::vector<PortChange> changes;  // by time
  std::vector<Finding> findings;    // by kind, then by time
};

// zone is that by which the schedules go. What comes back points into the rehearsal.
RehearsalReport judgeRehearsal(const Rehearsal& rehearsal, const Zone& zone);

#endif
