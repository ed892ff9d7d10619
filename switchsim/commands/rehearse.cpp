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

// Ports as the schedules of the file name them, all of them on.
std::vector<PortRecord> portsOfSchedules(const SiteFile& file) {
  std::vector<JsonPtr> ports;
  std::set<uint32_t> taken;
  for (const Schedule& schedule : file.config.schedules) {
    for (const uint32_t ifNum : schedule.ifNums) {
      if (taken.insert(ifNum).second) {
        ports.push_back(
            jsonObject({{"unit", schedule.unit}, {"ifNum", ifNum}, {"name", nameIn(file, ifNum)}}));
      }
    }
  }
  return portsOfDocument(jsonObject({{"ports", jsonArrayOf(std::move(ports))}}).get());
}

std::vector<PortRecord> portsFor(const RehearseOptions& given, const cJSON* document,
                                 const SiteFile& file) {
  if (!given.ports.empty()) {
    return readPortsFile(given.ports);
  }
  return jsonMember(document, "ports") != nullptr ? portsOfDocument(document)
                                                  : portsOfSchedules(file);
}

SiteFile readSchedules(const RehearseOptions& given, const std::string& text) {
  std::vector<SiteFault> faults;
  SiteFile file = readSiteFile(text, &faults);
  if (!faults.empty()) {
    const auto lines = mapped(faults, [](const SiteFault& each) { return "  " + each.text; });
    throw Failure(kExitUsage,
                  escaped(given.file) + " cannot be rehearsed:\n" + joined(lines, "\n"));
  }
  auto& schedules = file.config.schedules;
  schedules.erase(std::remove_if(schedules.begin(), schedules.end(),
                                 [](const Schedule& each) { return each.enabled == 0; }),
                  schedules.end());
  auto& delays = file.config.bootDelays;
  delays.erase(
      std::remove_if(delays.begin(), delays.end(),
                     [&](const BootDelay& each) { return each.delaySec <= 0 || !given.withBoot; }),
      delays.end());
  if (schedules.empty() && delays.empty()) {
    throw Failure(kExitNoSuch, "there is no enabled schedule to rehearse");
  }
  return file;
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

PortNames namesOf(const cJSON* document, const SiteFile& file) {
  std::vector<PortLine> lines;
  for (const auto& [ifNum, name] : file.portNames) {
    lines.push_back({ifNum, name, ""});
  }
  const cJSON* port = nullptr;
  cJSON_ArrayForEach(port, jsonMember(document, "ports")) {
    lines.push_back({static_cast<uint32_t>(jsonInt32Member(port, "ifNum", 0)), textIn(port, "name"),
                     textIn(port, "label")});
  }
  return PortNames({}, lines);
}

RehearsalPlan planOf(const RehearseOptions& given, const cJSON* document, const SiteFile& file,
                     const Zone& zone) {
  const SwitchTime now(
      parseMoment(textIn(document, "now"), 0, zone).value_or(hostRealMs() / kMsPerSec));
  RehearsalPlan plan;
  plan.schedules = file.config.schedules;
  plan.bootDelays = file.config.bootDelays;
  plan.withBoot = given.withBoot;
  plan.ports = portsFor(given, document, file);
  plan.now = now;
  plan.from = firstMinute(given.from, now, given.utc ? Zone("UTC") : zone);
  TickTime end = zone.tickAt(plan.from);
  end.day += given.days;
  plan.until = SwitchTime(zone.instantOf(end));
  return plan;
}

int runRehearse(const RehearseOptions& given) {
  const std::string text = readWholeFile(given.file);
  const SiteFile file = readSchedules(given, text);
  const JsonPtr document = jsonParse(text.c_str());
  const Zone zone = Zone::ofProcess();
  const Zone shownZone = given.utc ? Zone("UTC") : zone;
  const RehearsalPlan plan = planOf(given, document.get(), file, zone);

  const PortNames names = namesOf(document.get(), file);
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
          "all on]")
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
