#include "api/site_document.h"

#include <cjson/cJSON.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <set>

#include "api/schedule_keys.h"
#include "cli/files.h"
#include "cli/json_text.h"
#include "cli/mapped.h"
#include "cli/text.h"
#include "rules/boot_delay.h"
#include "rules/schedule_json.h"

namespace {

using Keys = std::vector<ScheduleKey>;

bool isWithin(const cJSON* value, double least, double most) {
  return isJsonWhole(value) && value->valuedouble >= least && value->valuedouble <= most;
}

bool isUnit(const cJSON* value) {
  return isWithin(value, 1, kMaxUnits);
}

bool isDelay(const cJSON* value) {
  return isWithin(value, 0, kMaxBootDelaySec);
}

bool isInterPortDelay(const cJSON* value) {
  return isWithin(value, 0, kMaxBootInterPortDelaySec);
}

const ScheduleKey kUnitKey{"unit", isUnit, "1 to 8", true};
const ScheduleKey kPortsKey{"ports", isJsonText, "ports, such as \"1/0/5-8\"", true};

// Of a schedule, and of a boot delay, in a file of the edition.
Keys fileScheduleKeys(int32_t version) {
  Keys keys{kUnitKey, version == 1
                          ? ScheduleKey{"portNames", isJsonArray, "names in brackets", true}
                          : kPortsKey};
  std::copy(scheduleKeys().begin(), scheduleKeys().end(), std::back_inserter(keys));
  return keys;
}

const Keys& fileBootDelayKeys() {
  static const Keys kKeys{kUnitKey,
                          {"delaySec", isDelay, "0 to 600", true},
                          {"executionMode", isJsonMode, kModeWords, true},
                          {"interPortDelaySec", isInterPortDelay, "0 to 300", true}};
  return kKeys;
}

// The member that has a value; null for none.
const cJSON* valueOf(const cJSON* object, const char* key) {
  const cJSON* member = jsonMember(object, key);
  const bool isEmpty = (cJSON_IsArray(member) && member->child == nullptr) ||
                       (cJSON_IsString(member) && *member->valuestring == '\0');
  return cJSON_IsNull(member) || isEmpty ? nullptr : member;
}

// `startTime "22"`, as it stands in the file.
std::string memberText(const cJSON* member) {
  constexpr size_t kShownColumns = 40;
  const JsonTextPtr printed(cJSON_PrintUnformatted(member));
  const std::string value = escaped(printed != nullptr ? printed.get() : "");
  const std::string shown = cutToWidth(value, kShownColumns);
  return escaped(member->string) + " " + shown + (shown != value ? "..." : "");
}

std::string unknownText(const char* key, const std::vector<std::string>& names) {
  const std::string meant = didYouMean(key, names);
  return "unknown key " + inQuotes(key) +
         (meant.empty() ? ": there are " + joined(names, ", ") : "." + meant);
}

template <typename Element>
bool hasRepeats(const std::vector<Element>& all) {
  return std::set<Element>(all.begin(), all.end()).size() != all.size();
}

class SiteReader {
 public:
  SiteReader(const SiteReading& how, std::vector<SiteFault>* faults) : how_(how), faults_(faults) {}

  SiteFile read(const std::string& text);

 private:
  void fail(const cJSON* object, const char* key, const std::string& text,
            ExitCode status = kExitUsage) {
    faults_->push_back(faultAt(file_, object, key, status, text));
  }
  void misfit(const cJSON* object, const char* key, const std::string& what) {
    faults_->push_back(misfitAt(file_, object, key, what));
  }
  // Whether it is an object of these keys alone, with values that fit.
  bool checkMembers(const cJSON* object, const Keys& keys);
  bool checkNames(const cJSON* object, const std::vector<std::string>& names);
  void require(const cJSON* object, const Keys& keys, const std::vector<const char*>& needed);
  void checkTimes(const cJSON* object, const Keys& keys, const Schedule& schedule);
  void readPorts(const cJSON* object, bool isFit, Schedule* schedule);
  void readWords(const cJSON* object, Schedule* schedule);
  void readSchedule(const cJSON* object);
  void readBootDelay(const cJSON* object);

