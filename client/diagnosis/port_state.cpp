#include "client/diagnosis/port_state.h"

#include <algorithm>
#include <map>

#include "cli/text.h"
#include "client/diagnosis/run_events.h"
#include "forecast/firings.h"

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
PortState stateOfOff(const PoePort& port, const PortEvent* cause,
                     const std::vector<Schedule>& schedules, const View& view) {
  if (cause == nullptr) {
    return PortState::offUnexplained;
  }
  if (isOffBySchedule(*cause)) {
    return nextOn(port, schedules, view.now(), view.zone) ? PortState::offBySchedule
                                                          : PortState::offForGood;
  }
  return cause->run.isOpen() ? PortState::offByRun : PortState::offUnexplained;
}

}  // namespace

std::vector<StatedPort> statedPorts(const std::vector<SensorPort>& ports,
                                    const PortRecords& records, const View& view) {
  return mapped(ports, [&](const SensorPort& port) {
    if (!port.isOff()) {
      return StatedPort{port, stateOfOn(port), std::nullopt};
    }
    const std::vector<PortEvent> timeline = portTimeline(port, records, view.systemNow, view.zone);
    const PortEvent* cause = whatLeftOff(timeline);
    return StatedPort{port, stateOfOff(port, cause, records.schedules, view),
                      cause != nullptr ? std::make_optional(*cause) : std::nullopt};
  });
}

void addRecordsBehind(Daemon& daemon, int32_t unit, std::set<uint32_t> ifNums, SystemTime before,
                      size_t atMost, PortRecords* records) {
  if (ifNums.empty()) {
    return;
  }
  std::optional<int64_t> enough;
  size_t asked = 0;
  for (const Run& run : askRunsSince(daemon, unit, SystemTime(systemNow() - kKeptSec))) {
    const SystemTime started = run.startedAt.value_or(SystemTime());
    records->begun.push_back(run);
    if (asked == atMost || (enough && started < SystemTime(*enough))) {
      continue;
    }
    ++asked;
    records->runs.push_back(askRun(daemon, unit, run.runId));
    for (const RunPort& port : records->runs.back().ports) {
      const bool explains = started < before && hasSwitched(records->runs.back(), port.ifNum);
      ifNums.erase(explains ? port.ifNum : 0);
    }
    if (ifNums.empty() && !enough) {
      enough = started - kMarginSec;
    }
  }
}

void addRecordsBehindOff(Daemon& daemon, int32_t unit, const std::vector<SensorPort>& ports,
                         PortRecords* records) {
  std::set<uint32_t> off;
  for (const SensorPort& port : ports) {
    if (port.unit == unit && port.isOff()) {
      off.insert(port.ifNum);
    }
  }
  addRecordsBehind(daemon, unit, off, SystemTime(INT64_MAX), kMaxDetails, records);
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
