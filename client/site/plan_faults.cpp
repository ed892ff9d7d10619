#include "client/site/plan_faults.h"

#include <algorithm>
#include <map>
#include <set>

#include "cli/failure.h"
#include "cli/text.h"
#include "forecast/check.h"
#include "forecast/companion.h"

namespace {

// The ports of the file, under its own names.
std::vector<PoePort> filePorts(const SiteFile& file) {
  std::vector<PoePort> ports;
  std::set<uint32_t> taken;
  for (const Schedule& schedule : file.config.schedules) {
    for (const uint32_t ifNum : schedule.ifNums) {
      if (taken.insert(ifNum).second) {
        ports.push_back({schedule.unit, ifNum});
      }
    }
  }
  return ports;
}

std::vector<PoePort> portsOfFile(const std::string& word, const SiteFile& file) try {
  const auto nameOf = [&file](uint32_t ifNum) { return nameIn(file, ifNum); };
  return PortNames(nameOf, {}).parse({word}, filePorts(file));
} catch (const Failure& failure) {
  throw Failure(failure.status(), "--map " + escaped(word) + ": the file has no such port.");
}

using PortMap = std::map<uint32_t, PoePort>;

PortMap portMapOf(const std::vector<std::string>& maps, const PortsNamed& portsNamed,
                  const SiteFile& file) {
  PortMap map;
  for (const std::string& text : maps) {
    const size_t equals = text.find('=');
    if (equals == std::string::npos) {
      throw Failure(kExitUsage, "--map takes PORT-OF-THE-FILE=PORT, such as 1/0/3=2/0/3, not " +
                                    inQuotes(text) + ".");
    }
    const std::vector<PoePort> from = portsOfFile(text.substr(0, equals), file);
    const std::vector<PoePort> to = portsNamed(text.substr(equals + 1));
    if (from.size() != to.size()) {
      throw Failure(kExitUsage, "--map " + escaped(text) + ": " + counted(from.size(), "port") +
                                    " cannot become " + std::to_string(to.size()) + ".");
    }
    for (size_t i = 0; i < from.size(); ++i) {
      map[from[i].ifNum] = to[i];
    }
  }
  return map;
}

void mapSchedule(const PortMap& map, const std::vector<PoePort>& ports, Schedule* schedule) {
  const bool isMapped = std::any_of(schedule->ifNums.begin(), schedule->ifNums.end(),
                                    [&map](uint32_t ifNum) { return map.count(ifNum) > 0; });
  if (!isMapped) {
    return;
  }
  std::set<int32_t> units;
  std::set<uint32_t> ifNums;
  for (uint32_t& ifNum : schedule->ifNums) {
    const auto mapped = map.find(ifNum);
    const auto port = std::find_if(ports.begin(), ports.end(),
                                   [ifNum](const PoePort& each) { return each.ifNum == ifNum; });
    units.insert(mapped != map.end()   ? mapped->second.unit
                 : port != ports.end() ? port->unit
                                       : schedule->unit);
    ifNum = mapped != map.end() ? mapped->second.ifNum : ifNum;
    ifNums.insert(ifNum);
  }
  const std::string name = inQuotes(schedule->name.c_str());
  if (ifNums.size() != schedule->ifNums.size()) {
    throw Failure(kExitUsage, "--map: two ports of " + name + " would become one.");
  }
  if (units.size() > 1) {
    throw Failure(kExitUsage, "--map: the ports of " + name +
                                  " would be of two units, and a schedule is for one. Map all of "
                                  "its ports.");
  }
  schedule->unit = *units.begin();
}

// Without a text for a port that the switch has under the name that the file gives it.
SiteFault portFault(int32_t unit, uint32_t ifNum, const SiteFile& file, const SiteGround& ground) {
  const std::string number = std::to_string(ifNum);
  const std::string inFile = escaped(nameIn(file, ifNum));
  const std::string here = escaped(ground.names.nameOrEmpty(ifNum));
  const std::string hint = "--map " + (inFile.empty() ? number : inFile) + "=PORT";
  const bool isPort =
      std::any_of(ground.ports.begin(), ground.ports.end(),
                  [&](const PoePort& port) { return port.unit == unit && port.ifNum == ifNum; });
  if (!isPort) {
    return {kExitNoSuch, "ifNum " + number +
                             (inFile.empty() ? "" : ", " + inFile + " in the file,") +
                             " is no PoE port of unit " + std::to_string(unit) + " here: " + hint};
  }
  if (!inFile.empty() && !here.empty() && here != inFile) {
    return {kExitUsage, "ifNum " + number + " is " + inFile + " in the file and " + here +
                            " here: say which is meant with " + hint};
  }
  return {};
}

// Dates that are over are no fault: what was stored once can be stored again.
SiteFault scheduleFault(const Schedule& schedule, const SiteFile& file, const SiteGround& ground) {
  if (ground.isForced) {
    return {};
  }
  for (const uint32_t ifNum : schedule.ifNums) {
    SiteFault fault = portFault(schedule.unit, ifNum, file, ground);
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
  const std::string useless = whyUseless(undated, ground.now, ground.zone);
  if (useless.empty()) {
    return {};
  }
  return {kExitUsage, "the daemon would store it, but " + useless + " (--force stores it)"};
}

}  // namespace

void mapPorts(const std::vector<std::string>& maps, const PortsNamed& portsNamed,
              const std::vector<PoePort>& ports, SiteFile* file) {
  const PortMap map = portMapOf(maps, portsNamed, *file);
  if (map.empty()) {
    return;
  }
  for (Schedule& schedule : file->config.schedules) {
    mapSchedule(map, ports, &schedule);
  }
  for (const auto& [from, to] : map) {
    file->portNames.erase(from);
  }
  for (const auto& [from, to] : map) {
    file->portNames.erase(to.ifNum);
  }
}

std::vector<SiteFault> planFaults(const ImportPlan& plan, const SiteFile& file,
                                  const SiteGround& ground) {
  std::vector<SiteFault> faults;
  for (const Difference& each : plan.differences) {
    const bool isSent =
        each.kind == Difference::Kind::added || each.kind == Difference::Kind::changed;
    if (isSent && each.after) {
      SiteFault fault = scheduleFault(*each.after, file, ground);
      if (!fault.text.empty()) {
        fault.text = inQuotes(each.after->name.c_str()) + ": " + fault.text;
        faults.push_back(std::move(fault));
      }
    }
  }
  return faults;
}