  const SiteReading& how_;
  std::vector<SiteFault>* faults_;
  SiteFile file_;
  int32_t version_ = kSiteVersion;
};

bool SiteReader::checkNames(const cJSON* object, const std::vector<std::string>& names) {
  const size_t before = faults_->size();
  std::vector<std::string> taken;
  const cJSON* member = nullptr;
  cJSON_ArrayForEach(member, object) {
    const auto isMember = [member](const std::string& name) {
      return strcasecmp(name.c_str(), member->string) == 0;
    };
    if (std::none_of(names.begin(), names.end(), isMember)) {
      fail(object, member->string, unknownText(member->string, names));
    } else if (std::any_of(taken.begin(), taken.end(), isMember)) {
      fail(object, member->string, memberText(member) + " is there twice");
    }
    taken.emplace_back(member->string);
  }
  return faults_->size() == before;
}

bool SiteReader::checkMembers(const cJSON* object, const Keys& keys) {
  if (!cJSON_IsObject(object)) {
    fail(object, "", "this must be in {}, with keys and values");
    return false;
  }
  bool isFit = checkNames(
      object, mapped(keys, [](const ScheduleKey& key) { return std::string(key.name); }));
  for (const ScheduleKey& key : keys) {
    const cJSON* member = jsonMember(object, key.name);
    if (member != nullptr && !cJSON_IsNull(member) && !key.fits(member)) {
      misfit(object, key.name, key.what);
      isFit = false;
    }
  }
  return isFit;
}

void SiteReader::require(const cJSON* object, const Keys& keys,
                         const std::vector<const char*>& needed) {
  for (const char* name : needed) {
    const auto key = std::find_if(keys.begin(), keys.end(), [name](const ScheduleKey& each) {
      return strcmp(each.name, name) == 0;
    });
    if (valueOf(object, name) == nullptr) {
      fail(object, name, std::string(name) + " is missing: it must be " + key->what);
    }
  }
}

void SiteReader::checkTimes(const cJSON* object, const Keys& keys, const Schedule& schedule) {
  if (schedule.type != ScheduleType::restart) {
    const bool isTimed = isWindowType(schedule.type) && schedule.allDay == 0;
    require(object, keys,
            isTimed ? std::vector{"startTime", "endTime"} : std::vector<const char*>());
    return;
  }
  require(object, keys, {"restartTime", "offTimeSec"});
  if (schedule.allDay != 0) {
    misfit(object, "allDay", "false for a restart");
  }
  if (valueOf(object, "offTimeSec") != nullptr && schedule.offTimeSec < 1) {
    misfit(object, "offTimeSec", "1 or more for a restart");
  }
}

void SiteReader::readWords(const cJSON* object, Schedule* schedule) try {
  const std::vector<PoePort> ports = how_.portsOf(textIn(object, kPortsKey.name));
  schedule->ifNums = ifNumsOf(ports);
  if (schedule->unit != 0 && unitsOf(ports) != std::set<int32_t>{schedule->unit}) {
    misfit(object, kPortsKey.name, "ports of unit " + std::to_string(schedule->unit));
  }
} catch (const Failure& failure) {
  if (failure.status() != kExitNoSuch && failure.status() != kExitUsage) {
    throw;
  }
  fail(object, kPortsKey.name,
       memberText(jsonMember(object, kPortsKey.name)) + ": " + failure.what(), failure.status());
}

void SiteReader::readPorts(const cJSON* object, bool isFit, Schedule* schedule) {
  const cJSON* words = valueOf(object, kPortsKey.name);
  const char* needed = version_ == 1 ? "ifNums" : kPortsKey.name;
  if (words != nullptr && !schedule->ifNums.empty()) {
    fail(object, "ifNums", "ports and ifNums: only one of them can tell the ports");
  } else if (cJSON_IsString(words)) {
    readWords(object, schedule);
  } else if (isFit && schedule->ifNums.empty()) {
    require(object, fileScheduleKeys(version_), {needed});
  } else if (hasRepeats(schedule->ifNums)) {
    misfit(object, "ifNums", "each port once");
  }

  const cJSON* names = jsonMember(object, "portNames");
  for (size_t i = 0; i < schedule->ifNums.size(); ++i) {
    const cJSON* name = cJSON_GetArrayItem(names, static_cast<int>(i));
    if (cJSON_IsString(name)) {
      file_.portNames[schedule->ifNums[i]] = name->valuestring;
    }
  }
}

void SiteReader::readSchedule(const cJSON* object) {
  const Keys keys = fileScheduleKeys(version_);
  const size_t before = faults_->size();
  const bool isFit = checkMembers(object, keys);

  Schedule schedule;
  (void)scheduleFromJson(object, &schedule);  // what it would not take is told here, key by key
  schedule.unit = jsonInt32Member(object, "unit", 0);
  schedule.scheduleId = jsonInt64Member(object, "scheduleId", 0);
  if (isFit) {
    require(object, keys, {"unit", "name", "scheduleType", "recurrence"});
    checkTimes(object, keys, schedule);
  }
  readPorts(object, isFit, &schedule);
  if (hasRepeats(schedule.days)) {
    misfit(object, "recurrenceDays", "each day once");
  }
  if (faults_->size() == before &&
      !file_.sources.emplace(std::pair(schedule.unit, schedule.name.c_str()), object).second) {
    fail(object, "name", "its unit has another one of that name");
  }
  if (faults_->size() == before) {
    file_.config.schedules.push_back(schedule);
  }
}

void SiteReader::readBootDelay(const cJSON* object) {
  const size_t before = faults_->size();
  if (!checkMembers(object, fileBootDelayKeys())) {
    return;
  }
  require(object, fileBootDelayKeys(), {"unit", "delaySec"});
  const BootDelay read = ::readBootDelay(object, jsonInt32Member(object, "unit", 0));
  for (const BootDelay& other : file_.config.bootDelays) {
    if (other.unit == read.unit) {
      fail(object, "unit", "there are two of unit " + std::to_string(read.unit));
    }
  }
  if (faults_->size() == before) {
    file_.config.bootDelays.push_back(read);
  }
}

SiteFile SiteReader::read(const std::string& text) {
  file_.document = parsedText(text, how_.path);
  const cJSON* document = file_.document.get();
  const cJSON* schedules = jsonMember(document, "schedules");
  const cJSON* bootDelays = jsonMember(document, "bootDelays");
  if (!cJSON_IsArray(schedules) || (bootDelays != nullptr && !cJSON_IsArray(bootDelays))) {
    throw Failure(kExitUsage, pathText(how_.path) +
                                  " is no export: it must be a JSON document with \"version\" and "
                                  "\"schedules\". Make one with: quorin_poectl export FILE");
  }
  version_ = jsonInt32Member(document, "version", jsonInt32Member(document, "format", 0));
  if (version_ < 1 || version_ > kSiteVersion) {
    throw Failure(kExitUsage, pathText(how_.path) +
                                  (version_ == 0 ? " has no version that is a number"
                                                 : " has version " + std::to_string(version_)) +
                                  ", and this client reads 1 (as \"format\") and 2.");
  }

  file_.lines = linesOfValues(text, document);
  std::vector<std::string> names{version_ == 1 ? "format" : "version", "schedules", "bootDelays"};
  names.insert(names.end(), how_.moreKeys.begin(), how_.moreKeys.end());
  (void)checkNames(document, names);
  const cJSON* object = nullptr;
  cJSON_ArrayForEach(object, schedules) {
    readSchedule(object);
  }
  cJSON_ArrayForEach(object, bootDelays) {
    readBootDelay(object);
  }
  return std::move(file_);
}

JsonPtr siteSchedule(const Schedule& schedule, ScheduleMembers which, const std::string& words) {
  const JsonPtr shown = scheduleToJson(schedule);
  JsonObject object;
  object.number("unit", schedule.unit);
  for (const ScheduleKey& key : scheduleKeys()) {
    JsonPtr member(cJSON_DetachItemFromObject(shown.get(), key.name));
    if (strcmp(key.name, "ifNums") == 0 && !words.empty()) {
      object.text(kPortsKey.name, words.c_str());
    } else if (member != nullptr && (key.isStored || which == ScheduleMembers::all)) {
      object.add(key.name, std::move(member));
    }
  }
  return object.take();
}

}  // namespace

