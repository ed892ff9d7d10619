// ports: what there is, what it is called, what it delivers.
#include "client/commands/ports.h"

#include <algorithm>
#include <cstdio>
#include <set>

#include "base/sleep.h"
#include "cli/text.h"
#include "client/command.h"

namespace {

constexpr int64_t kDefaultWatchMs = 2000;

struct PortsOptions {
  std::vector<std::string> ports;
  std::string watch;
  std::optional<Argument> watchOption;
  bool names = false;
};

Tint tintOf(const SensorPort& port) {
  if (port.delivers()) {
    return Tint::good;
  }
  const bool isWrong = port.detectionStatus == "fault" || port.detectionStatus == "denied";
  return isWrong ? Tint::bad : Tint::faint;
}

std::string modeText(const std::string& adminMode) {
  return adminMode == kAdminOn ? "on" : adminMode == kAdminOff ? "off" : adminMode;
}

JsonPtr nextJson(const PortActs& acts, const Zone& shownZone) {
  JsonObject object;
  const bool isAny = acts.next.has_value();
  addTextOrNull(object, "at", isAny ? rfc3339(acts.next->at, shownZone) : "");
  addTextOrNull(object, "act", isAny ? actText(acts.next->act) : "");
  addNumberOrNull(object, "scheduleId",
                  isAny ? std::make_optional(acts.nextScheduleId) : std::nullopt);
  addTextOrNull(object, "scheduleName", isAny ? acts.nextName : "");
  return object.take();
}

// Of a port that nothing acts on, too.
PortActs actsOf(const ActsOfPorts& acts, uint32_t ifNum) {
  const auto found = acts.find(ifNum);
  return found != acts.end() ? found->second : PortActs();
}

std::string nowText(const PortActs& acts) {
  return acts.openRunId == 0 ? ""
                             : "run " + std::to_string(acts.openRunId) + " " + acts.openRunName;
}

std::string nextText(const PortActs& acts, int64_t now, const Zone& shownZone) {
  return !acts.next ? ""
                    : nearText(acts.next->at, now, shownZone) + " " + actText(acts.next->act) +
                          " " + acts.nextName;
}

JsonPtr portJson(const SensorPort& port, const PortNames& names, const PortActs& acts,
                 const Zone& shownZone) {
  JsonObject object;
  object.number("unit", port.unit).number("ifNum", port.ifNum);
  addTextOrNull(object, "name", names.nameOrEmpty(port.ifNum));
  addTextOrNull(object, "label", names.labelOrEmpty(port.ifNum));
  addTextOrNull(object, "adminMode", port.adminMode);
  addTextOrNull(object, "detectionStatus", port.detectionStatus);
  object.number("powerMw", port.powerMw)
      .number("currentMa", port.currentMa)
      .number("voltageMv", port.voltageMv)
      .number("temperature", port.temperature);
  addTextOrNull(object, "powerClass", port.powerClass);
  addTextOrNull(object, "priority", port.priority);
  addNumberOrNull(object, "powerLimitMw", port.powerLimitMw);
  addNumberOrNull(object, "openRunId",
                  acts.openRunId > 0 ? std::make_optional(acts.openRunId) : std::nullopt);
  object.add("next", nextJson(acts, shownZone));
  return object.take();
}

std::set<int32_t> unitsOf(const std::vector<SensorPort>& ports) {
  std::set<int32_t> units;
  for (const SensorPort& port : ports) {
    units.insert(port.unit);
  }
  return units;
}

std::string portLine(uint32_t ifNum, const PortNames& names) {
  const std::string name = names.nameOrEmpty(ifNum);
  const std::string label = names.labelOrEmpty(ifNum);
  return std::to_string(ifNum) + " " + (name.empty() ? "-" : name) +
         (label.empty() ? "" : " " + label) + "\n";
}

// The lines of the file of names, for all that there is to tell.
int printNames(Session& session) {
  session.refuseJson("ports --names");
  std::set<uint32_t> ifNums = session.names().listed();
  for (const SensorPort& port : session.sensors()) {
    ifNums.insert(port.ifNum);
  }
  std::string text = "# ifNum name [label]\n";
  for (const uint32_t ifNum : ifNums) {
    text += portLine(ifNum, session.names());
  }
  session.output().print(text);
  return kExitDone;
}

void show(const std::vector<SensorPort>& ports, const std::vector<Schedule>& schedules,
          bool isWatching, Session& session) {
  const Output& output = session.output();
  std::vector<Run> openRuns;
  for (const int32_t unit : unitsOf(ports)) {
    const std::vector<Run> ofUnit = askOpenRuns(session.daemon(), unit, systemNow());
    openRuns.insert(openRuns.end(), ofUnit.begin(), ofUnit.end());
  }
  const int64_t now = session.now();
  const ActsOfPorts acts = actsOfPorts(openRuns, schedules, now, session.zone());

  if (session.options().json) {
    const JsonPtr document = portsJson(ports, session.names(), acts, session.shownZone());
    isWatching ? output.printJsonLine(document) : output.printJson(document);
    return;
  }
  const bool hasTimes = std::any_of(ports.begin(), ports.end(), [&acts](const SensorPort& port) {
    return actsOf(acts, port.ifNum).next.has_value();
  });
  const std::string text =
      portsText(ports, session.names(), acts, now, session.shownZone(), output.screen()) +
      (hasTimes ? session.zoneText() + "\n" : "");
  const bool redraws = isWatching && output.screen().columns > 0;
  output.print(redraws ? redrawn(text, terminalRows(), "name fewer ports, or enlarge the window")
                       : text);
  output.flush();
}

// The schedules are those of the beginning: asking for them waits for the daemon's sweeps.
[[noreturn]] void watch(const std::vector<PoePort>& meant, int64_t pauseMs, Session& session) {
  const std::vector<Schedule> schedules = session.schedules();
  for (;;) {
    show(chosenPorts(session.freshSensors(), meant), schedules, true, session);
    sleepMilliseconds(static_cast<int32_t>(pauseMs));
  }
}

int runPorts(PortsOptions given, Session& session) {
  std::optional<int64_t> pauseMs = parseDurationMs(given.watch);
  if (!given.watch.empty() && !pauseMs) {
    given.ports.insert(given.ports.begin(), given.watch);  // "--watch 1/0/5": the port is no time
  }
  if (given.names) {
    return printNames(session);
  }
  const std::vector<PoePort> meant =
      given.ports.empty() ? session.poePorts() : session.portsNamed(given.ports);
  if (given.watchOption->isGiven()) {
    watch(meant, std::clamp<int64_t>(pauseMs.value_or(kDefaultWatchMs), 100, INT32_MAX), session);
  }
  show(chosenPorts(session.sensors(), meant), session.schedules(), false, session);
  return kExitDone;
}

}  // namespace

