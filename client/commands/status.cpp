// status: how the switch's PoE is, at a glance.
#include "client/commands/status.h"

#include <algorithm>
#include <chrono>
#include <map>

#include "cli/mapped.h"
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/next.h"

namespace {

constexpr size_t kNextShown = 3;
constexpr size_t kFailedShown = 5;
constexpr std::array<const char*, kPortStates> kStateWords{"delivering",
                                                           "searching",
                                                           "off by a schedule",
                                                           "off in a run that goes on",
                                                           "off for no reason known here",
                                                           "with a fault or denied"};

// The daemon's shortest work.
int64_t measureAnswerUs(Daemon& daemon) {
  const auto start = std::chrono::steady_clock::now();
  askBootDelay(daemon, 1);
  const auto took = std::chrono::steady_clock::now() - start;
  return std::chrono::duration_cast<std::chrono::microseconds>(took).count();
}

void append(std::vector<Run>* all, const std::vector<Run>& more) {
  all->insert(all->end(), more.begin(), more.end());
}

std::map<int32_t, int64_t> portsByUnit(const Status& status) {
  std::map<int32_t, int64_t> counts;
  for (const PortHealth& health : status.ports) {
    ++counts[health.port.unit];
  }
  return counts;
}

std::vector<Run> failedRuns(const Status& status) {
  std::vector<Run> failed;
  std::copy_if(status.runsOfDay.begin(), status.runsOfDay.end(), std::back_inserter(failed),
               [&status](const Run& run) {
                 return !run.isOpen() && resultOf(run, status.schedules) != "success";
               });
  return failed;
}

std::string unitsText(const Status& status) {
  const auto unitText = [](const auto& unit) {
    return std::to_string(unit.first) + " (" +
           counted(static_cast<size_t>(unit.second), "PoE port") + ")";
  };
  const std::vector<std::string> texts = mapped(portsByUnit(status), unitText);
  return texts.empty() ? "none with PoE ports" : joined(texts, ", ");
}

std::string statesText(const Status& status) {
  const std::array<int64_t, kPortStates> counts = portsByState(status);
  std::vector<std::string> texts;
  for (size_t i = 0; i < kPortStates; ++i) {
    if (counts[i] > 0) {
      texts.push_back(std::to_string(counts[i]) + " " + kStateWords[i]);
    }
  }
  return joined(texts, ", ");
}

// The switch's own port reset leaves a port off that is off: the command asks for an off time.
std::string bringBack(const std::string& ports) {
  return "quorin_poectl reset " + ports + " --off-time 1s";
}

std::string whyUnexplained(const PortHealth& health, const Status& status, const Zone& shownZone) {
  if (!health.cause) {
    return "no run of the last 30 days, of the newest 200, left it off; the switch's own CLI may"
           " have";
  }
  return "off since " + nearText(health.cause->at, status.systemNow, shownZone) + ": " +
         eventText(*health.cause, false);
}

// The ports in a state, those with the same reason together.
std::map<std::string, std::vector<uint32_t>> byReason(
    const Status& status, PortState state,
    const std::function<std::string(const PortHealth&)>& reasonOf) {
  std::map<std::string, std::vector<uint32_t>> ports;
  for (const PortHealth& health : status.ports) {
    if (health.state == state) {
      ports[reasonOf(health)].push_back(health.port.ifNum);
    }
  }
  return ports;
}

void addTroubles(Table* table, const Status& status, const PortNames& names,
                 const Zone& shownZone) {
  const auto why = [&](const PortHealth& health) {
    return whyUnexplained(health, status, shownZone);
  };
  const auto state = [](const PortHealth& health) { return health.port.detectionStatus; };
  for (const auto& [reason, ifNums] : byReason(status, PortState::offUnexplained, why)) {
    const std::string ports = names.ranges(ifNums);
    table->row({"", {joined({ports, reason}, " "), Tint::warning}});
    table->row({"", "  to bring back: " + bringBack(ports)});
  }
  for (const auto& [says, ifNums] : byReason(status, PortState::fault, state)) {
    table->row({"", {names.ranges(ifNums) + " " + says, Tint::bad}});
  }
}

std::string runTitle(const Run& run) {
  return std::to_string(run.runId) + " " +
         (run.scheduleId                  ? inQuotes(run.scheduleName)
          : run.triggered == "boot-delay" ? "boot delay"
                                          : escaped(run.triggered));
}

std::string openRunsText(const Status& status, const Zone& shownZone) {
  const std::vector<std::string> texts = mapped(status.openRuns, [&](const Run& run) {
    return runTitle(run) + " since " +
           nearText(run.startedAt.value_or(status.systemNow), status.systemNow, shownZone);
  });
  return texts.empty() ? "none" : joined(texts, ", ");
}

void addNext(Table* table, const Status& status, const PortNames& names, const ShownAt& at) {
  Table firings({{""}, {""}, {""}, {""}});
  for (const Upcoming& each : nextFirings(status.schedules, at.now, kNextShown, at.zone)) {
    firings.row({nearText(each.firing.at, at.now, at.shownZone), actWithEnd(each.firing),
                 names.ranges(each.schedule->ifNums), inQuotes(each.schedule->name.c_str())});
  }
  const char* title = "next";
  for (const std::string& line : splitAt(firings.text({}), '\n')) {
    if (!line.empty() || firings.empty()) {
      table->row({{title, Tint::faint}, firings.empty() ? "nothing" : line});
    }
    title = "";
  }
}

std::string dayText(const Status& status) {
  std::map<std::string, int64_t> counts = runsByResult(status);
  std::vector<std::string> texts;
  for (const char* result : {"success", "partial", "failed", "aborted", "running"}) {
    if (counts[result] > 0) {
      texts.push_back(std::to_string(counts[result]) + " " + result);
    }
  }
  return counted(status.runsOfDay.size(), "run") + (texts.empty() ? "" : ": ") +
         joined(texts, ", ");
}

void addFailed(Table* table, const Status& status, const PortNames& names, const Zone& shownZone) {
  const std::vector<Run> failed = failedRuns(status);
  for (size_t i = 0; i < std::min(failed.size(), kFailedShown); ++i) {
    const Run& run = failed[i];
    const std::string why = failureText(run, names);
    table->row({"",
                {runTitle(run) + " " + escaped(run.status) + " " +
                     nearText(run.startedAt.value_or(0), status.systemNow, shownZone) +
                     (why.empty() ? "" : ": " + why) + " (quorin_poectl history " +
                     std::to_string(run.runId) + ")",
                 Tint::warning}});
  }
  if (failed.size() > kFailedShown) {
    table->row({"", "and " + std::to_string(failed.size() - kFailedShown) +
                        " more: quorin_poectl history --failed"});
  }
}

std::vector<uint32_t> ifNumsOfRun(const Run& run) {
  return mapped(run.ports, [](const RunPort& port) { return port.ifNum; });
}

JsonPtr runJson(const Run& run, const PortNames& names, const Zone& shownZone) {
  JsonObject object;
  object.number("runId", run.runId).number("unit", run.unit);
  addTextOrNull(object, "triggered", run.triggered);
  addNumberOrNull(object, "scheduleId", run.scheduleId);
  addTextOrNull(object, "scheduleName", run.scheduleName);
  addTextOrNull(object, "scheduleType", run.scheduleType);
  addTextOrNull(object, "status", run.status);
  addTextOrNull(object, "startedAt", run.startedAt ? rfc3339(*run.startedAt, shownZone) : "");
  object.add("ifNums", jsonNumbers(ifNumsOfRun(run)))
      .add("portNames", portNamesJson(ifNumsOfRun(run), names));
  addTextOrNull(object, "why", failureText(run, names));
  return object.take();
}

JsonObject portObject(const PortHealth& health, const PortNames& names) {
  const uint32_t ifNum = health.port.ifNum;
  JsonObject object;
  object.number("unit", health.port.unit).number("ifNum", ifNum);
  addTextOrNull(object, "name", names.nameOrEmpty(ifNum));
  addTextOrNull(object, "label", names.labelOrEmpty(ifNum));
  return object;
}

std::vector<PortHealth> portsIn(PortState state, const Status& status) {
  std::vector<PortHealth> ports;
  std::copy_if(status.ports.begin(), status.ports.end(), std::back_inserter(ports),
               [state](const PortHealth& health) { return health.state == state; });
  return ports;
}

JsonPtr unexplainedJson(const Status& status, const PortNames& names, const Zone& shownZone) {
  return jsonArray(portsIn(PortState::offUnexplained, status), [&](const PortHealth& health) {
    const auto& cause = health.cause;
    JsonObject object = portObject(health, names);
    addTextOrNull(object, "since", cause ? rfc3339(cause->at, shownZone) : "");
    addNumberOrNull(object, "runId", cause ? std::make_optional(cause->run.runId) : std::nullopt);
    object.text("why", whyUnexplained(health, status, shownZone).c_str())
        .text("command", bringBack(names.name(health.port.ifNum)).c_str());
    return object.take();
  });
}

JsonPtr faultsJson(const Status& status, const PortNames& names) {
  return jsonArray(portsIn(PortState::fault, status), [&](const PortHealth& health) {
    JsonObject object = portObject(health, names);
    addTextOrNull(object, "detectionStatus", health.port.detectionStatus);
    return object.take();
  });
}

JsonPtr unitsJson(const Status& status) {
  return jsonArray(portsByUnit(status), [](const auto& unit) {
    return JsonObject().number("unit", unit.first).number("poePorts", unit.second).take();
  });
}

JsonPtr statesJson(const Status& status) {
  constexpr std::array<const char*, kPortStates> kKeys{
      "delivering", "searching", "offBySchedule", "offByRun", "offUnexplained", "fault"};
  const std::array<int64_t, kPortStates> counts = portsByState(status);
  JsonObject object;
  for (size_t i = 0; i < kPortStates; ++i) {
    object.number(kKeys[i], counts[i]);
  }
  return object.take();
}

JsonPtr dayJson(const Status& status) {
  std::map<std::string, int64_t> counts = runsByResult(status);
  JsonObject object;
  object.number("runs", static_cast<int64_t>(status.runsOfDay.size()));
  for (const char* result : kResults) {
    object.number(result, counts[result]);
  }
  object.number("running", counts["running"]);
  return object.take();
}

int runStatus(Session& session) {
  const Status status = askStatus(session);
  const ShownAt at{session.now(), session.zone(), session.shownZone(), session.zoneText()};
  const Output& output = session.output();
  if (session.options().json) {
    output.printJson(statusDocument(status, session.names(), at));
  } else {
    output.print(statusText(status, session.names(), at, output.screen()));
  }
  return kExitDone;
}

}  // namespace

