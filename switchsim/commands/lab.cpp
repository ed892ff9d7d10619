// lab: a switch, a daemon and a clock of their own in one folder.
#include "switchsim/lab/lab.h"

#include "api/requests.h"
#include "cli/failure.h"
#include "cli/interrupt.h"
#include "cli/json.h"
#include "cli/text.h"
#include "switchsim/commands/command.h"
#include "switchsim/lab/moves.h"
#include "switchsim/switch/shared_state.h"
#include "switchsim/switch/switch_state.h"
#include "switchsim/view/ports_file.h"

namespace switchsim {
namespace {

constexpr int64_t kMsPerSec = 1000;
constexpr int64_t kAskTimeoutMs = 10000;

struct LabOptions {
  std::string folder;
  uint32_t units = 0;  // 0: not given
  std::string ports;   // a file; empty: not given
  std::string moment;
  std::optional<int32_t> speed;
  std::string shuffleSeed;
  bool json = false;
  bool clean = false;
};

void sayTime(const Lab& lab, const Zone& zone) {
  printNow("it is " + unmistakable(lab.nowMs() / kMsPerSec, zone) + "\n");
}

std::string quoted(const std::string& text) {
  std::string shell = "'";
  for (const char each : text) {
    shell += each == '\'' ? std::string("'\\''") : std::string(1, each);
  }
  return shell + "'";
}

void runUp(Lab& lab, const LabOptions& given) {
  LabPlan plan;
  const Zone zone = Zone::ofProcess();
  if (!given.moment.empty()) {
    plan.at = momentOf(given.moment, hostRealMs(), zone);
  }
  plan.speed = given.speed.value_or(1);
  plan.shuffleSeed = given.shuffleSeed;
  const std::vector<PortRecord> ports =
      given.ports.empty() ? std::vector<PortRecord>() : readPortsFile(given.ports);
  plan.isNewSwitch = given.units > 0 || !ports.empty();
  plan.makeSwitch = [&given, &ports] {
    if (!ports.empty()) {
      createSwitch(ports, 0, false);
      return;
    }
    SwitchOptions options;
    options.units = given.units > 0 ? given.units : 1;
    createSwitch(options, false);
  };
  lab.up(plan);
  sayTime(lab, zone);
  printNow("To speak to this lab:  eval \"$(switchsim lab env --dir " + quoted(lab.folder()) +
           ")\"\n");
}

void runAt(Lab& lab, const LabOptions& given) {
  const Zone zone = zoneOf(lab);
  catchInterrupts();
  goTo(lab, given.moment, [&lab, &zone] {
    if (isInterrupted()) {
      throw Failure(kExitInterrupted,
                    "interrupted on the way, it is " + momentText(lab.nowMs() / kMsPerSec, zone));
    }
  });
  sayTime(lab, zone);
}

void runJump(Lab& lab, const LabOptions& given) {
  jumpTo(lab, given.moment);
  sayTime(lab, zoneOf(lab));
}

void runSpeed(Lab& lab, const LabOptions& given) {
  setSpeed(lab, given.speed.value_or(1));
  sayTime(lab, zoneOf(lab));
}

size_t scheduleCount(const Lab& lab) {
  SocketDaemon daemon(lab.socketPath(), kAskTimeoutMs, {});
  size_t count = 0;
  for (int32_t unit = 1; unit <= static_cast<int32_t>(kMaxUnits); ++unit) {
    count += askSchedules(daemon, unit).size();
  }
  return count;
}

void runShow(Lab& lab, const LabOptions& given) {
  lab.requireRunning();
  const Zone zone = zoneOf(lab);
  const int64_t now = lab.nowMs() / kMsPerSec;
  const size_t schedules = scheduleCount(lab);
  if (given.json) {
    printNow(printedJson(jsonObject({{"folder", lab.folder()},
                                     {"time", rfc3339(now, zone)},
                                     {"speed", lab.speed()},
                                     {"socket", lab.socketPath()},
                                     {"daemonPid", lab.daemonPid()},
                                     {"schedules", schedules}})));
    return;
  }
  printNow("folder   " + lab.folder() + "\ntime     " + momentText(now, zone) + " " +
           zone.abbreviation(now) + ", speed " + std::to_string(lab.speed()) +
           "\ndaemon   process " + std::to_string(lab.daemonPid()) + ", " +
           counted(schedules, "schedule") + "\nsocket   " + lab.socketPath() + "\n");
}

void runEnv(Lab& lab, const LabOptions&) {
  lab.requireRunning();
  printNow("export QUORIN_POED_LAB=" + quoted(lab.folder()) + "\n");
  printNow("export SWITCHSIM_STATE=" + quoted(statePath()) + "\n");
  printNow(lab.zone().empty() ? "unset TZ\n" : "export TZ=" + quoted(lab.zone()) + "\n");
}

void runDown(Lab& lab, const LabOptions& given) {
  const bool ran = lab.down(given.clean);
  if (!ran && !given.clean) {
    printNow("no lab runs in " + lab.folder() + "\n");
  }
}

void addMoment(const Arguments& app, LabOptions* given) {
  app.add("TIME", given->moment, "22:00, \"tue 14:00\", +2h, \"2026-03-29 01:59:30\"").required();
}

void addUp(const Arguments& app, LabOptions* given) {
  const Argument units = app.add("--units", given->units, "A new switch with so many units")
                             .range(uint32_t{1}, kMaxUnits);
  app.add("--from", given->ports,
          "A new switch with the ports that `quorin_poectl ports --json` printed; - is stdin")
      .excludes(units);
  app.add("--at", given->moment, "When the lab begins [where it was left, or now]");
  app.add("--speed", given->speed, "How much faster than real its clock runs; 0: it stands [1]")
      .range(0, kMaxLabSpeed);
  app.add("--shuffle", given->shuffleSeed,
          "Let the daemon's threads take their turns at random, by this seed")
      .named("SEED");
}

void addSpeed(const Arguments& app, LabOptions* given) {
  app.add("N", given->speed, "1 is real time; at 0 it stands").required().range(0, kMaxLabSpeed);
}

void addJson(const Arguments& app, LabOptions* given) {
  app.flag("--json", given->json, "Print one JSON document");
}

void addClean(const Arguments& app, LabOptions* given) {
  app.flag("--clean", given->clean, "Remove the lab's folder, too");
}

void addNothing(const Arguments&, LabOptions*) {}

struct LabCommand {
  const char* name;
  const char* summary;
  void (*addOptions)(const Arguments& app, LabOptions* given);
  void (*action)(Lab& lab, const LabOptions& given);
};

constexpr LabCommand kLabCommands[] = {
    {"up", "Make a lab, or go on with one that was taken down", addUp, runUp},
    {"at", "Go to a time, as fast as it can: the daemon does all that is to be done until then",
     addMoment, runAt},
    {"jump", "Set the clock, also back; what was due in between does not happen", addMoment,
     runJump},
    {"speed", "Set how much faster than real the clock runs", addSpeed, runSpeed},
    {"show", "Tell time, daemon and socket", addJson, runShow},
    {"env", "Print what makes quorin_poectl and switchsim speak to this lab", addNothing, runEnv},
    {"down", "End the daemon; its files stay for the next `up`", addClean, runDown},
};

}  // namespace

std::vector<Command> labCommands() {
  const auto given = std::make_shared<LabOptions>();
  const auto defineGroup = [given](const Arguments& app) -> Action {
    app.add("--dir", given->folder, "The lab's folder [that of QUORIN_POED_LAB, or your own]");
    return nullptr;
  };
  std::vector<Command> all{
      {"lab", "A switch, the real daemon and a clock of their own in one folder", defineGroup}};
  for (const LabCommand& each : kLabCommands) {
    const auto define = [given, &each](const Arguments& app) {
      app.takesOuterOptions();
      each.addOptions(app, given.get());
      return doing([given, &each] {
        Lab lab(given->folder.empty() ? defaultLabFolder() : given->folder);
        each.action(lab, *given);
      });
    };
    all.push_back({std::string("lab ") + each.name, each.summary, define});
  }
  return all;
}

}  // namespace switchsim
