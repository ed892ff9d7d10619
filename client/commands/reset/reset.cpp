// reset: power-cycles ports, and shows each until it is back. on: switches on those that are off.
#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>

#include "base/sleep.h"
#include "cli/confirm.h"
#include "cli/interrupt.h"
#include "cli/mapped.h"
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/reset/watched_ports.h"
#include "client/commands/until.h"

namespace {

constexpr int64_t kDefaultWaitMs = 90000;
constexpr int64_t kShortestOffTimeMs = 1000;  // that makes a restart of a reset
constexpr int64_t kPortMs = 30000;            // what a port's turn takes at most beside its pauses

struct ResetOptions {
  std::vector<std::string> ports;
  bool all = false;
  int64_t offTimeMs = 0;
  std::optional<int64_t> staggerMs;
  int64_t waitMs = kDefaultWaitMs;
  bool noWait = false;
  bool isOneByOne = false;
  bool isAgreed = false;
};

// One unit's part of the reset.
struct UnitReset {
  int32_t unit = 0;
  std::vector<PoePort> ports;  // none: all of the unit that are enabled
};

std::vector<UnitReset> splitByUnit(const std::vector<PoePort>& ports) {
  std::map<int32_t, UnitReset> units;
  for (const PoePort& port : ports) {
    UnitReset& reset = units[port.unit];
    reset.unit = port.unit;
    reset.ports.push_back(port);
  }
  return mapped(units, [](const auto& unit) { return unit.second; });
}

bool isOn(const SensorPort& port) {
  return port.isOn();
}

std::vector<UnitReset> whatToReset(const ResetOptions& given, Session& session) {
  const std::optional<int32_t> unit = session.options().unit;
  if (given.all && !given.ports.empty()) {
    throw Failure(kExitUsage, "name ports, or take a whole unit with --all, not both");
  }
  if (!given.all && given.ports.empty()) {
    throw Failure(kExitUsage, "which ports? Name some, or a whole unit with --unit N --all");
  }
  if (!given.all) {
    return splitByUnit(session.portsNamed(given.ports));
  }
  if (!unit) {
    throw Failure(kExitUsage, "--all resets a whole unit: say which with --unit N");
  }
  const std::vector<SensorPort>& sensors = session.sensors();
  const auto enabled = std::count_if(sensors.begin(), sensors.end(), isOn);
  if (sensors.empty()) {
    session.portsNamed({});  // says that the unit is not there
  }
  confirm("Reset all " + counted(static_cast<size_t>(enabled), "enabled port") + " of unit " +
              std::to_string(*unit) + "?",
          given.isAgreed);
  return {{*unit, {}}};
}

JsonPtr requestOf(const ResetOptions& given, const UnitReset& reset) {
  JsonPtr request =
      jsonObject({{"offTimeSec", wholeSeconds("--off-time", given.offTimeMs, 0, INT32_MAX)}});
  if (!reset.ports.empty()) {
    request = jsonObject(std::move(request), {{"ifNums", ifNumsOf(reset.ports)}});
  }
  if (given.staggerMs) {
    const int32_t pauseSec = wholeSeconds("--stagger", *given.staggerMs, 0, INT32_MAX);
    request = jsonObject(std::move(request),
                         {{"executionMode", "sequential"}, {"interPortDelaySec", pauseSec}});
  }
  return jsonObject({{"unit", reset.unit}, {"request", std::move(request)}});
}

// Where a later unit fails, the runs of those before it go on: they are shown, and then it throws.
struct BegunRuns {
  std::vector<Run> runs;
  std::optional<Failure> failure;
};

std::string runNumbers(const std::vector<Run>& runs) {
  return joined(mapped(runs, [](const Run& run) { return "run " + std::to_string(run.runId); }),
                ", ");
}

std::string goesOn(const std::vector<Run>& runs) {
  return runNumbers(runs) + (runs.size() == 1 ? " goes" : " go") +
         " on in the daemon. See: quorin_poectl history " + std::to_string(runs.front().runId);
}

// A daemon that is gone may have been stopped, and leaves the rest of its runs undone.
std::string whatBecomesOf(const std::vector<Run>& runs, ExitCode why) {
  if (why != kExitNoDaemon) {
    return goesOn(runs);
  }
  return runNumbers(runs) + (runs.size() == 1 ? " was" : " were") +
         " begun, and cut off if the daemon stopped. See: quorin_poectl wait, then quorin_poectl "
         "history " +
         std::to_string(runs.front().runId);
}

BegunRuns begin(const ResetOptions& given, const std::vector<UnitReset>& units, Session& session) {
  BegunRuns begun;
  sayWhenInterrupted("quorin_poectl", "the reset may have begun. See: quorin_poectl history");
  for (const UnitReset& reset : units) {
    try {
      const JsonPtr answer = session.daemon().ask("manual.reset", requestOf(given, reset));
      begun.runs.push_back(readRun(answer.get()));
      begun.runs.back().status = "running";
      sayWhenInterrupted("quorin_poectl", goesOn(begun.runs));
    } catch (const Failure& failure) {
      if (begun.runs.empty()) {
        throw;
      }
      begun.failure = failure;
      return begun;
    }
  }
  return begun;
}

// After it something must be wrong: the ports are dark together, and come one after the other.
int64_t longestMs(const ResetOptions& given, size_t portCount) {
  const int64_t turnMs = given.staggerMs.value_or(0) + kPortMs;
  return given.offTimeMs + static_cast<int64_t>(portCount) * turnMs + given.waitMs;
}

void watch(const ResetOptions& given, std::vector<Run>* runs, std::vector<WatchedPort>* ports,
           const View& view, Session& session) try {
  watchPorts(longestMs(given, ports->size()), runs, ports, view, session);
} catch (const Failure& failure) {
  throw failure.retold(std::string(failure.what()) + "\n" + whatBecomesOf(*runs, failure.status()));
}

void sayOutcome(const Run& run, const Output& output) {
  if (run.status != RunStatus::success) {
    const std::string why = run.errorMessage.empty() ? "" : " (" + run.errorMessage + ")";
    output.say("run " + std::to_string(run.runId) + " of unit " + std::to_string(run.unit) + ": " +
               escaped(run.status.text + why) + "  See: quorin_poectl history " +
               std::to_string(run.runId));
  }
}

void announce(const std::vector<Run>& runs, Session& session) {
  for (const Run& run : runs) {
    session.output().say("run " + std::to_string(run.runId) + ": " +
                         counted(run.ports.size(), "port") + " of unit " +
                         std::to_string(run.unit));
  }
}

std::vector<SensorPort> portsOf(const std::vector<UnitReset>& units, Session& session) {
  std::vector<SensorPort> ports;
  for (const UnitReset& reset : units) {
    for (const SensorPort& port : chosenPorts(session.sensors(), reset.ports)) {
      ports.push_back(port);
    }
  }
  return ports;
}

// The switch's own reset of a port that is off does not switch it on.
void refuseOff(const std::vector<SensorPort>& ports, Session& session) {
  std::vector<uint32_t> off;
  for (const SensorPort& port : ports) {
    if (port.isOff()) {
      off.push_back(port.ifNum);
    }
  }
  if (!off.empty()) {
    const std::string them = session.names().ranges(off);
    throw Failure(kExitUsage, them + (off.size() == 1 ? " is" : " are") +
                                  " off, and a reset without --off-time leaves " +
                                  (off.size() == 1 ? "it" : "them") +
                                  " so. To switch on what is off: quorin_poectl on " + them);
  }
}

void confirmUnits(const std::vector<UnitReset>& units, size_t portCount, bool isAgreed) {
  if (units.size() > 1) {
    const std::vector<std::string> numbers =
        mapped(units, [](const UnitReset& reset) { return std::to_string(reset.unit); });
    confirm("Reset " + counted(portCount, "port") + " of units " + joined(numbers, " and ") + "?",
            isAgreed);
  }
}

// Ports that are restarted together are dark together, and the last one longest.
void sayHowLong(const ResetOptions& given, const std::vector<UnitReset>& units, Session& session) {
  const std::vector<SensorPort>& sensors = session.sensors();
  size_t most =
      given.all ? static_cast<size_t>(std::count_if(sensors.begin(), sensors.end(), isOn)) : 0;
  for (const UnitReset& reset : units) {
    most = std::max(most, reset.ports.size());
  }
  if (given.offTimeMs == 0 || most < 2) {
    return;
  }
  const int64_t pausesMs = given.staggerMs.value_or(0) * static_cast<int64_t>(most - 1);
  const std::string dark = "all dark at once for " + durationText(given.offTimeMs);
  session.output().say(pausesMs == 0
                           ? dark + ", then on again, one right after the other"
                           : dark + ", then on again one after the other, " +
                                 durationText(*given.staggerMs) + " apart: the last is dark for " +
                                 durationText(given.offTimeMs + pausesMs));
}

struct Outcome {
  std::vector<Run> runs;
  std::vector<WatchedPort> ports;
  std::optional<Failure> failure;

