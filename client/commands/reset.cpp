// reset: power-cycles ports, and shows each until it is back.
#include "client/commands/reset.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <map>

#include "base/sleep.h"
#include "cli/confirm.h"
#include "cli/mapped.h"
#include "cli/text.h"
#include "client/command.h"

namespace {

constexpr int64_t kDefaultWaitMs = 90000;
constexpr int32_t kSampleMs = 500;
constexpr int64_t kRunEndMs = 3000;  // from the last port's end to its run's
constexpr int64_t kPortMs = 30000;   // what a port's turn takes at most beside its pauses

struct ResetOptions {
  std::vector<std::string> ports;
  bool all = false;
  int64_t offTimeMs = 0;
  std::optional<int64_t> staggerMs;
  int64_t waitMs = kDefaultWaitMs;
  bool noWait = false;
  bool isAgreed = false;
};

// The handler may come at any moment: what it says stands ready before.
char interruptText[512];

void onInterrupt(int) {
  const ssize_t ignored = write(STDERR_FILENO, interruptText, strnlen(interruptText, 512));
  (void)ignored;
  _exit(kExitInterrupted);
}

void sayWhenInterrupted(const std::string& text) {
  snprintf(interruptText, sizeof interruptText, "\nquorin_poectl: interrupted: %s\n", text.c_str());
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
}

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

std::vector<UnitReset> whatToReset(const ResetOptions& given, Session& session) {
  const std::optional<int32_t> unit = session.options().unit;
  if (given.all == !given.ports.empty()) {
    throw Failure(kExitUsage, "which ports? Name some, or a whole unit with --unit N --all");
  }
  if (!given.all) {
    return splitByUnit(session.portsNamed(given.ports));
  }
  if (!unit) {
    throw Failure(kExitUsage, "--all resets a whole unit: say which with --unit N");
  }
  const std::vector<SensorPort>& sensors = session.sensors();
  const auto enabled = std::count_if(sensors.begin(), sensors.end(),
                                     [](const SensorPort& port) { return port.isOn(); });
  if (sensors.empty()) {
    session.portsNamed({});  // says that the unit is not there
  }
  confirm("Reset all " + counted(static_cast<size_t>(enabled), "enabled port") + " of unit " +
              std::to_string(*unit) + "?",
          given.isAgreed);
  return {{*unit, {}}};
}

JsonPtr requestOf(const ResetOptions& given, const UnitReset& reset) {
  JsonObject request;
  if (!reset.ports.empty()) {
    request.add("ifNums", jsonNumbers(ifNumsOf(reset.ports)));
  }
  request.number("offTimeSec", wholeSeconds("--off-time", given.offTimeMs, 0, INT32_MAX));
  if (given.staggerMs) {
    request.text("executionMode", "sequential")
        .number("interPortDelaySec", wholeSeconds("--stagger", *given.staggerMs, 0, INT32_MAX));
  }
  return JsonObject().number("unit", reset.unit).add("request", request.take()).take();
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
  sayWhenInterrupted("the reset may have begun. See: quorin_poectl history");
  for (const UnitReset& reset : units) {
    try {
      const JsonPtr answer = session.daemon().ask("manual.reset", requestOf(given, reset));
      begun.runs.push_back(readRun(answer.get()));
      begun.runs.back().status = "running";
      sayWhenInterrupted(goesOn(begun.runs));
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

// Of the ports as they were before, for those of the runs.
std::vector<WatchedPort> watchedPorts(const std::vector<Run>& runs,
                                      const std::vector<SensorPort>& before, int64_t nowMs,
                                      int64_t waitMs) {
  std::vector<WatchedPort> watched;
  for (const Run& run : runs) {
    for (const RunPort& port : run.ports) {
      SensorPort sensor;
      for (const SensorPort& each : before) {
        sensor = each.unit == run.unit && each.ifNum == port.ifNum ? each : sensor;
      }
      watched.push_back({{run.unit, port.ifNum}, run.runId, PortWatch(sensor, nowMs, waitMs)});
    }
  }
  return watched;
}

const Run& runOf(const std::vector<Run>& runs, const WatchedPort& port) {
  const auto found = std::find_if(runs.begin(), runs.end(),
                                  [&port](const Run& run) { return run.runId == port.runId; });
  return found != runs.end() ? *found : runs.front();
}

RunPort outcomeIn(const Run& run, const WatchedPort& port) {
  for (const RunPort& each : run.ports) {
    if (each.ifNum == port.port.ifNum) {
      return each;
    }
  }
  return {port.port.ifNum, "pending", ""};
}

SensorPort sensorIn(const std::vector<SensorPort>& sensors, const WatchedPort& port) {
  for (const SensorPort& each : sensors) {
    if (each.unit == port.port.unit && each.ifNum == port.port.ifNum) {
      return each;
    }
  }
  return {};
}

// Shows the watched ports: redraws their lines on a terminal that has room, else prints those that
// change.
class ResetView {
 public:
  ResetView(Session& session, const std::vector<WatchedPort>& ports)
      : session_(session),
        ports_(ports),
        isLive_(!session.options().json && session.output().screen().columns > 0 &&
                ports.size() + 1 < terminalRows()) {}

  void show(const std::vector<bool>& isChanged, int64_t nowMs) {
    if (isLive_) {
      redraw(nowMs);
      return;
    }
    const std::vector<std::string> lines =
        resetLines(ports_, session_.names(), nowMs, session_.output().screen());
    for (size_t i = 0; i < ports_.size(); ++i) {
      if (isChanged[i]) {
        print(ports_[i], lines[i]);
      }
    }
  }

 private:
  void print(const WatchedPort& port, const std::string& line) {
    const Output& output = session_.output();
    if (session_.options().json) {
      const std::string time = rfc3339(systemNow(), session_.shownZone());
      output.printJsonLine(resetChangeJson(port, session_.names(), time));
      return;
    }
    output.print(line + "\n");
    output.flush();
  }

  void redraw(int64_t nowMs) {
    std::string text = isDrawn_ ? "\033[" + std::to_string(ports_.size()) + "A" : "";
    isDrawn_ = true;
    for (const std::string& line :
         resetLines(ports_, session_.names(), nowMs, session_.output().screen())) {
      text += "\r" + line + "\033[K\n";
    }
    session_.output().print(text);
    session_.output().flush();
  }

  Session& session_;
  const std::vector<WatchedPort>& ports_;
  bool isLive_;
  bool isDrawn_ = false;
};

// What the runs have recorded is asked before the ports: a port that a run calls done has been
// switched on when it is looked at.
std::vector<bool> sample(std::vector<Run>* runs, std::vector<WatchedPort>* ports,
                         Session& session) {
  for (Run& run : *runs) {
    run = askRun(session.daemon(), run.unit, run.runId);
  }
  std::vector<SensorPort> sensors;
  for (const Run& run : *runs) {
    const std::vector<SensorPort> ofUnit = askSensors(session.daemon(), run.unit);
    sensors.insert(sensors.end(), ofUnit.begin(), ofUnit.end());
  }
  std::vector<bool> isChanged;
  const int64_t nowMs = monotonicMs();
  for (WatchedPort& port : *ports) {
    const Run& run = runOf(*runs, port);
    isChanged.push_back(
        !port.watch.isOver() &&
        port.watch.feed(nowMs, run.isOpen(), outcomeIn(run, port), sensorIn(sensors, port)));
  }
  return isChanged;
}

bool areOver(const std::vector<WatchedPort>& ports) {
  return std::all_of(ports.begin(), ports.end(),
                     [](const WatchedPort& port) { return port.watch.isOver(); });
}

bool areClosed(const std::vector<Run>& runs) {
  return std::none_of(runs.begin(), runs.end(), [](const Run& run) { return run.isOpen(); });
}

// After it something must be wrong: the ports are dark together, and come one after the other.
int64_t longestMs(const ResetOptions& given, size_t portCount) {
  const int64_t turnMs = given.staggerMs.value_or(0) + kPortMs;
  return given.offTimeMs + static_cast<int64_t>(portCount) * turnMs + given.waitMs;
}

void watch(const ResetOptions& given, std::vector<Run>* runs, std::vector<WatchedPort>* ports,
           Session& session) try {
  ResetView view(session, *ports);
  const int64_t allMs = longestMs(given, ports->size());
  const int64_t giveUpMs = monotonicMs() + allMs;
  int64_t overMs = 0;
  for (;;) {
    const std::vector<bool> isChanged = sample(runs, ports, session);
    view.show(isChanged, monotonicMs());
    if (areOver(*ports)) {
      overMs = overMs == 0 ? monotonicMs() : overMs;
      if (areClosed(*runs) || monotonicMs() - overMs >= kRunEndMs) {
        return;
      }
    }
    if (monotonicMs() >= giveUpMs) {
      throw Failure(kExitTimedOut, "the reset is not over after " + durationText(allMs));
    }
    sleepMilliseconds(kSampleMs);
  }
} catch (const Failure& failure) {
  throw Failure(failure.status(),
                std::string(failure.what()) + "\n" + whatBecomesOf(*runs, failure.status()));
}

void sayOutcome(const Run& run, const Output& output) {
  if (run.status != "success") {
    const std::string why = run.errorMessage.empty() ? "" : " (" + run.errorMessage + ")";
    output.say("run " + std::to_string(run.runId) + " of unit " + std::to_string(run.unit) + ": " +
               escaped(run.status + why) + "  See: quorin_poectl history " +
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

void printResult(const std::vector<Run>& runs, const std::vector<WatchedPort>& ports,
                 Session& session) {
  if (session.options().json) {
    const std::string time = rfc3339(systemNow(), session.shownZone());
    session.output().printJsonLine(resetResultJson(runs, ports, session.names(), time));
  }
}

// The switch's own reset of a port that is off does not switch it on.
void warnOfOff(const std::vector<UnitReset>& units, Session& session) {
  std::vector<uint32_t> off;
  for (const UnitReset& reset : units) {
    for (const SensorPort& port : chosenPorts(session.sensors(), reset.ports)) {
      if (port.isOff()) {
        off.push_back(port.ifNum);
      }
    }
  }
  if (!off.empty()) {
    const std::string them = off.size() == 1 ? "it" : "them";
    session.output().warn(session.names().ranges(off) + (off.size() == 1 ? " is" : " are") +
                          " off: the switch's own reset leaves " + them +
                          " so; --off-time 1s switches " + them + " on");
  }
}

int runReset(const ResetOptions& given, Session& session) {
  const std::vector<UnitReset> units = whatToReset(given, session);
  if (given.offTimeMs == 0) {
    warnOfOff(units, session);
  }
  const std::vector<SensorPort> before = session.sensors();
  BegunRuns begun = begin(given, units, session);
  announce(begun.runs, session);

  std::vector<WatchedPort> ports = watchedPorts(begun.runs, before, monotonicMs(), given.waitMs);
  if (!given.noWait) {
    watch(given, &begun.runs, &ports, session);
    for (const Run& run : begun.runs) {
      sayOutcome(run, session.output());
    }
  }
  printResult(begun.runs, ports, session);
  if (begun.failure) {
    throw Failure(*begun.failure);
  }
  const bool areBack = std::all_of(ports.begin(), ports.end(),
                                   [](const WatchedPort& port) { return port.watch.isBack(); });
  return given.noWait || areBack ? kExitDone : kExitNotAsWished;
}

JsonObject& addPort(JsonObject& object, const WatchedPort& port, const PortNames& names) {
  const PortWatch& watch = port.watch;
  object.number("runId", port.runId).number("unit", port.port.unit);
  object.number("ifNum", port.port.ifNum);
  addTextOrNull(object, "name", names.nameOrEmpty(port.port.ifNum));
  addTextOrNull(object, "label", names.labelOrEmpty(port.port.ifNum));
  addTextOrNull(object, "stage", watch.stage());
  addTextOrNull(object, "adminMode", watch.sensor().adminMode);
  addTextOrNull(object, "detectionStatus", watch.sensor().detectionStatus);
  object.number("powerMw", watch.sensor().powerMw);
  addNumberOrNull(object, "powerLimitMw", watch.sensor().powerLimitMw);
  addTextOrNull(object, "outcome", watch.outcome().status);
  addTextOrNull(object, "errorMessage", watch.outcome().errorMessage);
  watch.isOver() ? object.boolean("back", watch.isBack()) : object.null("back");
  addNumberOrNull(object, "backAfterMs", watch.backAfterMs());
  return addTextOrNull(object, "verdict", watch.verdict());
}

}  // namespace

std::vector<std::string> resetLines(const std::vector<WatchedPort>& ports, const PortNames& names,
                                    int64_t nowMs, const Screen& screen) {
  Table table({{""}, {""}, {""}});
  for (const WatchedPort& port : ports) {
    const PortWatch& watch = port.watch;
    const Tint tint = !watch.isOver() ? Tint::plain : watch.isBack() ? Tint::good : Tint::bad;
    table.row({names.name(port.port.ifNum),
               names.labelOrEmpty(port.port.ifNum),
               {watch.line(nowMs), tint}});
  }
  std::vector<std::string> lines = splitAt(table.text(screen), '\n');
  lines.resize(ports.size());
  return lines;
}

JsonPtr resetChangeJson(const WatchedPort& port, const PortNames& names, const std::string& time) {
  JsonObject object;
  object.text("event", "change").text("time", time.c_str());
  return addPort(object, port, names).take();
}

JsonPtr resetResultJson(const std::vector<Run>& runs, const std::vector<WatchedPort>& ports,
                        const PortNames& names, const std::string& time) {
  JsonObject document;
  document.text("event", "result").text("time", time.c_str());
  document.add("runs", jsonArray(runs, [](const Run& run) {
                 JsonObject object;
                 object.number("runId", run.runId).number("unit", run.unit);
                 return object.text("status", run.status.c_str()).take();
               }));
  document.add("ports", jsonArray(ports, [&names](const WatchedPort& port) {
                 JsonObject object;
                 return addPort(object, port, names).take();
               }));
  return document.take();
}

SessionAction defineReset(Arguments& app, Options& options) {
  const auto given = std::make_shared<ResetOptions>();
  app.add("PORT", given->ports, "ports to reset");
  addUnit(app, options);
  app.flag("--all", given->all, "every enabled port of the unit");
  app.duration("--off-time", &given->offTimeMs,
               "dark for this time, all together [the switch's own reset of a port]");
  const auto stagger = std::make_shared<int64_t>(0);
  const Argument staggerOption =
      app.duration("--stagger", stagger.get(), "one port after the other, so far apart");
  const Argument wait = app.duration("--wait-power", &given->waitMs,
                                     "how long a port may take from its switch-on [90s]");
  app.flag("--no-wait", given->noWait, "do not wait until the ports are back").excludes(wait);
  app.flag("-y", given->isAgreed, "yes: do not ask before a whole unit");
  return [given, stagger, staggerOption](Session& session) {
    if (staggerOption.isGiven()) {
      given->staggerMs = *stagger;
    }
    return runReset(*given, session);
  };
}
