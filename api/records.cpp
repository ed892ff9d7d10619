#include "api/records.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <array>

#include "cli/failure.h"
#include "cli/json.h"
#include "cli/mapped.h"
#include "cli/text.h"
#include "cli/times.h"
#include "rules/schedule_json.h"

namespace {

// What a reader makes of each object of an array.
template <typename Reader>
auto eachOf(const cJSON* array, const Reader& read) {
  std::vector<decltype(read(array))> all;
  const cJSON* element = nullptr;
  cJSON_ArrayForEach(element, array) {
    all.push_back(read(element));
  }
  return all;
}

SensorPort readSensor(const cJSON* object, int32_t unit) {
  SensorPort port;
  port.unit = unit;
  port.ifNum = static_cast<uint32_t>(jsonInt32Member(object, "ifNum", 0));
  port.powerMw = jsonInt64Member(object, "powerMw", 0);
  port.currentMa = jsonInt64Member(object, "currentMa", 0);
  port.voltageMv = jsonInt64Member(object, "voltageMv", 0);
  port.temperature = jsonInt64Member(object, "temperature", 0);
  port.adminMode = textIn(object, "adminMode");
  port.detectionStatus = textIn(object, "detectionStatus");
  port.powerClass = textIn(object, "powerClass");
  port.priority = textIn(object, "priority");
  port.powerLimitMw = numberIn(object, "powerLimitMw");
  return port;
}

RunPort readRunPort(const cJSON* object) {
  return {static_cast<uint32_t>(jsonInt32Member(object, "ifNum", 0)), textIn(object, "status"),
          textIn(object, "errorMessage")};
}

bool isNumbered(const Schedule& schedule, const std::string& word) {
  return schedule.scheduleId == wholeNumber(word);
}

bool isNamed(const Schedule& schedule, const std::string& word) {
  return schedule.name.c_str() == word;
}

using Matches = bool (*)(const Schedule&, const std::string&);

std::vector<const Schedule*> matching(const std::vector<Schedule>& schedules,
                                      const std::string& word, std::optional<int32_t> unit,
                                      Matches matches) {
  std::vector<const Schedule*> found;
  for (const Schedule& schedule : schedules) {
    if ((!unit || schedule.unit == *unit) && matches(schedule, word)) {
      found.push_back(&schedule);
    }
  }
  return found;
}

[[noreturn]] void failNoSchedule(const std::vector<Schedule>& schedules, const std::string& word,
                                 std::optional<int32_t> unit, WordIs meant) {
  if (meant == WordIs::id) {
    throw Failure(kExitNoSuch, "no schedule has the id " + inQuotes(word) +
                                   ".  See: quorin_poectl schedule list");
  }
  const std::vector<std::string> names =
      mapped(schedules, [](const Schedule& each) { return std::string(each.name.c_str()); });
  const std::string where = unit ? " in unit " + std::to_string(*unit) : "";
  throw Failure(kExitNoSuch, "no schedule " + inQuotes(word) + where + "." +
                                 didYouMean(word, names) + "  See: quorin_poectl schedule list");
}

// "1-5" of 1 to 5 as names: neighbours as a range.
std::string weekdaysText(const std::vector<int32_t>& days) {
  constexpr std::array<const char*, 8> kNames{"?", "mon", "tue", "wed", "thu", "fri", "sat", "sun"};
  const auto name = [&](int32_t day) {
    return day >= 1 && day <= 7 ? std::string(kNames[static_cast<size_t>(day)])
                                : std::to_string(day);
  };
  std::vector<std::string> texts;
  for (size_t first = 0; first < days.size();) {
    size_t last = first;
    while (last + 1 < days.size() && days[last + 1] == days[last] + 1) {
      ++last;
    }
    const bool isRange = last > first + 1;
    texts.push_back(name(days[first]) + (isRange ? "-" + name(days[last]) : ""));
    first = isRange ? last + 1 : first + 1;
  }
  return joined(texts, ",");
}

std::string recurrenceWords(const Schedule& schedule) {
  if (schedule.recurrence == Recurrence::daily) {
    return "daily";
  }
  std::vector<int32_t> days = schedule.days;
  std::sort(days.begin(), days.end());
  if (days.empty()) {
    return "no days";
  }
  if (schedule.recurrence == Recurrence::weekly) {
    return weekdaysText(days);
  }
  return joined(mapped(days, [](int32_t day) { return std::to_string(day); }), ",") + " monthly";
}

// Whatever name and id, and the order of days and ports.
std::string contentText(Schedule schedule) {
  schedule.scheduleId = 0;
  schedule.name.assign(nullptr);
  std::sort(schedule.days.begin(), schedule.days.end());
  std::sort(schedule.ifNums.begin(), schedule.ifNums.end());
  return printedJson(scheduleToJson(schedule));
}

}  // namespace