ActsOfPorts actsOfPorts(const std::vector<Run>& openRuns, const std::vector<Schedule>& schedules,
                        int64_t now, const Zone& zone) {
  ActsOfPorts acts;
  for (const Run& run : openRuns) {
    for (const RunPort& port : run.ports) {
      acts[port.ifNum].openRunId = run.runId;
      acts[port.ifNum].openRunName = run.scheduleName;
    }
  }
  for (const Schedule& schedule : schedules) {
    const std::optional<Firing> next = nextFiring(schedule, now, zone);
    for (const uint32_t ifNum : next ? schedule.ifNums : std::vector<uint32_t>()) {
      PortActs& port = acts[ifNum];
      if (!port.next || next->at < port.next->at) {
        port.next = next;
        port.nextScheduleId = schedule.scheduleId;
        port.nextName = schedule.name.c_str();
      }
    }
  }
  return acts;
}

std::string portsText(const std::vector<SensorPort>& ports, const PortNames& names,
                      const ActsOfPorts& acts, int64_t now, const Zone& shownZone,
                      const Screen& screen) {
  if (ports.empty()) {
    return "no PoE ports\n";
  }
  Table table({{"PORT"},
               {"LABEL"},
               {"MODE"},
               {"STATE"},
               {"POWER", Align::right},
               {"CLASS", Align::right},
               {"LIMIT", Align::right},
               {"NOW"},
               {"NEXT"}});
  for (const SensorPort& port : ports) {
    const PortActs ofPort = actsOf(acts, port.ifNum);
    table.row({names.name(port.ifNum),
               names.labelOrEmpty(port.ifNum),
               modeText(port.adminMode),
               {port.detectionStatus, tintOf(port)},
               port.powerMw > 0 ? wattsText(port.powerMw) : "",
               port.powerClass,
               port.powerLimitMw ? wattsText(*port.powerLimitMw) : "",
               nowText(ofPort),
               nextText(ofPort, now, shownZone)});
  }
  return table.text(screen);
}

JsonPtr portsJson(const std::vector<SensorPort>& ports, const PortNames& names,
                  const ActsOfPorts& acts, const Zone& shownZone) {
  JsonObject document;
  document.add("ports", jsonArray(ports, [&](const SensorPort& port) {
                 return portJson(port, names, actsOf(acts, port.ifNum), shownZone);
               }));
  return document.take();
}

SessionAction definePorts(Arguments& app, Options& options) {
  const auto given = std::make_shared<PortsOptions>();
  app.add("PORT", given->ports, "ports to show; all when none is named");
  given->watchOption = app.add("--watch", given->watch, "show again every SEC seconds [2]")
                           .valueOptional()
                           .named("SEC");
  app.flag("--names", given->names, "print the lines of a file of names");
  addUnit(app, options);
  return [given](Session& session) { return runPorts(*given, session); };
}
