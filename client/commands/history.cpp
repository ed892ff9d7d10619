// history: which runs there were, and how they went.
#include "client/commands/history.h"

#include <algorithm>
#include <iterator>

#include "cli/failure.h"
#include "cli/text.h"
#include "client/command.h"

namespace {

constexpr size_t kShownRuns = 50;

struct HistoryOptions {
  std::string run;
  std::string port;
  std::string since;
  bool failed = false;
};

bool isFailure(const Run& run) {
  return !run.isOpen() && run.status != "success";
}

Tint tintOf(const std::string& status) {
  return status == "success"                          ? Tint::good
         : status == "partial" || status == "skipped" ? Tint::warning
         : status == "failed" || status == "aborted"  ? Tint::bad
                                                      : Tint::plain;
}

std::string titleOf(const Run& run) {
  if (run.triggered == "boot-delay") {
    return "boot delay";
  }
  return run.scheduleId ? run.scheduleName : "manual reset";
}

std::string actionOf(const Run& run) {
  return run.scheduleType == "power_off"  ? "off"
         : run.scheduleType == "power_on" ? "on"
                                          : run.scheduleType;
}

std::string startText(const Run& run, const Zone& shownZone) {
  return run.startedAt ? momentText(*run.startedAt, shownZone) : "";
}

std::string tookText(const Run& run, int64_t now) {
  if (!run.startedAt) {
    return "";
  }
  return secondsText(std::max<int64_t>(run.completedAt.value_or(now) - *run.startedAt, 0));
}

// "4", "3 of 4: 1 failed".
std::string portsText(const Run& run) {
  std::vector<std::string> rest;
  if (run.failedPortCount > 0) {
    rest.push_back(std::to_string(run.failedPortCount) + " failed");
  }
  if (run.skippedPortCount > 0) {
    rest.push_back(std::to_string(run.skippedPortCount) + " skipped");
  }
  const std::string all = std::to_string(run.portCount);
  return run.successPortCount == run.portCount
             ? all
             : std::to_string(run.successPortCount) + " of " + all +
                   (rest.empty() ? "" : ": " + joined(rest, ", "));
}

JsonPtr portStepJson(const RunPort& port, const PortNames& names) {
  JsonObject object;
  object.number("ifNum", port.ifNum);
  addTextOrNull(object, "name", names.nameOrEmpty(port.ifNum));
  addTextOrNull(object, "label", names.labelOrEmpty(port.ifNum));
  addTextOrNull(object, "status", port.status);
  return addTextOrNull(object, "errorMessage", port.errorMessage).take();
}

void addDetail(JsonObject& object, const Run& run, bool hasPorts, const PortNames& names) {
  addNumberOrNull(object, "interPortDelaySec",
                  hasPorts ? std::make_optional(run.interPortDelaySec) : std::nullopt);
  addTextOrNull(object, "errorMessage", run.errorMessage);
  run.allDay ? object.boolean("allDay", *run.allDay) : object.null("allDay");
  if (!hasPorts) {
    object.null("portSteps");
    return;
  }
  object.add("portSteps", jsonArray(run.ports, [&names](const RunPort& port) {
               return portStepJson(port, names);
             }));
}

// A run's id is one of all units, but the daemon is asked for one in a unit.
Run findRun(const std::string& word, Session& session) {
  const int64_t runId = wholeNumber(word);
  if (runId < 1) {
    throw Failure(kExitUsage, inQuotes(word) + " is not the number of a run");
  }
  for (const int32_t unit : session.units()) {
    try {
      return askRun(session.daemon(), unit, runId);
    } catch (const DaemonError& error) {
      if (error.status() != kExitNoSuch) {
        throw;
      }
    }
  }
  throw Failure(kExitNoSuch,
                "no run " + word + " (runs are kept for 30 days). See: quorin_poectl history");
}

std::optional<int64_t> sinceOf(const HistoryOptions& given, Session& session) {
  if (given.since.empty()) {
    return std::nullopt;
  }
  const auto since = parseMoment(given.since, systemNow(), session.shownZone());
  if (!since) {
    throw Failure(kExitUsage, inQuotes(given.since) + " is no time: " + kMomentForms);
  }
  return since;
}

bool isNewer(const Run& a, const Run& b) {
  return a.startedAt != b.startedAt ? a.startedAt > b.startedAt : a.runId > b.runId;
}

// The runs of all units that are meant, newest first, with how many there are at all.
RunPage chosenRuns(const HistoryOptions& given, std::optional<int64_t> since, Session& session) {
  const bool needsAll = since || given.failed || !given.port.empty();
  RunPage chosen;
  for (const int32_t unit : session.units()) {
    RunPage page;
    if (needsAll) {
      page.runs = askRunsSince(session.daemon(), unit, since.value_or(0));
      page.total = static_cast<int64_t>(page.runs.size());
    } else {
      page = askRunPage(session.daemon(), unit, 1, kShownRuns);
    }
    chosen.runs.insert(chosen.runs.end(), page.runs.begin(), page.runs.end());
    chosen.total += page.total;
  }
  std::sort(chosen.runs.begin(), chosen.runs.end(), isNewer);
  return chosen;
}

std::vector<Run> failuresOf(const std::vector<Run>& runs) {
  std::vector<Run> failures;
  std::copy_if(runs.begin(), runs.end(), std::back_inserter(failures), isFailure);
  return failures;
}

// Of runs with ports: the ports that failed or were skipped, and the runs that have such.
std::vector<Run> portFailuresOf(const std::vector<Run>& runs) {
  std::vector<Run> failures;
  for (Run run : runs) {
    run.ports.erase(std::remove_if(run.ports.begin(), run.ports.end(),
                                   [](const RunPort& port) {
                                     return port.status != "failed" && port.status != "skipped";
                                   }),
                    run.ports.end());
    if (!run.ports.empty()) {
      failures.push_back(std::move(run));
    }
  }
  return failures;
}

std::string footer(const RunPage& page, Session& session) {
  const auto shown = static_cast<int64_t>(page.runs.size());
  const std::string rest =
      shown < page.total ? " of " + std::to_string(page.total) + " (all: --since -30d)" : "";
  return shown == 0 ? ""
                    : counted(page.runs.size(), "run") + rest + ", " + session.zoneText() + "\n";
}

void printRuns(const RunPage& page, bool hasPorts, Session& session) {
  const Output& output = session.output();
  if (!session.options().json) {
    const int64_t now = systemNow();
    const Zone& zone = session.shownZone();
    const std::string table =
        hasPorts ? portRunsText(page.runs, session.names(), now, zone, output.screen())
                 : runsText(page.runs, now, zone, output.screen());
    output.print(table + footer(page, session));
    return;
  }
  JsonObject document;
  document.add("runs", jsonArray(page.runs, [&](const Run& run) {
                 return runJson(run, hasPorts, session.names(), session.shownZone());
               }));
  document.number("total", page.total);
  output.printJson(document.take());
}

int listRuns(const HistoryOptions& given, Session& session) {
  const bool hasPorts = !given.port.empty();
  const std::vector<PoePort> ports =
      hasPorts ? session.portsNamed({given.port}) : std::vector<PoePort>();
  const std::optional<int64_t> since = sinceOf(given, session);
  RunPage page = chosenRuns(given, since, session);
  if (hasPorts) {
    page.runs = askRunsOfPorts(session.daemon(), page.runs, ports, SIZE_MAX);
  }
  if (given.failed) {
    page.runs = hasPorts ? portFailuresOf(page.runs) : failuresOf(page.runs);
  }

  if (hasPorts || given.failed) {
    page.total = static_cast<int64_t>(page.runs.size());
  }
  if (!since && page.runs.size() > kShownRuns) {
    page.runs.erase(page.runs.begin() + kShownRuns, page.runs.end());
  }
  printRuns(page, hasPorts, session);
  return kExitDone;
}

int showRun(const HistoryOptions& given, Session& session) {
  const Run run = findRun(given.run, session);
  const Output& output = session.output();
  if (session.options().json) {
    output.printJson(runJson(run, true, session.names(), session.shownZone()));
  } else {
    output.print(runText(run, session.names(), systemNow(), session.shownZone(), output.screen()) +
                 session.zoneText() + "\n");
  }
  return kExitDone;
}

int runHistory(const HistoryOptions& given, Session& session) {
  const bool isFiltered = !given.port.empty() || !given.since.empty() || given.failed;
  if (!given.run.empty() && isFiltered) {
    throw Failure(kExitUsage, "RUN names one run: leave out --port, --since, --failed");
  }
  return given.run.empty() ? listRuns(given, session) : showRun(given, session);
}

}  // namespace