  bool isAsWished() const {
    return std::all_of(ports.begin(), ports.end(),
                       [](const WatchedPort& port) { return port.watch.isBack(); });
  }
};

// Begins the runs and, unless that is not wanted, watches them to their end.
Outcome carryOut(const ResetOptions& given, const std::vector<UnitReset>& units, const View& view,
                 Session& session) {
  const auto before = ofUnits(mapped(units, [](const UnitReset& each) { return each.unit; }),
                              [&](int32_t unit) { return askSensors(session.daemon(), unit); });
  BegunRuns begun = begin(given, units, session);
  announce(begun.runs, session);
  Outcome outcome{begun.runs, watchedPorts(begun.runs, before, monotonicMs(), given.waitMs),
                  begun.failure};
  if (!given.noWait) {
    watch(given, &outcome.runs, &outcome.ports, view, session);
    for (const Run& run : outcome.runs) {
      sayOutcome(run, session.output());
    }
  }
  return outcome;
}

// Port after port, as long as each comes back.
Outcome carryOutOneByOne(const ResetOptions& given, const std::vector<SensorPort>& ports,
                         const View& view, Session& session) {
  Outcome all;
  for (size_t i = 0; i < ports.size() && all.isAsWished(); ++i) {
    const Outcome one = carryOut(given, {{ports[i].unit, {ports[i]}}}, view, session);
    all.runs.insert(all.runs.end(), one.runs.begin(), one.runs.end());
    all.ports.insert(all.ports.end(), one.ports.begin(), one.ports.end());
    if (!one.isAsWished() && i + 1 < ports.size()) {
      const std::vector<uint32_t> rest = ifNumsOf(
          std::vector<PoePort>(ports.begin() + static_cast<std::ptrdiff_t>(i) + 1, ports.end()));
      session.output().say("stopped there: not reset: " + session.names().ranges(rest));
    }
  }
  return all;
}

int conclude(const ResetOptions& given, const Outcome& outcome, const View& view,
             Session& session) {
  if (session.options().json) {
    session.output().printJsonLine(resultJson(outcome.runs, outcome.ports, view));
  }
  if (outcome.failure) {
    throw Failure(*outcome.failure);
  }
  return given.noWait || outcome.isAsWished() ? kExitDone : kExitNotAsWished;
}

int runReset(const ResetOptions& given, Session& session) {
  const std::vector<UnitReset> units = whatToReset(given, session);
  std::vector<SensorPort> ports = portsOf(units, session);
  if (given.offTimeMs == 0) {
    refuseOff(ports, session);
  }
  confirmUnits(units, ports.size(), given.isAgreed);
  const View view = session.view();
  if (!given.isOneByOne) {
    sayHowLong(given, units, session);
    return conclude(given, carryOut(given, units, view, session), view, session);
  }
  if (given.all) {
    std::copy_if(session.sensors().begin(), session.sensors().end(), std::back_inserter(ports),
                 isOn);
  }
  return conclude(given, carryOutOneByOne(given, ports, view, session), view, session);
}

// The daemon switches a port on by a restart alone.
int runOn(ResetOptions given, Session& session) {
  std::vector<PoePort> off;
  std::vector<uint32_t> on;
  for (const SensorPort& port : chosenPorts(session.sensors(), session.portsNamed(given.ports))) {
    port.isOff() ? off.push_back(port) : on.push_back(port.ifNum);
  }
  sayLeftAlone(on, "on", session);
  given.offTimeMs = kShortestOffTimeMs;
  const View view = session.view();
  if (off.empty()) {
    return conclude(given, Outcome(), view, session);
  }
  session.output().say("switched on by a restart of 1 s, the only way that there is");
  return conclude(given, carryOut(given, splitByUnit(off), view, session), view, session);
}

struct WaitOptions {
  Argument wait;
  Argument noWait;
};

WaitOptions addWaiting(Arguments& app, ResetOptions* given) {
  const Argument wait = app.duration("--wait-power", &given->waitMs,
                                     "how long a port may take from its switch-on [90s]");
  return {
      wait,
      app.flag("--no-wait", given->noWait, "do not wait until the ports are back").excludes(wait)};
}

}  // namespace

