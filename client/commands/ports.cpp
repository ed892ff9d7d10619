// ports: what there is, what it is called, what it delivers.
#include "client/commands/ports.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "base/sleep.h"
#include "cli/fields.h"
#include "cli/text.h"
#include "client/command.h"

namespace {

constexpr int64_t kDefaultWatchMs = 2000;
constexpr int64_t kLeastWatchMs = 100;

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
  const bool isWrong =
      port.detectionStatus == Detection::fault || port.detectionStatus == Detection::denied;
  return isWrong ? Tint::bad : Tint::faint;
}

std::string nowText(const PortRow& row) {
  return row.openRun == nullptr
             ? ""
             : joined({"run", std::to_string(row.openRun->runId), row.openRun->scheduleName}, " ");
}

std::string nextText(const PortRow& row, const View& view) {
  return !row.next ? ""
                   : joined({view.near(row.next->at), actText(row.next->act),
                             row.next->schedule->name.c_str()},
                            " ");
}

JsonPtr nextJson(const std::optional<Firing>& next, const View& view) {
  if (!next) {
    return jsonObject({{"at", ""}, {"act", ""}, {"scheduleId", ""}, {"scheduleName", ""}});
  }
  return jsonObject({{"at", view.stamp(next->at)},
                     {"act", actText(next->act)},
                     {"scheduleId", next->schedule->scheduleId},
                     {"scheduleName", next->schedule->name.c_str()}});
}

Fields<PortRow> portFields(const View& view) {
  using Row = const PortRow&;
  const PortNames& names = view.names;
  Fields<PortRow> fields;
  fields.member("unit", &PortRow::unit);
  fields.both("ifNum", {"PORT"}, &PortRow::ifNum, [&](Row row) { return names.name(row.ifNum); });
  fields.member("name", [&](Row row) { return names.nameOrEmpty(row.ifNum); });
  fields.text("label", {"LABEL", Align::left, Fit::yields},
              [&](Row row) { return names.labelOrEmpty(row.ifNum); });
  fields.both(
      "adminMode", {"MODE"}, [](Row row) { return row.adminMode.text; },
      [](Row row) { return row.isOn()    ? "on"
                           : row.isOff() ? "off"
                                         : row.adminMode.text.c_str(); });
  fields.both(
      "detectionStatus", {"STATE"}, [](Row row) { return row.detectionStatus.text; },
      [](Row row) { return Cell(row.detectionStatus.text, tintOf(row)); });
  fields.both("powerMw", {"POWER", Align::right}, &PortRow::powerMw,
              [](Row row) { return row.powerMw > 0 ? wattsText(row.powerMw) : ""; });
  fields.member("currentMa", &PortRow::currentMa);
  fields.member("voltageMv", &PortRow::voltageMv);
  fields.member("temperature", &PortRow::temperature);
  fields.text("powerClass", {"CLASS", Align::right}, &PortRow::powerClass);
  fields.member("priority", &PortRow::priority);
  fields.both("powerLimitMw", {"LIMIT", Align::right}, &PortRow::powerLimitMw,
              [](Row row) { return row.powerLimitMw ? wattsText(*row.powerLimitMw) : ""; });
  fields.both(
      "openRunId", {"NOW", Align::left, Fit::yieldsLater},
      [](Row row) { return row.openRun ? std::make_optional(row.openRun->runId) : std::nullopt; },
      nowText);
  fields.both(
      "next", {"NEXT"}, [&](Row row) { return nextJson(row.next, view); },
      [&](Row row) { return nextText(row, view); });
  return fields;
}

// What the shown ports of each unit take together.
std::map<int32_t, int64_t> powerByUnit(const std::vector<PortRow>& ports) {
  std::map<int32_t, int64_t> sums;
  for (const PortRow& port : ports) {
    sums[port.unit] += port.powerMw;
  }
  return sums;
}

std::string powerText(const std::vector<PortRow>& ports) {
  const auto ofUnit = [](const auto& unit) {
    return wattsText(unit.second) + " of unit " + std::to_string(unit.first);
  };
  return ports.size() < 2 ? ""
                          : "shown: " + joined(mapped(powerByUnit(ports), ofUnit), ", ") + "\n";
}