std::string runsText(const std::vector<Run>& runs, int64_t now, const Zone& shownZone,
                     const Screen& screen) {
  if (runs.empty()) {
    return "no runs\n";
  }
  Table table({{"RUN", Align::right},
               {"UNIT", Align::right},
               {"STARTED"},
               {"TOOK"},
               {"WHAT"},
               {"ACTION"},
               {"RESULT"},
               {"PORTS"}});
  for (const Run& run : runs) {
    table.row({std::to_string(run.runId),
               std::to_string(run.unit),
               startText(run, shownZone),
               tookText(run, now),
               titleOf(run),
               actionOf(run),
               {run.isOpen() ? "open" : run.status, tintOf(run.status)},
               portsText(run)});
  }
  return table.text(screen);
}

std::string portRunsText(const std::vector<Run>& runs, const PortNames& names, int64_t now,
                         const Zone& shownZone, const Screen& screen) {
  if (runs.empty()) {
    return "no runs\n";
  }
  Table table({{"PORT"},
               {"LABEL"},
               {"RUN", Align::right},
               {"STARTED"},
               {"TOOK"},
               {"WHAT"},
               {"ACTION"},
               {"PORT'S RESULT"},
               {"WHY"}});
  for (const Run& run : runs) {
    for (const RunPort& port : run.ports) {
      table.row({names.name(port.ifNum),
                 names.labelOrEmpty(port.ifNum),
                 std::to_string(run.runId),
                 startText(run, shownZone),
                 tookText(run, now),
                 titleOf(run),
                 actionOf(run),
                 {port.status, tintOf(port.status)},
                 port.errorMessage.empty() ? run.errorMessage : port.errorMessage});
    }
  }
  return table.text(screen);
}

