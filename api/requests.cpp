#include "api/requests.h"

#include <algorithm>
#include <optional>
#include <set>

#include "cli/failure.h"
#include "cli/json.h"
#include "rules/schedule_json.h"

namespace {

constexpr int64_t kRunsPerPage = 200;
constexpr int64_t kMaxOpenSec =
    int64_t{26} * 3600;  // the daemon closes a window's run after 25 hours

JsonPtr unitParams(int32_t unit) {
  return jsonObject({{"unit", unit}});
}

bool hasPortOf(const std::vector<PoePort>& ports, int32_t unit) {
  return std::any_of(ports.begin(), ports.end(),
                     [unit](const PoePort& port) { return port.unit == unit; });
}

// The run with these ports alone; none when it has none of them, or is gone by now.
std::optional<Run> askPortsOfRun(Daemon& daemon, const Run& listed,
                                 const std::vector<PoePort>& ports) try {
  Run run = askRun(daemon, listed.unit, listed.runId);
  const auto isOther = [&](const RunPort& own) {
    return findPort(ports, PoePort{run.unit, own.ifNum}) == nullptr;
  };
  run.ports.erase(std::remove_if(run.ports.begin(), run.ports.end(), isOther), run.ports.end());
  return run.ports.empty() ? std::nullopt : std::make_optional(std::move(run));
} catch (const DaemonError& error) {
  if (error.status() != kExitNoSuch) {
    throw;
  }
  return std::nullopt;
}

JsonPtr idParams(const Schedule& schedule) {
  return jsonObject({{"unit", schedule.unit}, {"scheduleId", schedule.scheduleId}});
}

}  // namespace

std::vector<Schedule> askSchedules(Daemon& daemon, int32_t unit) {
  return readSchedules(daemon.ask("schedule.list", unitParams(unit)).get(), unit);
}

std::vector<SensorPort> askSensors(Daemon& daemon, int32_t unit) {
  return readSensors(daemon.ask("sensors.all", unitParams(unit)).get(), unit);
}

RunPage askRunPage(Daemon& daemon, int32_t unit, int64_t page, int64_t pageSize) {
  return readRunPage(
      daemon
          .ask("history.list", jsonObject({{"unit", unit}, {"page", page}, {"pageSize", pageSize}}))
          .get());
}

// Runs that begin while pages are asked for push others onto the next page.
std::vector<Run> askRunsSince(Daemon& daemon, int32_t unit, SystemTime since) {
  std::vector<Run> runs;
  std::set<int64_t> taken;
  for (int64_t page = 1;; ++page) {
    const RunPage asked = askRunPage(daemon, unit, page, kRunsPerPage);
    for (const Run& run : asked.runs) {
      if (run.startedAt.value_or(since) < since) {
        return runs;
      }
      if (taken.insert(run.runId).second) {
        runs.push_back(run);
      }
    }
    if (asked.runs.size() < static_cast<size_t>(kRunsPerPage)) {
      return runs;
    }
  }
}

std::vector<Run> askOpenRuns(Daemon& daemon, int32_t unit) {
  std::vector<Run> open;
  for (const Run& run : askRunsSince(daemon, unit, SystemTime(systemNow() - kMaxOpenSec))) {
    if (run.isOpen()) {
      open.push_back(askRun(daemon, unit, run.runId));
    }
  }
  return open;
}

Run askRun(Daemon& daemon, int32_t unit, int64_t runId) {
  return readRun(
      daemon.ask("history.detail", jsonObject({{"unit", unit}, {"runId", runId}})).get());
}

std::vector<Run> askRunsOfPorts(Daemon& daemon, const std::vector<Run>& runs,
                                const std::vector<PoePort>& ports, size_t enough) {
  std::vector<Run> found;
  for (auto run = runs.begin(); run != runs.end() && found.size() < enough; ++run) {
    if (!hasPortOf(ports, run->unit)) {
      continue;
    }
    if (auto own = askPortsOfRun(daemon, *run, ports)) {
      found.push_back(std::move(*own));
    }
  }
  return found;
}

BootDelay askBootDelay(Daemon& daemon, int32_t unit) {
  return readBootDelay(daemon.ask("bootdelay.get", unitParams(unit)).get(), unit);
}

void setBootDelay(Daemon& daemon, const BootDelay& bootDelay) {
  (void)daemon.ask("bootdelay.set", bootDelayJson(bootDelay));
}

Schedule createSchedule(Daemon& daemon, const Schedule& schedule) {
  const JsonPtr result =
      daemon.ask("schedule.create",
                 jsonObject({{"unit", schedule.unit}, {"schedule", scheduleToJson(schedule)}}));
  return readSchedule(result.get(), schedule.unit);
}

Schedule updateSchedule(Daemon& daemon, const Schedule& schedule) {
  const JsonPtr result = daemon.ask(
      "schedule.update", jsonObject(idParams(schedule), {{"schedule", scheduleToJson(schedule)}}));
  return readSchedule(result.get(), schedule.unit);
}

void deleteSchedule(Daemon& daemon, const Schedule& schedule) {
  (void)daemon.ask("schedule.delete", idParams(schedule));
}