SessionAction defineReset(Arguments& app, Options& options) {
  const auto given = std::make_shared<ResetOptions>();
  app.add("PORT", given->ports, "ports to reset");
  addUnit(app, options);
  app.flag("--all", given->all, "every enabled port of the unit");
  app.wholeSeconds("--off-time", &given->offTimeMs,
                   "dark for this time, all together [the switch's own reset of a port]");
  const auto stagger = std::make_shared<int64_t>(0);
  const Argument staggerOption =
      app.wholeSeconds("--stagger", stagger.get(), "one port after the other, so far apart");
  const Argument noWait = addWaiting(app, given.get()).noWait;
  app.flag("--one-by-one", given->isOneByOne,
           "each port when the one before is back; ends at the first that does not come back")
      .excludes(staggerOption)
      .excludes(noWait);
  app.flag("-y,--yes", given->isAgreed, "do not ask before a whole unit, or several");
  return [given, stagger, staggerOption](Session& session) {
    if (staggerOption.isGiven()) {
      given->staggerMs = *stagger;
    }
    return runReset(*given, session);
  };
}

SessionAction defineOn(Arguments& app, Options& options) {
  const auto given = std::make_shared<ResetOptions>();
  app.add("PORT", given->ports, "ports to switch on; those that are on are left alone").required();
  addUnit(app, options);
  const auto until = std::make_shared<std::string>();
  const WaitOptions waiting = addWaiting(app, given.get());
  const Argument untilOption = app.add("--until", *until, "by a schedule, when they are off again")
                                   .named("HH:MM")
                                   .excludes(waiting.wait)
                                   .excludes(waiting.noWait);
  return [given, until, untilOption](Session& session) {
    return untilOption.isGiven() ? holdUntil(ScheduleType::powerOn, given->ports, *until, session)
                                 : runOn(*given, session);
  };
}