JsonPtr siteDocument(const SiteConfig& config, ScheduleMembers members, const PortNames& names,
                     const std::vector<PoePort>& ports) {
  const auto ofSchedule = [&](const Schedule& schedule) {
    // The daemon takes ports of another unit; words that mean such are refused.
    std::vector<PoePort> own;
    std::copy_if(ports.begin(), ports.end(), std::back_inserter(own),
                 [&](const PoePort& port) { return port.unit == schedule.unit; });
    return siteSchedule(schedule, members, names.words(schedule.ifNums, own));
  };
  return jsonObject({{"version", kSiteVersion},
                     {"schedules", jsonArray(config.schedules, ofSchedule)},
                     {"bootDelays", jsonArray(config.bootDelays, bootDelayJson)}});
}

std::string nameIn(const SiteFile& file, uint32_t ifNum) {
  const auto found = file.portNames.find(ifNum);
  return found != file.portNames.end() ? found->second : "";
}

SiteFault faultAt(const SiteFile& file, const cJSON* object, const char* key, ExitCode status,
                  const std::string& text) {
  const cJSON* member = jsonMember(object, key);
  const size_t line = file.lines.at(member != nullptr ? member : object);
  const char* name = jsonTextMember(object, "name");
  return {status, line,
          "line " + std::to_string(line) + (name != nullptr ? ", " + inQuotes(name) : "") + ": " +
              text};
}

SiteFault misfitAt(const SiteFile& file, const cJSON* object, const char* key,
                   const std::string& what) {
  return faultAt(file, object, key, kExitUsage,
                 memberText(jsonMember(object, key)) + " must be " + what);
}

void refuseFaults(std::vector<SiteFault> faults, const std::string& path, const char* what) {
  if (faults.empty()) {
    return;
  }
  std::stable_sort(faults.begin(), faults.end(),
                   [](const SiteFault& a, const SiteFault& b) { return a.line < b.line; });
  const bool isPorts = std::all_of(faults.begin(), faults.end(), [](const SiteFault& each) {
    return each.status == kExitNoSuch;
  });
  const auto lines = mapped(faults, [](const SiteFault& each) { return "  " + each.text; });
  throw Failure(isPorts ? kExitNoSuch : kExitUsage,
                pathText(path) + " " + what + ":\n" + joined(lines, "\n"));
}

SiteFile readSiteFile(const std::string& text, const SiteReading& how,
                      std::vector<SiteFault>* faults) {
  return SiteReader(how, faults).read(text);
}
