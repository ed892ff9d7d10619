// ports: what there is, what it is called, what it delivers.
#include "client/commands/ports.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <set>

#include "base/sleep.h"
#include "cli/files.h"
#include "cli/text.h"
#include "client/command.h"

namespace {

constexpr int64_t kDefaultWatchMs = 2000;

struct PortsOptions {
  std::vector<std::string> ports;
  std::string watch;
  std::optional<Argument> watchOption;
  bool save = false;
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

// Empty where there is no file yet, or it is none that can be read again.
std::string savedText(const std::string& path) {
  std::error_code error;
  const std::string text = std::filesystem::is_regular_file(path, error) ? readWholeFile(path) : "";
  std::vector<std::string> faults;
  parsePortLines(text, &faults);
  if (!faults.empty()) {
    throw Failure(kExitNotAsWished, escaped(path) + " would lose what is in it: " +
                                        joined(faults, "; ") + ". Mend it, and save again.");
  }
  return text.empty() ? "# ifNum name [label]\n" : text;
}

// The text with new lines for its ports, each once, and for the others at its end. Whatever is no
// port's stays where it stands.
std::string withPorts(const std::string& text, std::set<uint32_t> ifNums, const PortNames& names) {
  std::vector<std::string> lines = splitAt(text, '\n');
  if (lines.back().empty()) {
    lines.pop_back();
  }
  std::string saved;
  std::set<uint32_t> written;
  std::vector<std::string> noFaults;
  for (const std::string& line : lines) {
    const std::vector<PortLine> port = parsePortLines(line, &noFaults);
    if (port.empty()) {
      saved += line + "\n";
    } else if (written.insert(port.front().ifNum).second) {
      saved += portLine(port.front().ifNum, names);
      ifNums.erase(port.front().ifNum);
    }
  }
  for (const uint32_t ifNum : ifNums) {
    saved += portLine(ifNum, names);
  }
  return saved;
}

void sayWhatWasSaved(const std::set<uint32_t>& ifNums, Session& session) {
  const std::string& path = session.options().portFilePath;
  const auto named = std::count_if(ifNums.begin(), ifNums.end(), [&session](uint32_t ifNum) {
    return !session.names().nameOrEmpty(ifNum).empty();
  });
  if (session.options().json) {
    JsonObject document;
    document.text("file", path.c_str()).number("ports", static_cast<int64_t>(ifNums.size()));
    session.output().printJson(document.number("named", named).take());
    return;
  }
  session.output().say(counted(ifNums.size(), "port") + ", " + std::to_string(named) +
                       " of them with names, written to " + escaped(path));
}

// Ports of the file that have no PoE now, or are of another unit than --unit, keep their lines.
int save(Session& session) {
  const std::string& path = session.options().portFilePath;
  const std::string text = savedText(path);
  std::set<uint32_t> ifNums = session.names().listed();
  for (const SensorPort& port : session.sensors()) {
    ifNums.insert(port.ifNum);
  }

  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
  if (error) {
    failFile(path, "written", error.value());
  }
  writeWholeFile(path, withPorts(text, ifNums, session.names()));
  sayWhatWasSaved(ifNums, session);
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
  if (given.save) {
    return save(session);
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

Action definePorts(Arguments& app, Options& options) {
  const auto given = std::make_shared<PortsOptions>();
  app.add("PORT", given->ports, "ports to show; all when none is named");
  given->watchOption = app.add("--watch", given->watch, "show again every SEC seconds [2]")
                           .valueOptional()
                           .named("SEC");
  app.flag("--save", given->save, "write names and labels to the file of names");
  addUnit(app, options);
  return [given](Session& session) { return runPorts(*given, session); };
}
