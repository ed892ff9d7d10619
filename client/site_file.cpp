#include "client/site_file.h"

#include <cjson/cJSON.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "base/result_codes.h"
#include "client/commands/bootdelay.h"
#include "client/companion.h"
#include "client/mapped.h"
#include "client/output.h"
#include "client/schedule_check.h"
#include "client/text.h"
#include "config/boot_delay_config.h"
#include "config/schedule_json.h"

namespace {

bool isNumbers(const cJSON* value) {
  const cJSON* element = nullptr;
  cJSON_ArrayForEach(element, value) {
    if (!cJSON_IsNumber(element)) {
      return false;
    }
  }
  return cJSON_IsArray(value);
}

bool isText(const cJSON* value) {
  return cJSON_IsString(value) != 0;
}

bool isNumber(const cJSON* value) {
  return cJSON_IsNumber(value) != 0;
}

bool isBool(const cJSON* value) {
  return cJSON_IsBool(value) != 0;
}

bool isArray(const cJSON* value) {
  return cJSON_IsArray(value) != 0;
}

// A key of the file, and what its value must be where it is not null: the daemon would read any
// other as if it were not there.
struct Key {
  const char* name;
  bool (*fits)(const cJSON* value);
  const char* what;
};

// What the daemon stores of a schedule, in its order.
constexpr Key kContentKeys[] = {{"name", isText, "a string"},
                                {"scheduleType", isText, "a string"},
                                {"startDate", isText, "a string"},
                                {"endDate", isText, "a string"},
                                {"recurrence", isText, "a string"},
                                {"recurrenceDays", isNumbers, "numbers in brackets"},
                                {"ifNums", isNumbers, "numbers in brackets"},
                                {"startTime", isText, "a string"},
                                {"endTime", isText, "a string"},
                                {"allDay", isBool, "true or false"},
                                {"restartTime", isText, "a string"},
                                {"offTimeSec", isNumber, "a number"},
                                {"executionMode", isText, "a string"},
                                {"interPortDelaySec", isNumber, "a number"},
                                {"enabled", isBool, "true or false"}};

std::vector<Key> scheduleKeys() {
  std::vector<Key> keys{{"unit", isNumber, "a number"},
                        {"portNames", isArray, "names in brackets"}};
  keys.insert(keys.end(), std::begin(kContentKeys), std::end(kContentKeys));
  return keys;
}

std::vector<Key> bootDelayKeys() {
  return {{"unit", isNumber, "a number"},
          {"delaySec", isNumber, "a number"},
          {"executionMode", isText, "a string"},
          {"interPortDelaySec", isNumber, "a number"}};
}

JsonPtr nullOrText(const std::string& text) {
  return JsonPtr(text.empty() ? cJSON_CreateNull() : cJSON_CreateString(text.c_str()));
}

JsonPtr scheduleJson(const Schedule& schedule, const PortNames& names) {
  const JsonPtr shown = scheduleToJson(schedule);
  JsonObject object;
  object.number("unit", schedule.unit);
  for (const Key& key : kContentKeys) {
    JsonPtr member(cJSON_DetachItemFromObject(shown.get(), key.name));
    member != nullptr ? object.add(key.name, std::move(member)) : object.null(key.name);
    if (strcmp(key.name, "ifNums") == 0) {
      object.add("portNames", jsonArray(schedule.ifNums, [&names](uint32_t ifNum) {
                   return nullOrText(names.nameOrEmpty(ifNum));
                 }));
    }
  }
  return object.take();
}

// "schedule 3 "night"", as it stands in the file.
std::string placeOf(const cJSON* object, size_t number) {
  const char* name = jsonTextMember(object, "name");
  return "schedule " + std::to_string(number) + (name != nullptr ? " " + inQuotes(name) : "");
}

template <typename Element>
bool hasRepeats(const std::vector<Element>& all) {
  return std::set<Element>(all.begin(), all.end()).size() != all.size();
}

// What is wrong with a member; empty for none.
std::string memberFault(const cJSON* member, const std::vector<Key>& keys) {
  const char* name = member->string != nullptr ? member->string : "";
  const auto key = std::find_if(keys.begin(), keys.end(), [name](const Key& each) {
    return strcasecmp(each.name, name) == 0;
  });
  if (key == keys.end()) {
    const auto names = mapped(keys, [](const Key& each) { return std::string(each.name); });
    return "unknown key " + inQuotes(name) + "." + didYouMean(name, names);
  }
  const bool isFit = cJSON_IsNull(member) || key->fits(member);
  return isFit ? "" : inQuotes(name) + " must be " + key->what;
}

std::string keyFault(const cJSON* object, const std::vector<Key>& keys) {
  const cJSON* member = nullptr;
  cJSON_ArrayForEach(member, object) {
    std::string fault = memberFault(member, keys);
    if (!fault.empty()) {
      return fault;
    }
  }
  return "";
}

// Empty for a schedule that the daemon takes.
std::string contentFault(const cJSON* object, const Schedule& schedule, int32_t readCode) {
  const char* name = jsonTextMember(object, "name");
  std::string fault = keyFault(object, scheduleKeys());
  if (!fault.empty()) {
    return fault;
  }
  if (readCode != RESULT_OK) {
    return "name, days, times and ports must be there, an off time must be 1 s or more";
  }
  if (schedule.unit < 1 || schedule.unit > kMaxUnits) {
    return "its unit must be 1 to " + std::to_string(kMaxUnits);
  }
  if (strlen(name) > kMaxNameBytes) {
    return "its name is longer than 63 bytes";
  }
  if (hasRepeats(schedule.ifNums) || hasRepeats(schedule.days)) {
    return "a port or a day is in it twice";
  }
  return "";
}

void readPortNames(const cJSON* object, const Schedule& schedule, SiteFile* file) {
  const cJSON* names = jsonMember(object, "portNames");
  for (size_t i = 0; i < schedule.ifNums.size(); ++i) {
    const cJSON* name = cJSON_GetArrayItem(names, static_cast<int>(i));
    if (cJSON_IsString(name)) {
      file->portNames[schedule.ifNums[i]] = name->valuestring;
    }
  }
}

void readFileSchedules(const cJSON* array, SiteFile* file, std::vector<SiteFault>* faults) {
  std::set<std::pair<int32_t, std::string>> taken;
  size_t number = 0;
  const cJSON* object = nullptr;
  cJSON_ArrayForEach(object, array) {
    ++number;
    Schedule schedule;
    const int32_t code = scheduleFromJson(object, &schedule);
    schedule.unit = jsonInt32Member(object, "unit", 0);
    std::string fault = contentFault(object, schedule, code);
    if (fault.empty() && !taken.insert({schedule.unit, schedule.name.c_str()}).second) {
      fault = "its unit has another one of that name";
    }
    if (!fault.empty()) {
      faults->push_back({kExitUsage, placeOf(object, number) + ": " + fault});
      continue;
    }
    readPortNames(object, schedule, file);
    file->config.schedules.push_back(schedule);
  }
}

// Empty for a boot delay that the daemon takes as it is meant.
std::string bootDelayFault(const cJSON* object, const BootDelay& read) {
  std::string fault = keyFault(object, bootDelayKeys());
  if (!fault.empty()) {
    return fault;
  }
  const char* modeText = jsonTextMember(object, "executionMode");
  ExecutionMode mode = EXECUTION_SIMULTANEOUS;
  if (modeText != nullptr && !executionModeOf(modeText, &mode)) {
    return inQuotes(modeText) + " is not a mode";
  }
  const bool isWithin = read.unit >= 1 && read.unit <= kMaxUnits && read.delaySec >= 0 &&
                        read.delaySec <= kMaxBootDelaySec && read.interPortDelaySec >= 0 &&
                        read.interPortDelaySec <= kMaxBootInterPortDelaySec;
  return isWithin ? "" : "unit 1 to 8, 0 to 600 s, 0 to 300 s between ports";
}

void readFileBootDelays(const cJSON* array, SiteFile* file, std::vector<SiteFault>* faults) {
  std::set<int32_t> taken;
  const cJSON* object = nullptr;
  cJSON_ArrayForEach(object, array) {
    const BootDelay read = readBootDelay(object, jsonInt32Member(object, "unit", 0));
    std::string fault = bootDelayFault(object, read);
    if (fault.empty() && !taken.insert(read.unit).second) {
      fault = "there are two of it";
    }
    if (!fault.empty()) {
      faults->push_back(
          {kExitUsage, "the boot delay of unit " + std::to_string(read.unit) + ": " + fault});
      continue;
    }
    file->config.bootDelays.push_back(read);
  }
}

std::string nameIn(const SiteFile& file, uint32_t ifNum) {
  const auto found = file.portNames.find(ifNum);
  return found != file.portNames.end() ? found->second : "";
}

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

JsonPtr siteDocument(const SiteConfig& config, const PortNames& names) {
  JsonObject document;
  document.number("format", kSiteFormat)
      .add("schedules",
           jsonArray(config.schedules,
                     [&names](const Schedule& schedule) { return scheduleJson(schedule, names); }))
      .add("bootDelays", jsonArray(config.bootDelays, bootDelayJson));
  return document.take();
}

SiteFile readSiteFile(const std::string& text, std::vector<SiteFault>* faults) {
  const JsonPtr document = jsonParse(text.c_str());
  const cJSON* schedules = jsonMember(document.get(), "schedules");
  const cJSON* bootDelays = jsonMember(document.get(), "bootDelays");
  if (!cJSON_IsArray(schedules) || (bootDelays != nullptr && !cJSON_IsArray(bootDelays))) {
    throw Failure(kExitUsage,
                  "the file is no export: it must be a JSON document with \"format\" and "
                  "\"schedules\". Make one with: quorin_poectl export FILE");
  }
  const int32_t format = jsonInt32Member(document.get(), "format", 0);
  if (format != kSiteFormat) {
    throw Failure(kExitUsage, "the file has format " + std::to_string(format) +
                                  ", and this client reads format 1.");
  }

  SiteFile file;
  readFileSchedules(schedules, &file, faults);
  readFileBootDelays(bootDelays, &file, faults);
  return file;
}

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
