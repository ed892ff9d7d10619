// rehearse: what schedules would do to the ports, tried in a lab.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>

#include "api/site_document.h"
#include "cli/files.h"
#include "cli/mapped.h"
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/ports.h"
#include "client/commands/schedule/changes.h"
#include "client/rehearsal_lab.h"
#include "client/site/plan_faults.h"
#include "forecast/rehearsal_report.h"

namespace {

constexpr int32_t kDefaultDays = 8;
constexpr int32_t kMaxDays = 62;
constexpr int64_t kSecPerMin = 60;
// The lab begins so far into its first minute: a moment early, and it would live through one more.
constexpr int64_t kIntoMinuteSec = 2;

struct RehearseOptions {
  std::string what;
  std::string from;
  int32_t days = kDefaultDays;
  bool withBoot = false;
};

// What is tried, and where.
struct Preparation {
  Rehearsal rehearsal;
  bool isOfFile = false;
  std::string ports;  // the document of `ports --json`
};

SiteConfig configOfFile(const std::string& path, Session& session) {
  std::vector<SiteFault> faults;
  SiteFile file = readSiteFile(readWholeFile(path), &faults);
  if (!faults.empty()) {
    const auto lines = mapped(faults, [](const SiteFault& each) { return "  " + each.text; });
    throw Failure(kExitUsage, escaped(path) + " cannot be rehearsed:\n" + joined(lines, "\n"));
  }
  const ImportPlan plan = importPlan(file.config, {}, false);
  const std::vector<PoePort> ports = session.poePorts();
  for (const SiteFault& fault : planFaults(plan, file, ports, session.view())) {
    session.output().warn("import would refuse the file: " + fault.text);
  }
  int64_t id = 0;
  for (Schedule& schedule : file.config.schedules) {
    schedule.scheduleId = ++id;
  }
  return file.config;
}

// The schedules of the switch; or of a file; or the one that is named, enabled for this.
SiteConfig whatToRehearse(const RehearseOptions& given, Session& session, bool* isOfFile) {
  std::vector<Schedule> schedules = session.schedules();
  std::error_code error;
  const auto isMeant = [&given](const Schedule& each) {
    return given.what == each.name.c_str() || given.what == std::to_string(each.scheduleId);
  };
  *isOfFile = given.what == "-" || (std::none_of(schedules.begin(), schedules.end(), isMeant) &&
                                    std::filesystem::exists(given.what, error));
  if (*isOfFile) {
    return configOfFile(given.what, session);
  }

  if (!given.what.empty()) {
    Schedule schedule = findSchedule(schedules, given.what, std::nullopt);
    if (schedule.enabled == 0) {
      session.output().say(idAndName(schedule) + " is disabled; it is rehearsed as if it were not");
      schedule.enabled = 1;
    }
    schedules = {schedule};
  }
  SiteConfig config{schedules, {}};
  for (const int32_t unit : given.withBoot ? session.units() : std::vector<int32_t>()) {
    config.bootDelays.push_back(askBootDelay(session.daemon(), unit));
  }
  return config;
}

// The minute from which schedules act: the next one, for what this one has to do is done.
SwitchTime firstMinute(const RehearseOptions& given, Session& session) {
  const SwitchTime now = session.now();
  if (given.from.empty()) {
    return SwitchTime((now / kSecPerMin + 1) * kSecPerMin);
  }
  const std::optional<int64_t> moment =
      parseMoment(given.from, now, session.shownZone(), Toward::future);
  if (!moment) {
    throw Failure(kExitUsage,
                  "--from: " + inQuotes(given.from) + " is no day; " + kMomentForms + ".");
  }
  return SwitchTime(*moment / kSecPerMin * kSecPerMin);
}

void leaveOutIdle(const RehearseOptions& given, SiteConfig* config) {
  std::vector<Schedule>& all = config->schedules;
  all.erase(std::remove_if(all.begin(), all.end(),
                           [](const Schedule& each) { return each.enabled == 0; }),
            all.end());
  const auto isEarlier = [](const Schedule& a, const Schedule& b) {
    return a.scheduleId < b.scheduleId;
  };
  std::stable_sort(all.begin(), all.end(), isEarlier);
  const auto isNone = [](const BootDelay& delay) { return delay.delaySec <= 0; };
  std::vector<BootDelay>& delays = config->bootDelays;
  delays.erase(std::remove_if(delays.begin(), delays.end(), isNone), delays.end());
  if (!given.withBoot) {
    delays.clear();
  }
  if (all.empty() && delays.empty()) {
    throw Failure(kExitNoSuch,
                  "there is no enabled schedule to rehearse. See: quorin_poectl schedule list");
  }
}

// What the present minute has to do is perhaps not done yet. The runs come first: what ends before
// the ports are asked for is seen in them.
std::vector<SensorPort> portsWhenItBegins(const Rehearsal& rehearsal, Session& session) {
  const auto openRuns =
      ofUnits(session.units(), [&](int32_t unit) { return askOpenRuns(session.daemon(), unit); });
  const int64_t thisMinute = session.now() / kSecPerMin * kSecPerMin;
  return portsAfter(session.freshSensors(), openRuns,
                    firingsWithin(rehearsal.schedules, SwitchTime(thisMinute - 1),
                                  SwitchTime(rehearsal.from - 1), session.zone()));
}

Preparation prepare(const RehearseOptions& given, Session& session) {
  Preparation prepared;
  Rehearsal& rehearsal = prepared.rehearsal;
  SiteConfig config = whatToRehearse(given, session, &prepared.isOfFile);
  leaveOutIdle(given, &config);
  rehearsal.schedules = config.schedules;
  rehearsal.bootDelays = config.bootDelays;
  rehearsal.from = firstMinute(given, session);
  rehearsal.before = portsWhenItBegins(rehearsal, session);
  TickTime end = session.zone().tickAt(rehearsal.from);
  end.day += given.days;
  rehearsal.until = SwitchTime(session.zone().instantOf(end));
  const View view = session.view();
  prepared.ports = printedJson(portsJson(portRows(rehearsal.before, {}, {}, view), view));
  return prepared;
}

// A line on a terminal that is written over by the next, and gone in the end.
class Progress {
 public:
  explicit Progress(const Options& options)
      : isShown_(!options.quiet && isatty(STDERR_FILENO) == 1) {}
  ~Progress() { show(""); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(const std::string& text) const {
    if (isShown_) {
      fprintf(stderr, "\r\033[K%s", text.c_str());
      fflush(stderr);
    }
  }

 private:
  bool isShown_;
};

// The ids that the schedules have in the lab, and those that they have here.
using LiveIds = std::map<int64_t, int64_t>;

LiveIds createAll(const std::vector<Schedule>& schedules, Daemon& daemon) {
  LiveIds ids;
  for (const Schedule& schedule : schedules) {
    ids[createSchedule(daemon, schedule).scheduleId] = schedule.scheduleId;
  }
  return ids;
}

// Days at once, such that the switch's journal holds what they do: the lab takes a moment to set
// out.
constexpr int32_t kDaysAtOnce = 8;

void runDays(Rehearsal* rehearsal, RehearsalLab* lab, const Progress& progress, Session& session) {
  const TickTime first = session.zone().tickAt(rehearsal->from);
  const auto tell = [&](int64_t now) {
    progress.show(momentText(now, session.shownZone()).substr(0, 20));
  };
  int64_t lastEntry = 0;
  SwitchTime end = rehearsal->from;
  for (int32_t day = kDaysAtOnce; end < rehearsal->until; day += kDaysAtOnce) {
    TickTime last = first;
    last.day += day;
    end = std::min(SwitchTime(session.zone().instantOf(last)), rehearsal->until);
    lab->runTo(end - 1, tell);
    const std::vector<JournalAct> acts =
        readJournal(lab->journalSince(lastEntry).get(), &lastEntry);
    rehearsal->acts.insert(rehearsal->acts.end(), acts.begin(), acts.end());
  }
}

// The runs that deserve a look, as runs of the schedules here, oldest first.
std::vector<Run> badRuns(Daemon& daemon, int32_t unit, const LiveIds& ids) {
  std::vector<Run> bad;
  for (const Run& listed : askRunsSince(daemon, unit, SystemTime())) {
    const bool isGood = !listed.isFailure();
    if (isGood && listed.failedPortCount + listed.skippedPortCount == 0) {
      continue;
    }
    Run run = askRun(daemon, unit, listed.runId);  // with its ports
    const auto live = ids.find(run.scheduleId.value_or(0));
    if (live != ids.end()) {
      run.scheduleId = live->second;
    }
    bad.insert(bad.begin(), std::move(run));
  }
  return bad;
}

void askForRuns(Rehearsal* rehearsal, Daemon& daemon, const LiveIds& ids) {
  rehearsal->runs =
      ofUnits(unitsOf(rehearsal->before), [&](int32_t unit) { return badRuns(daemon, unit, ids); });
}

// The lab's speed at a start, which all the rehearsal keeps: ports are dark for about this long
// here.
constexpr int64_t kBootSec = 4;
constexpr int32_t kMinBootSpeed = 20;
constexpr int32_t kMaxBootSpeed = 150;

int32_t bootSpeed(const Rehearsal& rehearsal) {
  int64_t longest = 0;
  for (const BootDelay& delay : rehearsal.bootDelays) {
    const int64_t pauseSec = delay.sequential ? delay.interPortDelaySec : 0;
    const auto ports = static_cast<int64_t>(rehearsal.before.size());
    longest = std::max(longest, delay.delaySec + pauseSec * ports);
  }
  return static_cast<int32_t>(
      std::clamp<int64_t>(longest / kBootSec, kMinBootSpeed, kMaxBootSpeed));
}

void boot(const Rehearsal& rehearsal, RehearsalLab* lab, Daemon& daemon) {
  for (const BootDelay& delay : rehearsal.bootDelays) {
    setBootDelay(daemon, delay);
  }
  lab->restart(rehearsal.from + kIntoMinuteSec, bootSpeed(rehearsal));
}

void carryOut(Preparation* prepared, Session& session) {
  Rehearsal* rehearsal = &prepared->rehearsal;
  const Progress progress(session.options());
  progress.show("making a lab");
  RehearsalLab lab(session.zone(), session.output());
  lab.up(prepared->ports, rehearsal->from - kSecPerMin + kIntoMinuteSec);
  SocketDaemon daemon(lab.socketPath(), session.options().timeoutMs, [](const std::string&) {});
  const LiveIds ids = createAll(rehearsal->schedules, daemon);
  if (!rehearsal->bootDelays.empty()) {
    progress.show("starting its switch");
    boot(*rehearsal, &lab, daemon);
  }
  runDays(rehearsal, &lab, progress, session);
  askForRuns(rehearsal, daemon, ids);
  progress.show("taking it down");
}

int runRehearse(const RehearseOptions& given, Session& session) {
  Preparation prepared = prepare(given, session);
  carryOut(&prepared, session);

  const Rehearsal& rehearsal = prepared.rehearsal;
  const RehearsalReport report = judgeRehearsal(rehearsal, session.zone());
  View view = session.view();
  view.switchNow = SwitchNow(rehearsal.from);
  const auto source = prepared.isOfFile ? ScheduleSource::file : ScheduleSource::daemon;
  session.print([&] { return rehearsalText(rehearsal, report, source, view); },
                [&] { return rehearsalJson(rehearsal, report, source, view); });
  return report.findings.empty() ? kExitDone : kExitNotAsWished;
}

}  // namespace

SessionAction defineRehearse(Arguments& app, Options&) {
  const auto given = std::make_shared<RehearseOptions>();
  app.add("ID|FILE", given->what,
          "number or name of a schedule, which is rehearsed alone; or a file of export, "
          "whose schedules take the place of the switch's; all of the switch when none is "
          "named");
  app.add("--from", given->from, "first day: 2026-03-28, \"mon 14:00\", tomorrow [now]")
      .named("DATE");
  app.add("--days", given->days, "so many days [8]").range(1, kMaxDays).named("N");
  app.flag("--boot", given->withBoot,
           "begin with a start of the switch, whose boot delays hold ports back");
  return [given](Session& session) { return runRehearse(*given, session); };
}
