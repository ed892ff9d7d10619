// What the daemon's answers say, read once for all commands. A value that an answer lacks is empty
// or none. Texts are as the daemon sent them: not escaped.
#ifndef QUORIN_API_RECORDS_H
#define QUORIN_API_RECORDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "api/answer_words.h"
#include "api/port_names.h"
#include "cli/json.h"
#include "cli/times.h"
#include "rules/schedule.h"

// Stacks have at most so many units; there is no request that lists them.
constexpr int32_t kMaxUnits = 8;
constexpr size_t kMaxNameBytes = 63;  // of a schedule; the daemon cuts longer ones

// The daemon's own record, so that the daemon's own rules (rules/due_firings.h) read it.
using Schedule = PoeSchedule;

// A port of sensors.all.
struct SensorPort : PoePort {
  int64_t powerMw = 0;
  int64_t currentMa = 0;
  int64_t voltageMv = 0;
  int64_t temperature = 0;    // degrees Celsius
  Word<AdminMode> adminMode;  // where it can be read
  Word<Detection> detectionStatus;
  std::string powerClass;
  std::string priority;
  std::optional<int64_t> powerLimitMw;

  bool isOn() const { return adminMode == AdminMode::on; }
  bool isOff() const { return adminMode == AdminMode::off; }
  bool delivers() const { return detectionStatus == Detection::delivering; }
};

// A port of a run.
struct RunPort {
  uint32_t ifNum = 0;
  Word<PortStatus> status;
  std::string errorMessage;
};

struct Run {
  int64_t runId = 0;
  int32_t unit = 0;
  Word<Trigger> triggered;
  std::optional<int64_t> scheduleId;  // none for a run of no schedule
  std::string scheduleName;
  Word<ScheduleType> scheduleType;  // empty where it is not known
  Word<RunStatus> status;           // running, then its result
  std::string executionMode;
  std::optional<SystemTime> startedAt;
  std::optional<SystemTime> completedAt;  // none while it is open
  int64_t portCount = 0;
  int64_t successPortCount = 0;
  int64_t failedPortCount = 0;
  int64_t skippedPortCount = 0;

  // Of history.detail alone.
  int64_t interPortDelaySec = 0;
  std::string errorMessage;
  std::optional<bool> allDay;
  std::vector<RunPort> ports;

  // Not of the daemon's: its window's end was that of its schedule's twin. Where it is looked for.
  bool endedByTwin = false;

  bool isOpen() const { return status == RunStatus::running; }
  bool isFailure() const { return !isOpen() && status != RunStatus::success; }
  // A port of it; null where it has not this one, or no ports are known.
  const RunPort* port(uint32_t ifNum) const;
  // Whether it switches its ports off for a while only: a restart, a manual reset, a boot delay.
  bool switchesBack() const;
};

struct BootDelay {
  int32_t unit = 0;
  int64_t delaySec = 0;
  int64_t interPortDelaySec = 0;
  bool sequential = false;
};

// A page of history.list, newest first.
struct RunPage {
  std::vector<Run> runs;
  int64_t total = 0;  // of all pages
};

// Readers of answers' results (of the objects in them), for any tree.
Schedule readSchedule(const cJSON* object, int32_t unit);
std::vector<Schedule> readSchedules(const cJSON* result, int32_t unit);
std::vector<SensorPort> readSensors(const cJSON* result, int32_t unit);
Run readRun(const cJSON* object);
RunPage readRunPage(const cJSON* result);
BootDelay readBootDelay(const cJSON* result, int32_t unit);

bool isSameBootDelay(const BootDelay& a, const BootDelay& b);
// "none", "60 s", "60 s, then one port every 5 s".
std::string bootDelayText(const BootDelay& bootDelay);
// {"unit", "delaySec", "executionMode", "interPortDelaySec"}.
JsonPtr bootDelayJson(const BootDelay& bootDelay);

// The schedule whose run it was, as it is now; null when it is gone.
const Schedule* scheduleOf(const Run& run, const std::vector<Schedule>& schedules);

std::vector<PoePort> poePortsOf(const std::vector<SensorPort>& sensors);
// Those of the ports that are meant, in the order of the meant ones.
std::vector<SensorPort> chosenPorts(const std::vector<SensorPort>& all,
                                    const std::vector<PoePort>& meant);

// The schedule that a person's word means, an id or a name. unit, if given, is the only one that
// counts. Throws Failure: kExitNoSuch for none, kExitUsage for several: where it is the id of one
// and the name of another, or where two units have the name.
enum class WordIs { either, id, name };
const Schedule& findSchedule(const std::vector<Schedule>& schedules, const std::string& word,
                             std::optional<int32_t> unit, WordIs meant = WordIs::either);

// What is wrong with a new name: "43" is taken for an id, what cannot be seen cannot be typed, the
// daemon cuts what is too long. Empty for a good one.
std::string nameFault(const std::string& name);

// Whether they do the same, whatever the order of their ports and days; name, unit and id aside.
bool isSameContent(const Schedule& a, const Schedule& b);

// "off 22:00-06:00", "on all day", "restart 03:30"; not escaped.
std::string actionText(const Schedule& schedule);
// "daily", "mon-fri", "sat,sun", "1,15 monthly"; "no days" when it has none. With dates:
// "mon-fri 2026-01-01..2026-03-31".
std::string daysText(const Schedule& schedule);

#endif
