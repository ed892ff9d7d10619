// rehearse: what schedules would do to the ports, tried in a lab that goes with the command.
#include "switchsim/lab/rehearse.h"

#include <cjson/cJSON.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <set>

#include "api/site_document.h"
#include "api/view.h"
#include "cli/files.h"
#include "cli/interrupt.h"
#include "cli/json_text.h"
#include "cli/lab_clock.h"
#include "cli/text.h"
#include "forecast/rehearsal_report.h"
#include "switchsim/commands/command.h"
#include "switchsim/view/ports_file.h"

namespace switchsim {
namespace {

constexpr int32_t kDefaultDays = 8;
constexpr int32_t kMaxDays = 62;
constexpr int64_t kSecPerMin = 60;
constexpr int64_t kMsPerSec = 1000;

struct RehearseOptions {
  std::string file;
  std::string ports;
  std::string from;
  int32_t days = kDefaultDays;
  bool withBoot = false;
  bool json = false;
  bool utc = false;
  bool isQuiet = false;
};

// A line on a terminal that is written over by the next, and gone in the end.
class Progress {
 public:
  Progress(bool isQuiet, const View& view)
      : view_(view), isShown_(!isQuiet && isatty(STDERR_FILENO) == 1) {}
  ~Progress() { show(""); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void pass(SwitchTime now) {
    if (isInterrupted()) {
      throw Failure(kExitInterrupted, "interrupted: nothing of the rehearsal is left");
    }
    const std::string day = view_.day(now);
    if (day != shown_) {
      show(day);
      shown_ = day;
    }
  }

 private:
  void show(const std::string& text) const {
    if (isShown_) {
      fprintf(stderr, "\r\033[K%s", text.c_str());
      fflush(stderr);
    }
  }

  const View& view_;
  bool isShown_;
  std::string shown_;
};

// Ports as the schedules of a file name them, all of them on.
class PortsOfSchedules {
 public:
  // What is wrong in it is left out: it is told when the file is read.
  void read(const cJSON* schedule) try {
    const int32_t unit = jsonInt32Member(schedule, "unit", 0);
    const cJSON* names = jsonMember(schedule, "portNames");
    const cJSON* ifNums = jsonMember(schedule, "ifNums");
    for (int i = 0; i < cJSON_GetArraySize(ifNums); ++i) {
      const cJSON* name = cJSON_GetArrayItem(names, i);
      add(unit, jsonToInt32(cJSON_GetArrayItem(ifNums, i)->valuedouble),
          cJSON_IsString(name) ? name->valuestring : "");
    }
    for (const std::string& word : namesIn(textIn(schedule, "ports"))) {
      const std::optional<PortPlace> place = placeNamed(word.c_str());
      if (place && names_.insert(word).second) {
        named_.emplace_back(static_cast<int32_t>(place->unit), word);
      }
      add(unit, wholeNumber(word.substr(word.rfind('#', 0) == 0 ? 1 : 0)), "");
    }
  } catch (const Failure&) {
    return;
  }

  // Those that are named in words have ifNums that no other has.
  JsonPtr document() {
    int64_t free = 1;
    for (const auto& [unit, name] : named_) {
      while (taken_.count(free) > 0) {
        ++free;
      }
      add(unit, free, name);
    }
    return jsonObject({{"ports", jsonArrayOf(std::move(ports_))}});
  }

 private:
  void add(int32_t unit, int64_t ifNum, const std::string& name) {
    if (ifNum > 0 && taken_.insert(ifNum).second) {
      ports_.push_back(jsonObject({{"unit", unit}, {"ifNum", ifNum}, {"name", name}}));
    }
  }