// Only what is missing makes the daemon's reader refuse; what is there has been read.
Schedule readSchedule(const cJSON* object, int32_t unit) {
  Schedule schedule;
  (void)scheduleFromJson(object, &schedule);
  schedule.scheduleId = jsonInt64Member(object, "scheduleId", 0);
  schedule.unit = unit;
  return schedule;
}

std::vector<Schedule> readSchedules(const cJSON* result, int32_t unit) {
  return eachOf(jsonMember(result, "schedules"),
                [unit](const cJSON* each) { return readSchedule(each, unit); });
}

std::vector<SensorPort> readSensors(const cJSON* result, int32_t unit) {
  return eachOf(jsonMember(result, "ports"),
                [unit](const cJSON* each) { return readSensor(each, unit); });
}

bool Run::switchesBack() const {
  return triggered == Trigger::manual || triggered == Trigger::bootDelay ||
         scheduleType == ScheduleType::restart;
}

const RunPort* Run::port(uint32_t ifNum) const {
  const auto found = std::find_if(ports.begin(), ports.end(),
                                  [ifNum](const RunPort& each) { return each.ifNum == ifNum; });
  return found != ports.end() ? &*found : nullptr;
}

Run readRun(const cJSON* object) {
  Run run;
  run.runId = jsonInt64Member(object, "runId", 0);
  run.unit = jsonInt32Member(object, "unit", 0);
  run.triggered = textIn(object, "triggered");
  run.scheduleId = numberIn(object, "scheduleId");
  run.scheduleName = textIn(object, "scheduleName");
  run.scheduleType = textIn(object, "scheduleType");
  run.status = textIn(object, "status");
  run.executionMode = textIn(object, "executionMode");
  run.startedAt = parseUtc(jsonTextMember(object, "startedAt"));
  run.completedAt = parseUtc(jsonTextMember(object, "completedAt"));

  run.successPortCount = jsonInt64Member(object, "successPortCount", 0);
  run.failedPortCount = jsonInt64Member(object, "failedPortCount", 0);
  run.skippedPortCount = jsonInt64Member(object, "skippedPortCount", 0);
  run.interPortDelaySec = jsonInt64Member(object, "interPortDelaySec", 0);
  run.errorMessage = textIn(object, "errorMessage");
  const cJSON* allDay = jsonMember(object, "allDay");
  run.allDay = cJSON_IsBool(allDay) ? std::make_optional(cJSON_IsTrue(allDay) != 0) : std::nullopt;

  // A run that has just begun tells its ports in another way.
  run.ports = eachOf(jsonMember(object, "portSteps"), readRunPort);
  for (const double ifNum : eachOf(jsonMember(object, "resolvedIfNums"), [](const cJSON* number) {
         return cJSON_GetNumberValue(number);
       })) {
    run.ports.push_back({static_cast<uint32_t>(jsonToInt32(ifNum)), "pending", ""});
  }
  run.portCount = jsonInt64Member(object, "portCount", static_cast<int64_t>(run.ports.size()));
  return run;
}

RunPage readRunPage(const cJSON* result) {
  return {eachOf(jsonMember(result, "runs"), readRun), jsonInt64Member(result, "total", 0)};
}

BootDelay readBootDelay(const cJSON* result, int32_t unit) {
  return {unit, jsonInt64Member(result, "delaySec", 0),
          jsonInt64Member(result, "interPortDelaySec", 0),
          textIn(result, "executionMode") == "sequential"};
}

bool isSameBootDelay(const BootDelay& a, const BootDelay& b) {
  return a.unit == b.unit && a.delaySec == b.delaySec && a.sequential == b.sequential &&
         a.interPortDelaySec == b.interPortDelaySec;
}

std::string bootDelayText(const BootDelay& bootDelay) {
  if (bootDelay.delaySec == 0) {
    return "none";
  }
  return secondsText(bootDelay.delaySec) +
         (bootDelay.sequential ? ", then one port every " + secondsText(bootDelay.interPortDelaySec)
                               : "");
}

JsonPtr bootDelayJson(const BootDelay& bootDelay) {
  const ExecutionMode mode = bootDelay.sequential ? EXECUTION_SEQUENTIAL : EXECUTION_SIMULTANEOUS;
  return jsonObject({{"unit", bootDelay.unit},
                     {"delaySec", bootDelay.delaySec},
                     {"executionMode", executionModeText(mode)},
                     {"interPortDelaySec", bootDelay.interPortDelaySec}});
}

