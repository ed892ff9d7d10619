#include "client/site/plan_faults.h"

#include <cjson/cJSON.h>

#include <set>

#include "api/schedule_keys.h"
#include "cli/failure.h"
#include "cli/text.h"
#include "cli/times.h"
#include "forecast/check.h"
#include "forecast/firings.h"

namespace {

constexpr int32_t kDaysPerWeek = 7;
constexpr int32_t kDaysPerMonth = 31;
constexpr const char* kForce = " (--force stores it)";

// Empty for a port that the switch has under the name that the file gives it.
std::string portFault(const PoePort& port, const SiteFile& file, const std::vector<PoePort>& ports,
                      const View& view) {
  const std::string number = "ifNum " + std::to_string(port.ifNum);
  const std::string inFile = escaped(nameIn(file, port.ifNum));
  const std::string here = escaped(view.names.nameOrEmpty(port.ifNum));
  if (findPort(ports, port) == nullptr) {
    return number + (inFile.empty() ? "" : ", " + inFile + " in the file,") +
           " is no PoE port of unit " + std::to_string(port.unit) + " here" + kForce;
  }
  return !inFile.empty() && !here.empty() && here != inFile
             ? number + " is " + inFile + " in the file and " + here + " here" + kForce
             : "";
}

bool areDays(const cJSON* days, int32_t last) {
  const cJSON* day = nullptr;
  cJSON_ArrayForEach(day, days) {
    if (cJSON_IsNumber(day) && (day->valuedouble < 1 || day->valuedouble > last)) {
      return false;
    }
  }
  return true;
}

// What the daemon would store and not go by, of a schedule in the file that may have other faults;
// whether there is some.
bool addValues(const cJSON* object, const SiteFile& file, std::vector<SiteFault>* faults) {
  const size_t before = faults->size();
  const auto check = [&](const char* key, bool (*isFit)(const std::string&), const char* what) {
    const std::string text = textIn(object, key);
    if (!text.empty() && !isFit(text)) {
      faults->push_back(misfitAt(file, object, key, std::string(what) + kForce));
    }
  };
  check("startDate", isDate, kDateWords);
  check("endDate", isDate, kDateWords);
  check("startTime", isPlainTime, kTimeWords);
  check("endTime", isPlainTime, kTimeWords);
  check("restartTime", isPlainTime, kTimeWords);

  const bool isMonthly = textIn(object, "recurrence") == "monthly";
  const char* days = "recurrenceDays";
  if (!areDays(jsonMember(object, days), isMonthly ? kDaysPerMonth : kDaysPerWeek)) {
    const char* what = isMonthly ? "1 to 31" : "1 (Monday) to 7";
    faults->push_back(misfitAt(file, object, days, std::string(what) + kForce));
  }
  return faults->size() != before;
}

// Dates that are over are no fault: what was stored once can be stored again.
void addUseless(const Schedule& schedule, const SiteFile& file, const View& view,
                std::vector<SiteFault>* faults) {
  Schedule undated = schedule;
  undated.startDate.assign(nullptr);
  undated.endDate.assign(nullptr);
  const std::string useless = whyUseless(undated, view.now(), view.zone);
  if (!useless.empty()) {
    faults->push_back(faultAt(file, file.source(schedule), "name", kExitUsage,
                              "the daemon would store it, but " + useless + kForce));
  }
}

void addPorts(const Schedule& schedule, const SiteFile& file, const std::vector<PoePort>& ports,
              const View& view, std::vector<SiteFault>* faults) {
  for (const uint32_t ifNum : schedule.ifNums) {
    const PoePort port{schedule.unit, ifNum};
    const std::string fault = portFault(port, file, ports, view);
    if (!fault.empty()) {
      faults->push_back(faultAt(file, file.source(schedule), "ifNums",
                                findPort(ports, port) == nullptr ? kExitNoSuch : kExitUsage,
                                fault));
    }
  }
}

}  // namespace

void planFaults(const ImportPlan& plan, const SiteFile& file, const std::vector<PoePort>& ports,
                const View& view, std::vector<SiteFault>* faults) {
  using Kind = Difference::Kind;
  std::set<const cJSON*> settled;  // what is stored already
  for (const Difference& each : plan.differences) {
    if (each.kind == Kind::same && each.after) {
      settled.insert(file.source(*each.after));
    }
  }
  const cJSON* object = nullptr;
  cJSON_ArrayForEach(object, jsonMember(file.document.get(), "schedules")) {
    if (settled.count(object) == 0 && addValues(object, file, faults)) {
      settled.insert(object);
    }
  }
  for (const Difference& each : plan.differences) {
    if ((each.kind == Kind::added || each.kind == Kind::changed) && each.after) {
      addPorts(*each.after, file, ports, view, faults);
      if (settled.count(file.source(*each.after)) == 0) {
        addUseless(*each.after, file, view, faults);
      }
    }
  }
}
