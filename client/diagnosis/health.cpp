#include "client/diagnosis/health.h"

#include <algorithm>
#include <map>
#include <set>

#include "cli/text.h"
#include "forecast/twin.h"
#include "rules/run_words.h"

namespace {

constexpr int64_t kSecPerDay = 86400;
constexpr int64_t kKeptSec = 30 * kSecPerDay;
constexpr int64_t kMarginSec = 2 * kSecPerDay;
constexpr size_t kMaxDetails = 200;  // each is a request

PortState stateOfOn(const SensorPort& port) {
  return port.delivers()                       ? PortState::delivers
         : port.detectionStatus == "searching" ? PortState::searches
                                               : PortState::fault;
}

// A restart or a boot delay switches on again what it holds off now.
PortState stateOfOff(const PortEvent* cause) {
  if (cause == nullptr) {
    return PortState::offUnexplained;
  }
  const bool isWindow = cause->cause == PortCause::windowStart;
  if (isOffBySchedule(*cause) || (isWindow && cause->run.isOpen())) {
    return PortState::offBySchedule;
  }
  return cause->run.isOpen() ? PortState::offByRun : PortState::offUnexplained;
}

// Runs that left a port as it was do not explain it.
bool mayHaveSwitched(const RunPort& port) {
  return port.status == "success" || port.status == "failed" || port.status == "pending";
}

// When the port's schedules switched it off, if they did so last; in the switch's time.
std::optional<int64_t> offSince(const SensorPort& port, const std::vector<Upcoming>& past) {
  const auto last = std::find_if(past.rbegin(), past.rend(), [&port](const Upcoming& each) {
    return actsOn(*each.schedule, port);
  });
  const bool isLeftOff = last != past.rend() && last->firing.act == Act::off;
  return isLeftOff ? std::make_optional(last->firing.at) : std::nullopt;
}

// What switches at a schedule's word to switch off, whatever its record says of how it went.
bool isScheduledOff(const PortEvent& event) {
  return event.isBySchedule() && event.cause != PortCause::restart && isToOff(event);
}

// A newer run of another kind took the port from the schedules.
bool isMeantOff(const SensorPort& port, const std::vector<Upcoming>& past, const PortEvent* cause,
                int64_t clockDifference) {
  const std::optional<int64_t> since = offSince(port, past);
  const bool isTaken =
      since && cause != nullptr && !isScheduledOff(*cause) && cause->at + clockDifference > *since;
  return since && !isTaken;
}

}  // namespace

std::vector<PortHealth> healthOf(const std::vector<SensorPort>& ports, const HealthGround& ground) {
  const std::vector<Upcoming> past =
      firingsWithin(ground.schedules, ground.now - kFiringMemorySec, ground.now, ground.zone);
  std::vector<PortHealth> health;
  for (const SensorPort& port : ports) {
    if (!port.isOff()) {
      health.push_back({port, stateOfOn(port), std::nullopt});
      continue;
    }
    const std::vector<PortEvent> timeline = portTimeline(
        {port.unit, port.ifNum}, ground.runs, ground.schedules, ground.systemNow, ground.zone);
    const PortEvent* cause = whatLeftOff(timeline, ground.systemNow);
    const bool isMeant = isMeantOff(port, past, cause, ground.now - ground.systemNow);
    health.push_back({port, isMeant ? PortState::offBySchedule : stateOfOff(cause),
                      cause != nullptr ? std::make_optional(*cause) : std::nullopt});
  }
  return health;
}

std::vector<Run> askRunsBehindOff(Daemon& daemon, int32_t unit,
                                  const std::vector<SensorPort>& ports, int64_t systemNow) {
  std::set<uint32_t> unexplained;
  for (const SensorPort& port : ports) {
    if (port.unit == unit && port.isOff()) {
      unexplained.insert(port.ifNum);
    }
  }
  std::vector<Run> runs;
  if (unexplained.empty()) {
    return runs;
  }

  std::optional<int64_t> enough;
  for (const Run& run : askRunsSince(daemon, unit, systemNow - kKeptSec)) {
    if (runs.size() == kMaxDetails || (enough && run.startedAt.value_or(0) < *enough)) {
      break;
    }
    runs.push_back(askRun(daemon, unit, run.runId));
    for (const RunPort& port : runs.back().ports) {
      unexplained.erase(mayHaveSwitched(port) ? port.ifNum : 0);
    }
    if (unexplained.empty() && !enough) {
      enough = run.startedAt.value_or(0) - kMarginSec;
    }
  }
  return runs;
}

std::vector<Run> askRunsOfDay(Daemon& daemon, int32_t unit, int64_t systemNow) {
  std::vector<Run> runs = askRunsSince(daemon, unit, systemNow - kSecPerDay);
  for (Run& run : runs) {
    if (!run.isOpen() && run.status != "success") {
      run = askRun(daemon, unit, run.runId);
    }
  }
  return runs;
}

std::string resultOf(const Run& run, const std::vector<Schedule>& schedules) {
  const Schedule* schedule = scheduleOf(run, schedules);
  if (schedule == nullptr || run.errorMessage != kRunNeverEnded) {
    return run.status;
  }
  return twinAmong(schedules, *schedule) != nullptr ? "success" : run.status;
}

std::string failureText(const Run& run, const PortNames& names) {
  std::map<std::string, std::vector<uint32_t>> byMessage;
  for (const RunPort& port : run.ports) {
    if (port.status != "success" && !port.errorMessage.empty()) {
      byMessage[port.errorMessage].push_back(port.ifNum);
    }
  }
  std::vector<std::string> texts;
  if (!run.errorMessage.empty()) {
    texts.push_back(escaped(run.errorMessage));
  }
  for (const auto& [message, ifNums] : byMessage) {
    if (message != run.errorMessage) {
      texts.push_back(names.ranges(ifNums) + ": " + escaped(message));
    }
  }
  return joined(texts, "; ");
}