std::string portsText(const std::vector<PortRow>& ports, const View& view) {
  const bool hasTimes = std::any_of(ports.begin(), ports.end(),
                                    [](const PortRow& row) { return row.next.has_value(); });
  return ports.empty() ? "no PoE ports\n"
                       : portFields(view).table(ports, view.screen) + powerText(ports) +
                             (hasTimes ? view.footer() + "\n" : "");
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

std::vector<Run> openRunsOf(const std::vector<SensorPort>& ports, Session& session) {
  return ofUnits(unitsOf(ports), [&](int32_t unit) { return askOpenRuns(session.daemon(), unit); });
}

// A look at the ports, again and again. A daemon that is restarted meanwhile is waited for.
class Watch {
 public:
  // The schedules are those of the beginning, and of a new daemon's: asking for them waits for the
  // daemon's sweeps.
  Watch(std::vector<PoePort> meant, Session& session)
      : meant_(std::move(meant)), session_(session), schedules_(session.schedules()) {}

  void look() try {
    if (!trouble_.empty()) {
      schedules_ = session_.schedules();
    }
    const std::vector<SensorPort> ports = chosenPorts(session_.freshSensors(), meant_);
    const std::vector<Run> openRuns = openRunsOf(ports, session_);
    trouble_.clear();
    const View view = session_.view();
    const std::vector<PortRow> rows = portRows(ports, openRuns, schedules_, view);
    if (session_.options().json) {
      session_.output().printJsonLine(portsJson(rows, view));
      return;
    }
    heading_ = view.moment(view.now());
    text_ = portsText(rows, view);
    show(heading_ + "\n" + text_);
  } catch (const Failure& failure) {
    if (failure.status() != kExitNoDaemon && failure.status() != kExitTimedOut) {
      throw;
    }
    tellTrouble(splitAt(failure.what(), '\n').front());
  }

 private:
  void show(const std::string& text) {
    const Output& output = session_.output();
    const size_t columns = output.screen().columns;
    output.print(columns == 0 ? text
                              : redrawn(text, terminalRows(), columns,
                                        "name fewer ports, or enlarge the window"));
    output.flush();
  }
  // What was seen last stays on a screen; elsewhere it is told once.
  void tellTrouble(const std::string& trouble) {
    const bool isNew = std::exchange(trouble_, trouble).empty();
    if (session_.output().screen().columns > 0 && !session_.options().json) {
      show(heading_ + ", and since then " + trouble + "\n" + text_);
    } else if (isNew) {
      session_.output().say(trouble + ": waiting for it");
    }
  }

  std::vector<PoePort> meant_;
  Session& session_;
  std::vector<Schedule> schedules_;
  std::string heading_;
  std::string text_;
  std::string trouble_;
};

[[noreturn]] void watch(const std::vector<PoePort>& meant, int64_t pauseMs, Session& session) {
  Watch watch(meant, session);
  for (;;) {
    watch.look();
    sleepMilliseconds(static_cast<int32_t>(pauseMs));
  }
}

int showOnce(const std::vector<PoePort>& meant, Session& session) {
  const std::vector<SensorPort> ports = chosenPorts(session.sensors(), meant);
  const std::vector<Schedule> schedules = session.schedules();
  const std::vector<Run> openRuns = openRunsOf(ports, session);
  const View view = session.view();
  const std::vector<PortRow> rows = portRows(ports, openRuns, schedules, view);
  session.print([&] { return portsText(rows, view); }, [&] { return portsJson(rows, view); });
  return kExitDone;
}

int runPorts(PortsOptions given, Session& session) {
  std::optional<int64_t> pauseMs = parseDurationMs(given.watch);
  if (!given.watch.empty() && !pauseMs) {
    given.ports.insert(given.ports.begin(), given.watch);  // "--watch 1/0/5": the port is no time
  }
  if (pauseMs && *pauseMs < kLeastWatchMs) {
    throw Failure(kExitUsage, "--watch takes 100ms or more");
  }
  if (given.names) {
    return printNames(session);
  }
  const std::vector<PoePort> meant =
      given.ports.empty() ? session.poePorts() : session.portsNamed(given.ports);
  if (given.watchOption->isGiven()) {
    watch(meant, std::min<int64_t>(pauseMs.value_or(kDefaultWatchMs), INT32_MAX), session);
  }
  return showOnce(meant, session);
}

}  // namespace

std::vector<PortRow> portRows(const std::vector<SensorPort>& ports,
                              const std::vector<Run>& openRuns,
                              const std::vector<Schedule>& schedules, const View& view) {
  std::map<PoePort, Firing> next;
  for (const Schedule& schedule : schedules) {
    const std::optional<Firing> firing = nextFiring(schedule, view.now(), view.zone);
    for (const uint32_t ifNum : firing ? schedule.ifNums : std::vector<uint32_t>()) {
      Firing& first = next.emplace(PoePort{schedule.unit, ifNum}, *firing).first->second;
      first = firing->at < first.at ? *firing : first;
    }
  }
  return mapped(ports, [&](const SensorPort& port) {
    PortRow row{port, nullptr, std::nullopt};
    for (const Run& run : openRuns) {
      row.openRun = run.unit == port.unit && run.port(port.ifNum) != nullptr ? &run : row.openRun;
    }
    const auto own = next.find(port);
    row.next = own != next.end() ? std::make_optional(own->second) : std::nullopt;
    return row;
  });
}

JsonPtr portsJson(const std::vector<PortRow>& ports, const View& view) {
  const auto ofUnit = [](const auto& unit) {
    return jsonObject({{"unit", unit.first}, {"powerMw", unit.second}});
  };
  return jsonObject(
      {{"ports", portFields(view).json(ports)}, {"units", jsonArray(powerByUnit(ports), ofUnit)}});
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
