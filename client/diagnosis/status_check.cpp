#include "client/diagnosis/status_check.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <tuple>

#include "cli/failure.h"
#include "cli/mapped.h"
#include "cli/text.h"

namespace {

constexpr double kMilliPerUnit = 1e3;
constexpr double kMicroPerUnit = 1e6;

struct Finding {
  CheckStatus status;
  std::string text;
};

const char* wordOf(CheckStatus status) {
  switch (status) {
    case kCheckOk:
      return "OK";
    case kCheckWarning:
      return "WARNING";
    case kCheckCritical:
      return "CRITICAL";
    default:
      return "UNKNOWN";
  }
}

// One line: what comes behind a bar are figures.
std::string lineOf(CheckStatus status, std::string text, const std::string& figures) {
  std::replace(text.begin(), text.end(), '|', '/');
  text = splitAt(text, '\n').front();
  return std::string("POE ") + wordOf(status) + ": " + text +
         (figures.empty() ? "" : " | " + figures) + "\n";
}

std::vector<uint32_t> ifNumsIn(const Status& status,
                               const std::function<bool(const StatedPort&)>& isMeant) {
  std::vector<uint32_t> ifNums;
  for (const StatedPort& each : status.ports) {
    if (isMeant(each)) {
      ifNums.push_back(each.port.ifNum);
    }
  }
  return ifNums;
}

bool isDenied(const StatedPort& each) {
  return each.port.detectionStatus == Detection::denied;
}

bool isFault(const StatedPort& each) {
  return each.state == PortState::fault && !isDenied(each);
}

bool isUnexplained(const StatedPort& each) {
  return each.state == PortState::offUnexplained;
}

bool isOffForGood(const StatedPort& each) {
  return each.state == PortState::offForGood;
}

// Those that were the last of their schedule, or the last boot delay: a later success makes good.
std::vector<Run> lastFailures(const Status& status) {
  std::vector<Run> runs = status.runsOfDay;
  std::sort(runs.begin(), runs.end(), [](const Run& a, const Run& b) {
    return std::tie(a.startedAt, a.runId) > std::tie(b.startedAt, b.runId);
  });
  const std::vector<Run> failed = failedRuns(status);
  std::set<std::pair<int32_t, int64_t>> seen;
  std::vector<Run> last;
  for (const Run& run : runs) {
    const bool counts = run.scheduleId || run.triggered == Trigger::bootDelay;
    if (!counts || run.isOpen() || !seen.insert({run.unit, run.scheduleId.value_or(0)}).second) {
      continue;
    }
    if (std::any_of(failed.begin(), failed.end(),
                    [&](const Run& each) { return each.runId == run.runId; })) {
      last.push_back(run);
    }
  }
  return last;
}

std::string runWords(const Run& run) {
  return (run.scheduleId ? inQuotes(run.scheduleName) : "boot delay") + " " +
         escaped(run.status.text) + " (run " + std::to_string(run.runId) + ")";
}

std::vector<Finding> findingsOf(const Status& status, const std::string& clockTrouble,
                                const View& view) {
  std::vector<Finding> findings;
  if (status.ports.empty()) {
    findings.push_back({kCheckCritical, "the switch tells of no PoE ports"});
  }
  const auto addPorts = [&](CheckStatus how, bool (*isMeant)(const StatedPort&), const char* what) {
    const std::vector<uint32_t> ifNums = ifNumsIn(status, isMeant);
    if (!ifNums.empty()) {
      findings.push_back({how, view.names.ranges(ifNums) + " " + what});
    }
  };
  addPorts(kCheckCritical, isUnexplained, "off for no reason known here");
  addPorts(kCheckCritical, isFault, "with a fault");
  addPorts(kCheckWarning, isDenied, "denied");
  addPorts(kCheckWarning, isOffForGood, "off by a schedule with no \"on\" to come");
  for (const Run& run : lastFailures(status)) {
    findings.push_back({kCheckWarning, runWords(run)});
  }
  if (!clockTrouble.empty()) {
    findings.push_back({kCheckWarning, clockTrouble});
  }
  return findings;
}

std::string figuresOf(const Status& status) {
  int64_t powerMw = 0;
  for (const StatedPort& each : status.ports) {
    powerMw += each.port.powerMw;
  }
  const std::array<int64_t, kPortStates> counts = portsByState(status);
  const auto count = [&](PortState state) {
    return static_cast<long long>(counts[static_cast<size_t>(state)]);
  };
  const auto denied = static_cast<long long>(ifNumsIn(status, isDenied).size());
  char text[400];
  snprintf(text, sizeof text,
           "delivering=%lld searching=%lld off_by_schedule=%lld off_for_good=%lld;0 "
           "off_by_run=%lld off_unexplained=%lld;;0 fault=%lld;;0 denied=%lld;0 failed_runs=%zu;0 "
           "power_watts=%.1f answer_time=%.6fs",
           count(PortState::delivers), count(PortState::searches), count(PortState::offBySchedule),
           count(PortState::offForGood), count(PortState::offByRun),
           count(PortState::offUnexplained), count(PortState::fault) - denied, denied,
           lastFailures(status).size(), static_cast<double>(powerMw) / kMilliPerUnit,
           static_cast<double>(status.answerUs) / kMicroPerUnit);
  return text;
}

// Also where nothing can be written.
int ended(CheckStatus status, const std::string& text) {
  fputs(lineOf(status, text, "").c_str(), stdout);
  return fflush(stdout) == 0 && ferror(stdout) == 0 ? status : kCheckUnknown;
}

CheckStatus checkStatusOf(ExitCode status) {
  const bool isSilent = status == kExitNoDaemon || status == kExitTimedOut;
  return isSilent || status == kExitDaemonError ? kCheckCritical : kCheckUnknown;
}

}  // namespace

CheckResult checkedStatus(const Status& status, const std::string& clockTrouble, const View& view) {
  const std::vector<Finding> findings = findingsOf(status, clockTrouble, view);
  CheckStatus worst = kCheckOk;
  for (const Finding& each : findings) {
    worst = std::max(worst, each.status);
  }
  const std::string text =
      findings.empty()
          ? counted(status.ports.size(), "PoE port") + ", nothing to look at"
          : joined(mapped(findings, [](const Finding& each) { return each.text; }), ", ");
  return {worst, lineOf(worst, text, figuresOf(status))};
}

int runStatusCheck(const std::function<int()>& program) try {
  return program();
} catch (const Failure& failure) {
  return ended(checkStatusOf(failure.status()), failure.what());
} catch (const std::exception& error) {
  return ended(kCheckUnknown, escaped(error.what()));
}