std::string runText(const Run& run, const PortNames& names, int64_t now, const Zone& shownZone,
                    const Screen& screen) {
  const std::string schedule =
      run.scheduleId ? " (schedule " + std::to_string(*run.scheduleId) + ")" : "";
  Table head({{""}, {""}});
  const auto line = [&head](const char* title, const Cell& text) {
    head.row({{title, Tint::faint}, text});
  };
  line("run", std::to_string(run.runId) + " of unit " + std::to_string(run.unit));
  line("what", titleOf(run) + schedule + (run.scheduleType.empty() ? "" : ", " + actionOf(run)));
  line("started", startText(run, shownZone));
  line(run.isOpen() ? "open for" : "took", tookText(run, now));
  line("result", {run.isOpen() ? "open" : run.status, tintOf(run.status)});
  if (!run.errorMessage.empty()) {
    line("why", run.errorMessage);
  }
  line("ports", portsText(run));

  Table ports({{"PORT"}, {"LABEL"}, {"RESULT"}, {"WHY"}});
  for (const RunPort& port : run.ports) {
    ports.row({names.name(port.ifNum),
               names.labelOrEmpty(port.ifNum),
               {port.status, tintOf(port.status)},
               port.errorMessage});
  }
  return head.text(screen) + (ports.empty() ? "" : "\n" + ports.text(screen));
}

JsonPtr runJson(const Run& run, bool hasPorts, const PortNames& names, const Zone& shownZone) {
  const auto instant = [&shownZone](std::optional<int64_t> at) {
    return at ? rfc3339(*at, shownZone) : "";
  };
  JsonObject object;
  object.number("runId", run.runId).text("triggered", run.triggered.c_str());
  addNumberOrNull(object, "scheduleId", run.scheduleId);
  addTextOrNull(object, "scheduleName", run.scheduleName);
  addTextOrNull(object, "scheduleType", run.scheduleType);
  object.number("unit", run.unit);
  addTextOrNull(object, "status", run.status);
  addTextOrNull(object, "executionMode", run.executionMode);
  addTextOrNull(object, "startedAt", instant(run.startedAt));
  addTextOrNull(object, "completedAt", instant(run.completedAt));
  object.number("portCount", run.portCount)
      .number("successPortCount", run.successPortCount)
      .number("failedPortCount", run.failedPortCount)
      .number("skippedPortCount", run.skippedPortCount);
  addDetail(object, run, hasPorts, names);
  return object.take();
}

SessionAction defineHistory(Arguments& app, Options& options) {
  const auto given = std::make_shared<HistoryOptions>();
  app.add("RUN", given->run, "one run, port by port");
  addUnit(app, options);
  app.add("--port", given->port, "what runs did to this port").named("PORT");
  app.add("--since", given->since, "from this time on: tue, -2h, \"2026-03-03 14:00\"")
      .named("TIME");
  app.flag("--failed", given->failed, "only what did not succeed");
  return [given](Session& session) { return runHistory(*given, session); };
}
