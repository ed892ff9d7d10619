#include "api/site_document.h"

#include <cjson/cJSON.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "api/schedule_keys.h"
#include "api/view.h"
#include "base/result_codes.h"
#include "cli/mapped.h"
#include "cli/text.h"
#include "rules/boot_delay.h"
#include "rules/schedule_json.h"

namespace {

using Keys = std::vector<ScheduleKey>;

// Of a schedule, and of a boot delay, in the file.
Keys fileScheduleKeys() {
  Keys keys{{"unit", isJsonNumber, "a number", true},
            {"portNames", isJsonArray, "names in brackets", true}};
  keys.insert(keys.end(), scheduleKeys().begin(), scheduleKeys().end());
  return keys;
}

Keys fileBootDelayKeys() {
  return {{"unit", isJsonNumber, "a number", true},
          {"delaySec", isJsonNumber, "a number", true},
          {"executionMode", isJsonText, "a string", true},
          {"interPortDelaySec", isJsonNumber, "a number", true}};
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
std::string memberFault(const cJSON* member, const Keys& keys) {
  const char* name = member->string != nullptr ? member->string : "";
  const auto key = std::find_if(keys.begin(), keys.end(), [name](const ScheduleKey& each) {
    return strcasecmp(each.name, name) == 0;
  });
  if (key == keys.end()) {
    const auto names = mapped(keys, [](const ScheduleKey& each) { return std::string(each.name); });
    return "unknown key " + inQuotes(name) + "." + didYouMean(name, names);
  }
  const bool isFit = cJSON_IsNull(member) || key->fits(member);
  return isFit ? "" : inQuotes(name) + " must be " + key->what;
}

std::string keyFault(const cJSON* object, const Keys& keys) {
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
  std::string fault = keyFault(object, fileScheduleKeys());
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
    schedule.scheduleId = jsonInt64Member(object, "scheduleId", 0);
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
  std::string fault = keyFault(object, fileBootDelayKeys());
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

}  // namespace

JsonPtr siteDocument(const SiteConfig& config, ScheduleMembers members, const PortNames& names) {
  const auto ofSchedule = [&](const Schedule& schedule) {
    return scheduleMembers(schedule, members, names);
  };
  return jsonObject({{"format", kSiteFormat},
                     {"schedules", jsonArray(config.schedules, ofSchedule)},
                     {"bootDelays", jsonArray(config.bootDelays, bootDelayJson)}});
}

std::string nameIn(const SiteFile& file, uint32_t ifNum) {
  const auto found = file.portNames.find(ifNum);
  return found != file.portNames.end() ? found->second : "";
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
