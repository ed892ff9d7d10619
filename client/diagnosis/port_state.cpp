#include "client/diagnosis/port_state.h"

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
  return port.delivers()                                ? PortState::delivers
         : port.detectionStatus == Detection::searching ? PortState::searches
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
  return port.status == PortStatus::success || port.status == PortStatus::failed ||
         port.status == PortStatus::pending;
}

// When the port's schedules switched it off, if they did so last.
std::optional<SwitchTime> offSince(const PoePort& port, const std::vector<Firing>& past) {
  const std::vector<Firing> course = courseOf(port, past);
  const bool isLeftOff = !course.empty() && course.back().act == Act::off;
  return isLeftOff ? std::make_optional(course.back().at) : std::nullopt;
}

// What switches at a schedule's word to switch off, whatever its record says of how it went.
bool isScheduledOff(const PortEvent& event) {
  return event.isBySchedule() && event.cause != PortCause::restart && isToOff(event);
}

// A newer run of another kind took the port from the schedules. The clocks may differ.
bool isMeantOff(const PoePort& port, const std::vector<Firing>& past, const PortEvent* cause,
                const View& view) {
  const std::optional<SwitchTime> since = offSince(port, past);
  const bool isTaken = since && cause != nullptr && !isScheduledOff(*cause) &&
                       view.systemNow - cause->at < view.now() - *since;
  return since && !isTaken;
}

}  // namespace

std::vector<StatedPort> statedPorts(const std::vector<SensorPort>& ports,
                                    const std::vector<Run>& runs,
                                    const std::vector<Schedule>& schedules, const View& view) {
  const std::vector<Firing> past = pastFirings(schedules, view.now(), view.zone);
  return mapped(ports, [&](const SensorPort& port) {
    if (!port.isOff()) {
      return StatedPort{port, stateOfOn(port), std::nullopt};
    }
    const std::vector<PortEvent> timeline =
        portTimeline(port, runs, schedules, view.systemNow, view.zone);
    const PortEvent* cause = whatLeftOff(timeline, view.systemNow);
    const bool isMeant = isMeantOff(port, past, cause, view);
    return StatedPort{port, isMeant ? PortState::offBySchedule : stateOfOff(cause),
                      cause != nullptr ? std::make_optional(*cause) : std::nullopt};
  });
}

std::vector<Run> askRunsBehindOff(Daemon& daemon, int32_t unit,
                                  const std::vector<SensorPort>& ports) {
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
  for (const Run& run : askRunsSince(daemon, unit, SystemTime(systemNow() - kKeptSec))) {
    if (runs.size() == kMaxDetails || (enough && run.startedAt.value_or(SystemTime()) < *enough)) {
      break;
    }
    runs.push_back(askRun(daemon, unit, run.runId));
    for (const RunPort& port : runs.back().ports) {
      unexplained.erase(mayHaveSwitched(port) ? port.ifNum : 0);
    }
    if (unexplained.empty() && !enough) {
      enough = run.startedAt.value_or(SystemTime()) - kMarginSec;
    }
  }
  return runs;
}

std::vector<Run> askRunsOfDay(Daemon& daemon, int32_t unit) {
  std::vector<Run> runs = askRunsSince(daemon, unit, SystemTime(systemNow() - kSecPerDay));
  for (Run& run : runs) {
    if (run.isFailure()) {
      run = askRun(daemon, unit, run.runId);
    }
  }
  return runs;
}

RunStatus resultOf(const Run& run, const std::vector<Schedule>& schedules) {
  const Schedule* schedule = scheduleOf(run, schedules);
  const bool isEndedByTwin = schedule != nullptr && run.errorMessage == kRunNeverEnded &&
                             twinAmong(schedules, *schedule) != nullptr;
  return isEndedByTwin ? RunStatus::success : run.status.kind;
}

std::string failureText(const Run& run, const PortNames& names) {
  std::map<std::string, std::vector<uint32_t>> byMessage;
  for (const RunPort& port : run.ports) {
    if (port.status != PortStatus::success && !port.errorMessage.empty()) {
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