  std::vector<JsonPtr> ports_;
  std::set<int64_t> taken_;
  std::vector<std::pair<int32_t, std::string>> named_;
  std::set<std::string> names_;
};

JsonPtr portsOfSchedules(const cJSON* document) {
  PortsOfSchedules ports;
  const cJSON* schedule = nullptr;
  cJSON_ArrayForEach(schedule, jsonMember(document, "schedules")) {
    ports.read(schedule);
  }
  return ports.document();
}

// Those that are given, those of the document, those of its schedules.
JsonPtr portsFor(const RehearseOptions& given, const cJSON* document) {
  if (!given.ports.empty()) {
    return parsedText(readWholeFile(given.ports), given.ports);
  }
  return jsonMember(document, "ports") != nullptr ? JsonPtr(cJSON_Duplicate(document, 1))
                                                  : portsOfSchedules(document);
}

// The minute from which schedules act: the next one, for what this one has to do is done.
SwitchTime firstMinute(const std::string& from, SwitchTime now, const Zone& shownZone) {
  const SwitchTime next((now / kSecPerMin + 1) * kSecPerMin);
  if (from.empty()) {
    return next;
  }
  const std::optional<int64_t> moment = parseMoment(from, now, shownZone, Toward::future);
  if (!moment || *moment <= now) {
    throw Failure(kExitUsage,
                  "--from: " + inQuotes(from) + " is no day to come; " + kMomentForms + ".");
  }
  return std::max(SwitchTime(*moment / kSecPerMin * kSecPerMin), next);
}

PortNames namesOf(const cJSON* ports) {
  std::vector<PortLine> lines;
  const cJSON* port = nullptr;
  cJSON_ArrayForEach(port, jsonMember(ports, "ports")) {
    lines.push_back({static_cast<uint32_t>(jsonInt32Member(port, "ifNum", 0)), textIn(port, "name"),
                     textIn(port, "label")});
  }
  return PortNames({}, lines);
}

// What of the file's can act.
SiteConfig readSchedules(const RehearseOptions& given, const std::string& text, const cJSON* ports,
                         const PortNames& names) {
  std::vector<PoePort> all;
  const cJSON* port = nullptr;
  cJSON_ArrayForEach(port, jsonMember(ports, "ports")) {
    all.push_back({jsonInt32Member(port, "unit", 0),
                   static_cast<uint32_t>(jsonInt32Member(port, "ifNum", 0))});
  }
  const auto portsOf = [&](const std::string& words) { return names.parse({words}, all); };
  std::vector<SiteFault> faults;
  SiteConfig config = readSiteFile(text, {given.file, portsOf, kRehearsalKeys}, &faults).config;
  refuseFaults(faults, given.file, "cannot be rehearsed");
  auto& schedules = config.schedules;
  schedules.erase(std::remove_if(schedules.begin(), schedules.end(),
                                 [](const Schedule& each) { return each.enabled == 0; }),
                  schedules.end());
  auto& delays = config.bootDelays;
  delays.erase(
      std::remove_if(delays.begin(), delays.end(),
                     [&](const BootDelay& each) { return each.delaySec <= 0 || !given.withBoot; }),
      delays.end());
  if (schedules.empty() && delays.empty()) {
    throw Failure(kExitNoSuch, "there is no enabled schedule to rehearse");
  }
  return config;
}

RehearsalPlan planOf(const RehearseOptions& given, const cJSON* document, const SiteConfig& config,
                     const Zone& zone) {
  const SwitchTime now(
      parseMoment(textIn(document, "now"), 0, zone).value_or(hostRealMs() / kMsPerSec));
  RehearsalPlan plan;
  plan.schedules = config.schedules;
  plan.bootDelays = config.bootDelays;
  plan.withBoot = given.withBoot;
  plan.now = now;
  plan.from = firstMinute(given.from, now, given.utc ? Zone("UTC") : zone);
  TickTime end = zone.tickAt(plan.from);
  end.day += given.days;
  plan.until = SwitchTime(zone.instantOf(end));
  return plan;
}

int runRehearse(const RehearseOptions& given) {
  const std::string text = readWholeFile(given.file);
  const JsonPtr document = jsonParse(text.c_str());
  const JsonPtr ports = portsFor(given, document.get());
  const PortNames names = namesOf(ports.get());
  const SiteConfig config = readSchedules(given, text, ports.get(), names);
  const Zone zone = Zone::ofProcess();
  const Zone shownZone = given.utc ? Zone("UTC") : zone;
  RehearsalPlan plan = planOf(given, document.get(), config, zone);
  plan.ports = portsOfDocument(ports.get());

  const View view{names,
                  SwitchNow(plan.from),
                  {},
                  zone,
                  shownZone,
                  given.utc,
                  screenOfStdout(ColorMode::automatic)};
  catchInterrupts();
  Rehearsal rehearsal;
  {
    Progress progress(given.isQuiet, view);
    rehearsal = rehearse(plan, [&progress](SwitchTime at) { progress.pass(at); });
  }
  const RehearsalReport report = judgeRehearsal(rehearsal, zone);
  const bool hasIds = plan.schedules.empty() || plan.schedules.front().scheduleId > 0;
  const auto source = hasIds ? ScheduleSource::daemon : ScheduleSource::file;
  printNow(given.json ? jsonEscaped(printedJson(rehearsalJson(rehearsal, report, source, view)))
                      : rehearsalText(rehearsal, report, source, view));
  return report.findings.empty() ? kExitDone : kExitNotAsWished;
}

}  // namespace

Action defineRehearse(Arguments& app) {
  const auto given = std::make_shared<RehearseOptions>();
  app.add("FILE", given->file,
          "What `quorin_poectl export` wrote, or rehearse hands over; - is stdin")
      .required();
  app.add("--ports", given->ports,
          "The switch's ports: what `quorin_poectl ports --json` printed [those of the schedules, "
          "all on, with ifNums of their own]")
      .named("FILE");
  app.add("--from", given->from, "First day: 2026-03-28, \"mon 14:00\", tomorrow [now]")
      .named("DATE");
  app.add("--days", given->days, "So many days [8]").range(1, kMaxDays).named("N");
  app.flag("--boot", given->withBoot,
           "Begin with a start of the switch, whose boot delays hold ports back");
  app.flag("--json", given->json, "Print one JSON document");
  app.flag("--utc", given->utc, "Show times in UTC");
  app.flag("-q,--quiet", given->isQuiet, "No progress");
  app.footer("Ends with 1 where something deserves a look.");
  return [given] { return runRehearse(*given); };
}

}  // namespace switchsim
