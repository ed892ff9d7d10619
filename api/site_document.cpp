#include "api/site_document.h"

#include <cjson/cJSON.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "base/result_codes.h"
#include "cli/mapped.h"
#include "cli/output.h"
#include "cli/text.h"
#include "rules/boot_delay.h"
#include "rules/schedule_json.h"

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
