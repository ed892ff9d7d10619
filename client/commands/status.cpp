// status: how the switch's PoE is, at a glance.
#include "client/commands/status.h"

#include <algorithm>
#include <functional>
#include <map>

#include "cli/mapped.h"
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/next.h"
#include "client/diagnosis/status_check.h"
#include "forecast/firings.h"

namespace {

constexpr size_t kNextShown = 3;
constexpr size_t kFailedShown = 5;
constexpr std::array<const char*, kPortStates> kStateWords{
    "delivering",
    "searching",
    "off by a schedule",
    "off by a schedule with no \"on\" to come",
    "off in a run that goes on",
    "off for no reason known here",
    "with a fault or denied"};

std::string unitsText(const Status& status) {
  const auto unitText = [](const auto& unit) {
    return std::to_string(unit.first) + " (" +
           counted(static_cast<size_t>(unit.second.count), "PoE port") + ", " +
           wattsText(unit.second.powerMw) + ")";
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

std::string bringBack(const std::string& ports) {
  return "quorin_poectl on " + ports;
}

std::string whyOff(const StatedPort& each, const View& view) {
  if (!each.cause) {
    return "no run of the last 30 days, of the newest 200, left it off; the switch's own CLI may"
           " have";
  }
  return "off since " + view.near(each.cause->at) + ": " + eventText(*each.cause, false) +
         (each.state == PortState::offForGood ? "; no schedule switches it on again" : "");
}

// The ports in a state, those with the same reason together.
std::map<std::string, std::vector<uint32_t>> byReason(
    PortState state, const Status& status,
    const std::function<std::string(const StatedPort&)>& reasonOf) {
  std::map<std::string, std::vector<uint32_t>> ports;
  for (const StatedPort& each : portsIn(state, status)) {
    ports[reasonOf(each)].push_back(each.port.ifNum);
  }
  return ports;
}

void addTroubles(Table* table, const Status& status, const View& view) {
  const auto why = [&](const StatedPort& each) { return whyOff(each, view); };
  const auto state = [](const StatedPort& each) { return each.port.detectionStatus.text; };
  for (const PortState off : {PortState::offForGood, PortState::offUnexplained}) {
    for (const auto& [reason, ifNums] : byReason(off, status, why)) {
      const std::string ports = view.names.ranges(ifNums);
      table->row({"", {joined({ports, reason}, " "), Tint::warning}});
      table->row({"", "  to bring back: " + bringBack(ports)});
    }
  }
  for (const auto& [says, ifNums] : byReason(PortState::fault, status, state)) {
    table->row({"", {view.names.ranges(ifNums) + " " + says, Tint::bad}});
  }
}

std::string runTitle(const Run& run) {
  return std::to_string(run.runId) + " " +
         (run.scheduleId                        ? inQuotes(run.scheduleName)
          : run.triggered == Trigger::bootDelay ? "boot delay"
                                                : escaped(run.triggered.text));
}

std::string openRunsText(const Status& status, const View& view) {
  const std::vector<std::string> texts = mapped(status.openRuns, [&](const Run& run) {
    return runTitle(run) + " since " + view.near(run.startedAt.value_or(view.systemNow));
  });
  return texts.empty() ? "none" : joined(texts, ", ");
}

std::vector<Firing> nextOf(const Status& status, const View& view) {
  return nextFirings(status.schedules, view.now(), kNextShown, view.zone);
}

void addNext(Table* table, const Status& status, const View& view) {
  Table firings({{""}, {""}, {""}, {""}});
  for (const Firing& each : nextOf(status, view)) {
    firings.row({view.near(each.at), actWithEnd(each), view.names.ranges(each.schedule->ifNums),
                 inQuotes(each.schedule->name.c_str())});
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
  std::vector<std::string> texts;
  const auto add = [&texts](const char* result, int64_t count) {
    if (count > 0) {
      texts.push_back(std::to_string(count) + " " + result);
    }
  };
  for (const auto& [result, count] : runsByResult(status)) {
    add(result, count);
  }
  add("running", runsUnderWay(status));
  return counted(status.runsOfDay.size(), "run") + (texts.empty() ? "" : ": ") +
         joined(texts, ", ");
}

void addFailed(Table* table, const Status& status, const View& view) {
  const std::vector<Run> failed = failedRuns(status);
  for (size_t i = 0; i < std::min(failed.size(), kFailedShown); ++i) {
    const Run& run = failed[i];
    const std::string why = failureText(run, view.names);
    table->row(
        {"",
         {runTitle(run) + " " + escaped(run.status.text) + " " +
              view.near(run.startedAt.value_or(SystemTime())) + (why.empty() ? "" : ": " + why) +
              " (quorin_poectl history " + std::to_string(run.runId) + ")",
          Tint::warning}});
  }
  if (failed.size() > kFailedShown) {
    table->row({"", "and " + std::to_string(failed.size() - kFailedShown) +
                        " more: quorin_poectl history --failed"});
  }
}

JsonPtr runJson(const Run& run, const View& view) {
  const std::vector<uint32_t> ifNums = ifNumsOf(run.ports);
  return jsonObject({{"runId", run.runId},
                     {"unit", run.unit},
                     {"triggered", run.triggered.text},
                     {"scheduleId", run.scheduleId},
                     {"scheduleName", run.scheduleName},
                     {"scheduleType", run.scheduleType.text},
                     {"status", run.status.text},
                     {"startedAt", view.stamp(run.startedAt)},
                     {"ifNums", ifNums},
                     {"portNames", portNamesJson(ifNums, view.names)},
                     {"why", failureText(run, view.names)}});
}

JsonPtr offJson(const StatedPort& each, const View& view) {
  const auto& cause = each.cause;
  const PoePort& port = each.port;
  const bool hasRun = cause && cause->run.runId > 0;
  return jsonObject(portJson(port.unit, port.ifNum, view),
                    {{"since", cause ? view.stamp(cause->at) : ""},
                     {"runId", hasRun ? std::make_optional(cause->run.runId) : std::nullopt},
                     {"why", whyOff(each, view)},
                     {"command", bringBack(view.names.name(port.ifNum))}});
}

JsonPtr faultJson(const StatedPort& each, const View& view) {
  return jsonObject(portJson(each.port.unit, each.port.ifNum, view),
                    {{"detectionStatus", each.port.detectionStatus.text}});
}

JsonPtr statesJson(const Status& status) {
  constexpr std::array<const char*, kPortStates> kKeys{"delivering", "searching", "offBySchedule",
                                                       "offForGood", "offByRun",  "offUnexplained",
                                                       "fault"};
  JsonPtr states = jsonObject({});
  const std::array<int64_t, kPortStates> counts = portsByState(status);
  for (size_t i = 0; i < kPortStates; ++i) {
    states = jsonObject(std::move(states), {{kKeys[i], counts[i]}});
  }
  return states;
}

JsonPtr dayJson(const Status& status) {
  JsonPtr day = jsonObject({{"runs", status.runsOfDay.size()}});
  for (const auto& [result, count] : runsByResult(status)) {
    day = jsonObject(std::move(day), {{result, count}});
  }
  return jsonObject(std::move(day), {{"running", runsUnderWay(status)}});
}

// {"answerMicroseconds", "switchTime", "zone", "units": [{"unit", "poePorts", "powerMw"}], "ports":
// {a count for each state}, "offForGood" and "unexplained": [{"unit", "ifNum", "name", "label",
// "since", "runId", "why", "command"}], "faults": [{"unit", "ifNum", "name", "label",
// "detectionStatus"}], "openRuns": [run], "next": [as next shows them], "last24h": {"runs" and a
// count for each result}, "failed": [run]}.
JsonPtr statusJson(const Status& status, const View& view) {
  const auto ofUnit = [](const auto& unit) {
    return jsonObject(
        {{"unit", unit.first}, {"poePorts", unit.second.count}, {"powerMw", unit.second.powerMw}});
  };
  const auto ofOff = [&](const StatedPort& each) { return offJson(each, view); };
  const auto ofFault = [&](const StatedPort& each) { return faultJson(each, view); };
  const auto ofRun = [&](const Run& each) { return runJson(each, view); };
  return jsonObject({{"answerMicroseconds", status.answerUs},
                     {"switchTime", view.stamp(view.now())},
                     {"zone", view.zone.name()},
                     {"units", jsonArray(portsByUnit(status), ofUnit)},
                     {"ports", statesJson(status)},
                     {"offForGood", jsonArray(portsIn(PortState::offForGood, status), ofOff)},
                     {"unexplained", jsonArray(portsIn(PortState::offUnexplained, status), ofOff)},
                     {"faults", jsonArray(portsIn(PortState::fault, status), ofFault)},
                     {"openRuns", jsonArray(status.openRuns, ofRun)},
                     {"next", firingsJson(nextOf(status, view), view)},
                     {"last24h", dayJson(status)},
                     {"failed", jsonArray(failedRuns(status), ofRun)}});
}

int runStatus(bool isCheck, Session& session) {
  if (isCheck) {
    session.refuseJson("status --check");
  }
  const View view = session.view();
  const Status status = askStatus(session.daemon(), session.units(), view);
  if (isCheck) {
    const CheckResult result = checkedStatus(status, session.clockTrouble(), view);
    session.output().print(result.line);
    return result.status;
  }
  session.print([&] { return statusText(status, view); }, [&] { return statusJson(status, view); });
  return kExitDone;
}

}  // namespace

std::string statusText(const Status& status, const View& view) {
  Table table({{""}, {"", Align::left, Fit::wraps}});
  const auto line = [&table](const char* title, const std::string& text) {
    table.row({{title, Tint::faint}, text});
  };
  char answer[64];
  snprintf(answer, sizeof answer, "answers, %.1f ms", static_cast<double>(status.answerUs) / 1000);
  line("daemon", answer);
  line("switch time", view.moment(view.now()) + ", " + view.footer());
  line("units", unitsText(status));
  line("ports", statesText(status));
  addTroubles(&table, status, view);
  line("open runs", openRunsText(status, view));
  addNext(&table, status, view);
  line("last 24 h", dayText(status));
  addFailed(&table, status, view);
  return table.text(view.screen);
}

SessionAction defineStatus(Arguments& app, Options& options) {
  addUnit(app, options);
  const auto isCheck = std::make_shared<bool>(false);
  app.flag("--check", *isCheck,
           "one line for a monitoring system: 0 fine, 1 warning, 2 critical, 3 unknown");
  return [isCheck](Session& session) { return runStatus(*isCheck, session); };
}