Status askStatus(Session& session) {
  Daemon& daemon = session.daemon();
  Status status;
  status.answerUs = measureAnswerUs(daemon);
  status.systemNow = systemNow();
  status.schedules = session.schedules();
  std::vector<Run> behind;
  for (const int32_t unit : session.units()) {
    append(&status.openRuns, askOpenRuns(daemon, unit, status.systemNow));
    append(&status.runsOfDay, askRunsOfDay(daemon, unit, status.systemNow));
    append(&behind, askRunsBehindOff(daemon, unit, session.sensors(), status.systemNow));
  }
  status.ports = healthOf(session.sensors(), {behind, status.schedules, session.now(),
                                              status.systemNow, session.zone()});
  return status;
}

std::array<int64_t, kPortStates> portsByState(const Status& status) {
  std::array<int64_t, kPortStates> counts{};
  for (const PortHealth& health : status.ports) {
    ++counts[static_cast<size_t>(health.state)];
  }
  return counts;
}

std::map<std::string, int64_t> runsByResult(const Status& status) {
  std::map<std::string, int64_t> counts;
  for (const Run& run : status.runsOfDay) {
    ++counts[resultOf(run, status.schedules)];
  }
  return counts;
}

std::string statusText(const Status& status, const PortNames& names, const ShownAt& at,
                       const Screen& screen) {
  Table table({{""}, {""}});
  const auto line = [&table](const char* title, const std::string& text) {
    table.row({{title, Tint::faint}, text});
  };
  char answer[64];
  snprintf(answer, sizeof answer, "answers, %.1f ms", static_cast<double>(status.answerUs) / 1000);
  line("daemon", answer);
  line("switch time", momentText(at.now, at.shownZone) + ", " + at.footer);
  line("units", unitsText(status));
  line("ports", statesText(status));
  addTroubles(&table, status, names, at.shownZone);
  line("open runs", openRunsText(status, at.shownZone));
  addNext(&table, status, names, at);
  line("last 24 h", dayText(status));
  addFailed(&table, status, names, at.shownZone);
  return table.text(screen);
}

JsonPtr statusDocument(const Status& status, const PortNames& names, const ShownAt& at) {
  const auto run = [&](const Run& each) { return runJson(each, names, at.shownZone); };
  const auto next = nextFirings(status.schedules, at.now, kNextShown, at.zone);
  JsonObject document;
  document.number("answerMicroseconds", status.answerUs)
      .text("switchTime", rfc3339(at.now, at.shownZone).c_str());
  addTextOrNull(document, "zone", at.zone.name());
  document.add("units", unitsJson(status))
      .add("ports", statesJson(status))
      .add("unexplained", unexplainedJson(status, names, at.shownZone))
      .add("faults", faultsJson(status, names))
      .add("openRuns", jsonArray(status.openRuns, run))
      .add("next",
           jsonArray(next,
                     [&](const Upcoming& each) { return firingJson(each, names, at.shownZone); }))
      .add("last24h", dayJson(status))
      .add("failed", jsonArray(failedRuns(status), run));
  return document.take();
}

SessionAction defineStatus(Arguments& app, Options& options) {
  addUnit(app, options);
  return runStatus;
}