const Schedule* scheduleOf(const Run& run, const std::vector<Schedule>& schedules) {
  const auto found = std::find_if(schedules.begin(), schedules.end(), [&run](const Schedule& each) {
    return each.unit == run.unit && each.scheduleId == run.scheduleId;
  });
  return found != schedules.end() ? &*found : nullptr;
}

std::vector<PoePort> poePortsOf(const std::vector<SensorPort>& sensors) {
  return mapped(sensors, [](const SensorPort& port) { return PoePort{port.unit, port.ifNum}; });
}

std::vector<SensorPort> chosenPorts(const std::vector<SensorPort>& all,
                                    const std::vector<PoePort>& meant) {
  std::vector<SensorPort> some;
  for (const PoePort& port : meant) {
    if (const SensorPort* sensor = findPort(all, port)) {
      some.push_back(*sensor);
    }
  }
  return some;
}

// Blanks other than ' ', soft hyphens, what has no width, and the empty Braille cell.
static bool hasUnseen(const std::string& name) {
  constexpr const char* kUnseen[] = {"\u00a0", "\u00ad", "\u2000", "\u2001", "\u2002", "\u2003",
                                     "\u2004", "\u2005", "\u2006", "\u2007", "\u2008", "\u2009",
                                     "\u200a", "\u200b", "\u200c", "\u200d", "\u202f", "\u205f",
                                     "\u2060", "\u2800", "\u3000", "\ufeff"};
  return std::any_of(std::begin(kUnseen), std::end(kUnseen), [&name](const char* unseen) {
    return name.find(unseen) != std::string::npos;
  });
}

const Schedule& findSchedule(const std::vector<Schedule>& schedules, const std::string& word,
                             std::optional<int32_t> unit, WordIs meant) {
  using Found = std::vector<const Schedule*>;
  const Found byId = meant != WordIs::name ? matching(schedules, word, unit, isNumbered) : Found();
  const Found byName = meant != WordIs::id ? matching(schedules, word, unit, isNamed) : Found();
  if (byId.empty() && byName.empty()) {
    failNoSchedule(schedules, word, unit, meant);
  }
  const bool isAmbiguous =
      !byId.empty() && !byName.empty() && (byName.size() > 1 || byId.front() != byName.front());
  if (isAmbiguous) {
    throw Failure(kExitUsage, word + " is the id of " + inQuotes(byId.front()->name.c_str()) +
                                  " and the name of " + std::to_string(byName.front()->scheduleId) +
                                  ": say which with --id or --name.");
  }
  const Found& found = byId.empty() ? byName : byId;
  if (found.size() > 1) {
    const std::vector<std::string> units =
        mapped(found, [](const Schedule* each) { return std::to_string(each->unit); });
    throw Failure(kExitUsage, "units " + joined(units, " and ") + " have a schedule " +
                                  inQuotes(word) + ": say which with --unit N.");
  }
  return *found.front();
}

std::string nameFault(const std::string& name) {
  if (name.find_first_not_of(' ') == std::string::npos) {
    return "the schedule needs a name.";
  }
  if (name.find_first_not_of("0123456789") == std::string::npos) {
    return inQuotes(name) +
           " is a number, which would be taken for an id: put a letter into the name.";
  }
  const bool isSpaced = name.front() == ' ' || name.back() == ' ';
  if (isSpaced || escaped(name) != name || hasUnseen(name)) {
    return inQuotes(name) + " has characters or blanks that cannot be seen, or is not UTF-8.";
  }
  return name.size() > kMaxNameBytes
             ? inQuotes(name) + " is longer than 63 bytes: the daemon would cut it."
             : "";
}

bool isSameContent(const Schedule& a, const Schedule& b) {
  return contentText(a) == contentText(b);
}

std::string actionText(const Schedule& schedule) {
  if (schedule.type == ScheduleType::restart) {
    return std::string("restart ") + schedule.restartTime.c_str();
  }
  const std::string verb = schedule.type == ScheduleType::powerOn    ? "on "
                           : schedule.type == ScheduleType::powerOff ? "off "
                                                                     : "unknown ";
  return schedule.allDay != 0 ? verb + "all day"
                              : verb + schedule.startTime.c_str() + "-" + schedule.endTime.c_str();
}

std::string daysText(const Schedule& schedule) {
  const bool hasDates = !schedule.startDate.empty() || !schedule.endDate.empty();
  const std::string dates =
      std::string(" ") + schedule.startDate.c_str() + ".." + schedule.endDate.c_str();
  return recurrenceWords(schedule) + (hasDates ? dates : "");
}
