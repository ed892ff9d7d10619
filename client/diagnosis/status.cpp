#include "client/diagnosis/status.h"

#include <algorithm>
#include <chrono>
#include <iterator>

#include "cli/mapped.h"
#include "client/diagnosis/run_events.h"

namespace {

// The daemon's shortest work.
int64_t measureAnswerUs(Daemon& daemon) {
  const auto start = std::chrono::steady_clock::now();
  askBootDelay(daemon, 1);
  const auto took = std::chrono::steady_clock::now() - start;
  return std::chrono::duration_cast<std::chrono::microseconds>(took).count();
}

// Success for a night that a twin has ended.
RunStatus resultOf(const Run& run, const Status& status) {
  return isEndedByTwin(run, status.runsOfDay, status.schedules) ? RunStatus::success
                                                                : run.status.kind;
}

int64_t countOf(RunStatus result, const Status& status) {
  return std::count_if(status.runsOfDay.begin(), status.runsOfDay.end(),
                       [&](const Run& run) { return resultOf(run, status) == result; });
}

}  // namespace

Status askStatus(Daemon& daemon, const std::vector<int32_t>& units, const View& view) {
  Status status;
  status.answerUs = measureAnswerUs(daemon);
  status.schedules = ofUnits(units, [&](int32_t unit) { return askSchedules(daemon, unit); });
  const auto sensors = ofUnits(units, [&](int32_t unit) { return askSensors(daemon, unit); });
  status.openRuns = ofUnits(units, [&](int32_t unit) { return askOpenRuns(daemon, unit); });
  status.runsOfDay = ofUnits(units, [&](int32_t unit) { return askRunsOfDay(daemon, unit); });
  PortRecords records{{}, {}, status.schedules};
  for (const int32_t unit : units) {
    addRecordsBehindOff(daemon, unit, sensors, &records);
  }
  status.ports = statedPorts(sensors, records, view);
  return status;
}

std::array<int64_t, kPortStates> portsByState(const Status& status) {
  std::array<int64_t, kPortStates> counts{};
  for (const StatedPort& each : status.ports) {
    ++counts[static_cast<size_t>(each.state)];
  }
  return counts;
}

std::vector<StatedPort> portsIn(PortState state, const Status& status) {
  std::vector<StatedPort> ports;
  std::copy_if(status.ports.begin(), status.ports.end(), std::back_inserter(ports),
               [state](const StatedPort& each) { return each.state == state; });
  return ports;
}

std::map<int32_t, PortSum> portsByUnit(const Status& status) {
  std::map<int32_t, PortSum> sums;
  for (const StatedPort& each : status.ports) {
    PortSum& sum = sums[each.port.unit];
    ++sum.count;
    sum.powerMw += each.port.powerMw;
  }
  return sums;
}

std::vector<Run> failedRuns(const Status& status) {
  std::vector<Run> failed;
  std::copy_if(status.runsOfDay.begin(), status.runsOfDay.end(), std::back_inserter(failed),
               [&status](const Run& run) {
                 return run.isFailure() && resultOf(run, status) != RunStatus::success;
               });
  return failed;
}

std::vector<std::pair<const char*, int64_t>> runsByResult(const Status& status) {
  return {{"success", countOf(RunStatus::success, status)},
          {"partial", countOf(RunStatus::partial, status)},
          {"failed", countOf(RunStatus::failed, status)},
          {"aborted", countOf(RunStatus::aborted, status)}};
}

int64_t runsUnderWay(const Status& status) {
  return countOf(RunStatus::running, status);
}
