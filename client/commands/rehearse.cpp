// rehearse: hands the schedules and the ports to `switchsim rehearse`, which tries them in a lab.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "api/site_document.h"
#include "base/file_ptr.h"
#include "cli/files.h"
#include "cli/mapped.h"
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/ports.h"
#include "client/commands/site/site.h"
#include "client/site/plan_faults.h"
#include "forecast/rehearsal.h"

namespace {

constexpr int32_t kMaxDays = 62;

struct RehearseOptions {
  std::string what;
  std::string from;
  int32_t days = 0;  // 0: not given
  bool withBoot = false;
};

SiteConfig configOfFile(const std::string& path, Session& session) {
  std::vector<SiteFault> faults;
  SiteFile file = readSite(path, kRehearsalKeys, session, &faults);
  refuseFaults(faults, path, "cannot be rehearsed");
  planFaults(importPlan(file.config, {}, false), file, session.poePorts(), session.view(), &faults);
  for (const SiteFault& fault : faults) {
    session.output().warn("import would refuse the file: " + fault.text);
  }
  return std::move(file.config);
}

// The schedules of the switch; or of a file; or the one that is named, enabled for this.
SiteConfig whatToRehearse(const RehearseOptions& given, Session& session) {
  std::vector<Schedule> schedules = session.schedules();
  std::error_code error;
  const auto isMeant = [&given](const Schedule& each) {
    return given.what == each.name.c_str() || given.what == std::to_string(each.scheduleId);
  };
  if (given.what == "-" || (std::none_of(schedules.begin(), schedules.end(), isMeant) &&
                            std::filesystem::exists(given.what, error))) {
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
  return {schedules, mapped(session.units(), [&session](int32_t unit) {
            return askBootDelay(session.daemon(), unit);
          })};
}

// Those that a lab does not know of: its own schedules have it restart ports as here.
std::vector<Run> openResets(Daemon& daemon, int32_t unit) {
  std::vector<Run> runs = askOpenRuns(daemon, unit);
  runs.erase(std::remove_if(runs.begin(), runs.end(),
                            [](const Run& run) { return run.scheduleId.has_value(); }),
             runs.end());
  return runs;
}

// An export with the ports beside it, and with what time it is. The runs come first: what ends
// before the ports are asked for is seen in them.
std::string documentOf(const SiteConfig& config, Session& session) {
  const auto openRuns =
      ofUnits(session.units(), [&](int32_t unit) { return openResets(session.daemon(), unit); });
  const std::vector<SensorPort> ports = portsAfter(session.freshSensors(), openRuns);
  if (ports.empty()) {
    throw Failure(kExitNoSuch, "no PoE ports: there is nothing to rehearse on");
  }
  const View view = session.view();
  return printedJson(jsonObject(
      jsonObject(siteDocument(config, ScheduleMembers::all, session.names(), session.poePorts()),
                 {{"now", rfc3339(view.now(), view.zone)}}),
      portsJson(portRows(ports, {}, {}, view), view)));
}

// Beside this program in a build folder, else on PATH.
void execSwitchsim(const std::vector<std::string>& arguments) {
  std::error_code error;
  const auto here = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
  std::vector<std::string> words{"switchsim"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers(words.size() + 1);  // a null pointer ends them
  std::transform(words.begin(), words.end(), pointers.begin(),
                 [](std::string& word) { return word.data(); });
  execv((here / "switchsim").c_str(), pointers.data());
  execvp(pointers.front(), pointers.data());
}

[[noreturn]] void runSwitchsim(const std::string& document,
                               const std::vector<std::string>& arguments) {
  const FilePtr input(tmpfile());
  if (input == nullptr || fwrite(document.data(), 1, document.size(), input.get()) == 0 ||
      fflush(input.get()) != 0 || lseek(fileno(input.get()), 0, SEEK_SET) != 0 ||
      dup2(fileno(input.get()), STDIN_FILENO) < 0) {
    fail(std::string("a temporary file could not be written: ") + strerror(errno));
  }
  execSwitchsim(arguments);
  throw Failure(kExitNoSuch,
                "rehearse needs switchsim, the simulated switch, which is neither beside "
                "quorin_poectl nor on PATH. Without it: quorin_poectl schedule check, or export "
                "FILE, and switchsim rehearse FILE on another machine");
}

int runRehearse(const RehearseOptions& given, Session& session) {
  const std::string document = documentOf(whatToRehearse(given, session), session);
  std::vector<std::string> arguments{"rehearse", "-"};
  const auto pass = [&arguments](bool isGiven, const std::vector<std::string>& words) {
    arguments.insert(arguments.end(), words.begin(), isGiven ? words.end() : words.begin());
  };
  const Options& options = session.options();
  pass(!given.from.empty(), {"--from", given.from});
  pass(given.days > 0, {"--days", std::to_string(given.days)});
  pass(given.withBoot, {"--boot"});
  pass(options.json, {"--json"});
  pass(options.utc, {"--utc"});
  pass(options.quiet, {"--quiet"});
  runSwitchsim(document, arguments);
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
