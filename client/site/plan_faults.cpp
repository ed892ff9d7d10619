#include "client/site/plan_faults.h"

#include "cli/failure.h"
#include "cli/text.h"
#include "forecast/check.h"
#include "forecast/firings.h"

namespace {

// Without a text for a port that the switch has under the name that the file gives it.
SiteFault portFault(const PoePort& port, const SiteFile& file, const std::vector<PoePort>& ports,
                    const View& view) {
  const uint32_t ifNum = port.ifNum;
  const std::string number = std::to_string(ifNum);
  const std::string inFile = escaped(nameIn(file, ifNum));
  const std::string here = escaped(view.names.nameOrEmpty(ifNum));
  if (findPort(ports, port) == nullptr) {
    return {kExitNoSuch, "ifNum " + number +
                             (inFile.empty() ? "" : ", " + inFile + " in the file,") +
                             " is no PoE port of unit " + std::to_string(port.unit) +
                             " here (--force stores it)"};
  }
  if (!inFile.empty() && !here.empty() && here != inFile) {
    return {kExitUsage, "ifNum " + number + " is " + inFile + " in the file and " + here +
                            " here (--force stores it)"};
  }
  return {};
}

// Dates that are over are no fault: what was stored once can be stored again.
SiteFault scheduleFault(const Schedule& schedule, const SiteFile& file,
                        const std::vector<PoePort>& ports, const View& view) {
  for (const uint32_t ifNum : schedule.ifNums) {
    SiteFault fault = portFault({schedule.unit, ifNum}, file, ports, view);
    if (!fault.text.empty()) {
      return fault;
    }
  }
  for (const char* date : {schedule.startDate.c_str(), schedule.endDate.c_str()}) {
    if (*date != '\0' && !dateRead(date)) {
      return {kExitUsage,
              inQuotes(date) +
                  " is not a date (2026-03-01): the daemon would store it, and it would "
                  "set no bound (--force stores it)"};
    }
  }
  Schedule undated = schedule;
  undated.startDate.assign(nullptr);
  undated.endDate.assign(nullptr);
  const std::string useless = whyUseless(undated, view.now(), view.zone);
  if (useless.empty()) {
    return {};
  }
  return {kExitUsage, "the daemon would store it, but " + useless + " (--force stores it)"};
}

}  // namespace

std::vector<SiteFault> planFaults(const ImportPlan& plan, const SiteFile& file,
                                  const std::vector<PoePort>& ports, const View& view) {
  std::vector<SiteFault> faults;
  for (const Difference& each : plan.differences) {
    const bool isSent =
        each.kind == Difference::Kind::added || each.kind == Difference::Kind::changed;
    if (isSent && each.after) {
      SiteFault fault = scheduleFault(*each.after, file, ports, view);
      if (!fault.text.empty()) {
        fault.text = inQuotes(each.after->name.c_str()) + ": " + fault.text;
        faults.push_back(std::move(fault));
      }
    }
  }
  return faults;
}
