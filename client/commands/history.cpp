// history: which runs there were, and how they went.
#include <algorithm>
#include <iterator>

#include "cli/failure.h"
#include "cli/fields.h"
#include "cli/text.h"
#include "client/command.h"
#include "client/diagnosis/run_events.h"
#include "forecast/twin.h"

namespace {

constexpr size_t kShownRuns = 50;

struct HistoryOptions {
  std::string run;
  std::vector<std::string> ports;
  std::string since;
  bool failed = false;
};

Tint tintOf(const Run& run) {
  switch (run.endedByTwin ? RunStatus::success : run.status.kind) {
    case RunStatus::success:
      return Tint::good;
    case RunStatus::partial:
      return Tint::warning;
    case RunStatus::failed:
    case RunStatus::aborted:
      return Tint::bad;
    default:
      return Tint::plain;
  }
}

Tint tintOf(const RunPort& port) {
  return port.status == PortStatus::success   ? Tint::good
         : port.status == PortStatus::skipped ? Tint::warning
         : port.status == PortStatus::failed  ? Tint::bad
                                              : Tint::plain;
}

std::string titleOf(const Run& run) {
  if (run.triggered == Trigger::bootDelay) {
    return "boot delay";
  }
  return run.scheduleId ? run.scheduleName : "manual reset";
}

std::string actionOf(const Run& run) {
  return run.scheduleType == ScheduleType::powerOff  ? "off"
         : run.scheduleType == ScheduleType::powerOn ? "on"
                                                     : run.scheduleType.text;
}

std::string tookText(const Run& run, const View& view) {
  const SystemTime end = run.completedAt.value_or(view.systemNow);
  return run.startedAt ? secondsText(std::max<int64_t>(end - *run.startedAt, 0)) : "";
}

Cell resultCell(const Run& run) {
  return {run.isOpen() ? "open" : run.endedByTwin ? "ended by twin" : run.status.text, tintOf(run)};
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

// The daemon's keys, all of them. Only of a run that was asked for by itself more is known.
Fields<Run> runFields(const View& view) {
  using Row = const Run&;
  Fields<Run> fields;
  fields.both("runId", {"RUN", Align::right}, &Run::runId,
              [](Row run) { return std::to_string(run.runId); });
  fields.column({"UNIT", Align::right}, [](Row run) { return std::to_string(run.unit); });
  fields.column({"STARTED"}, [&](Row run) { return view.moment(run.startedAt); });
  fields.column({"TOOK"}, [&](Row run) { return tookText(run, view); });
  fields.column({"WHAT", Align::left, Fit::yields}, titleOf);
  fields.column({"ACTION"}, actionOf);
  fields.column({"RESULT"}, resultCell);
  fields.column({"PORTS"}, portsText);
  fields.member("triggered", [](Row run) { return run.triggered.text; });
  fields.member("scheduleId", &Run::scheduleId);
  fields.member("scheduleName", &Run::scheduleName);
  fields.member("scheduleType", [](Row run) { return run.scheduleType.text; });
  fields.member("unit", &Run::unit);
  fields.member("status", [](Row run) { return run.status.text; });
  fields.member("endedByTwin", &Run::endedByTwin);
  fields.member("executionMode", &Run::executionMode);
  fields.member("startedAt", [&](Row run) { return view.stamp(run.startedAt); });
  fields.member("completedAt", [&](Row run) { return view.stamp(run.completedAt); });
  fields.member("portCount", &Run::portCount);
  fields.member("successPortCount", &Run::successPortCount);
  fields.member("failedPortCount", &Run::failedPortCount);
  fields.member("skippedPortCount", &Run::skippedPortCount);
  return fields;
}

// A port of a run.
struct PortStep : RunPort {
  const Run* run;
};

std::vector<PortStep> stepsOf(const Run& run) {
  return mapped(run.ports, [&run](const RunPort& port) { return PortStep{port, &run}; });
}

// What is told of a port; in a list of several runs, of its run too.
Fields<PortStep> stepFields(const View& view, bool isOfMany) {
  using Row = const PortStep&;
  const PortNames& names = view.names;
  Fields<PortStep> fields;
  fields.both("ifNum", {"PORT"}, &PortStep::ifNum,
              [&](Row step) { return names.name(step.ifNum); });
  fields.member("name", [&](Row step) { return names.nameOrEmpty(step.ifNum); });
  fields.text("label", {"LABEL", Align::left, Fit::yields},
              [&](Row step) { return names.labelOrEmpty(step.ifNum); });
  if (isOfMany) {
    fields.column({"RUN", Align::right}, [](Row step) { return std::to_string(step.run->runId); });
    fields.column({"STARTED"}, [&](Row step) { return view.moment(step.run->startedAt); });
    fields.column({"TOOK"}, [&](Row step) { return tookText(*step.run, view); });
    fields.column({"WHAT", Align::left, Fit::yields}, [](Row step) { return titleOf(*step.run); });
    fields.column({"ACTION"}, [](Row step) { return actionOf(*step.run); });
  }
  fields.both(
      "status", {isOfMany ? "PORT'S RESULT" : "RESULT"}, [](Row step) { return step.status.text; },
      [](Row step) { return Cell(step.status.text, tintOf(step)); });
  fields.both("errorMessage", {"WHY", Align::left, Fit::wraps}, &PortStep::errorMessage,
              [isOfMany](Row step) {
                return isOfMany && step.errorMessage.empty() ? step.run->errorMessage
                                                             : step.errorMessage;
              });
  return fields;
}

enum class RunDetail { none, ports };

// What history.list does not tell is null.
JsonPtr runJson(const Run& run, RunDetail detail, const View& view) {
  const bool hasPorts = detail == RunDetail::ports;
  const auto pause = hasPorts ? std::make_optional(run.interPortDelaySec) : std::nullopt;
  return jsonObject(
      runFields(view).json(run),
      {{"interPortDelaySec", pause},
       {"errorMessage", run.errorMessage},
       {"allDay", run.allDay},
       {"portSteps", hasPorts ? stepFields(view, false).json(stepsOf(run)) : JsonValue("")}});
}

// One run, port by port.
std::string runText(const Run& run, const View& view) {
  const std::string schedule =
      run.scheduleId ? " (schedule " + std::to_string(*run.scheduleId) + ")" : "";
  Table head({{""}, {"", Align::left, Fit::wraps}});
  const auto line = [&head](const char* title, const Cell& text) {
    head.row({{title, Tint::faint}, text});
  };
  line("run", std::to_string(run.runId) + " of unit " + std::to_string(run.unit));
  line("what",
       titleOf(run) + schedule + (run.scheduleType.text.empty() ? "" : ", " + actionOf(run)));
  line("started", view.moment(run.startedAt));
  line(run.isOpen() ? "open for" : "took", tookText(run, view));
  line("result", resultCell(run));
  if (!run.errorMessage.empty()) {
    line("why", run.errorMessage);
  }
  line("ports", portsText(run));
  const std::vector<PortStep> steps = stepsOf(run);
  return head.text(view.screen) +
         (steps.empty() ? "" : "\n" + stepFields(view, false).table(steps, view.screen)) +
         view.footer() + "\n";
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

std::optional<SystemTime> sinceOf(const HistoryOptions& given, Session& session) {
  if (given.since.empty()) {
    return std::nullopt;
  }
  const auto since = parseMoment(given.since, systemNow(), session.shownZone());
  if (!since) {
    throw Failure(kExitUsage, inQuotes(given.since) + " is no time: " + kMomentForms);
  }
  return SystemTime(*since);
}

bool isNewer(const Run& a, const Run& b) {
  return a.startedAt != b.startedAt ? a.startedAt > b.startedAt : a.runId > b.runId;
}

// The runs of all units that are meant, newest first, with how many there are at all.
RunPage chosenRuns(const HistoryOptions& given, std::optional<SystemTime> since, Session& session) {
  const bool needsAll = since || given.failed || !given.ports.empty();
  RunPage chosen;
  for (const int32_t unit : session.units()) {
    RunPage page;
    if (needsAll) {
      page.runs = askRunsSince(session.daemon(), unit, since.value_or(SystemTime()));
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

// A list of runs does not tell why they failed. all: those and the ones around them.
void findTwins(std::vector<Run>* runs, const std::vector<Run>& all, Session& session) {
  const bool mayBe = std::any_of(runs->begin(), runs->end(), [](const Run& run) {
    return run.status == RunStatus::failed && run.scheduleId;
  });
  const std::vector<Schedule> schedules = mayBe ? session.schedules() : std::vector<Schedule>();
  for (Run& run : *runs) {
    const Schedule* schedule = scheduleOf(run, schedules);
    if (run.status != RunStatus::failed || schedule == nullptr ||
        twinNamed(schedules, *schedule) == nullptr) {
      continue;
    }
    const Run whole =
        run.errorMessage.empty() ? askRun(session.daemon(), run.unit, run.runId) : run;
    run.endedByTwin = isEndedByTwin(whole, all, schedules);
  }
}

std::vector<Run> failuresOf(const std::vector<Run>& runs) {
  std::vector<Run> failures;
  std::copy_if(runs.begin(), runs.end(), std::back_inserter(failures),
               [](const Run& run) { return run.isFailure() && !run.endedByTwin; });
  return failures;
}

// Of runs with ports: the ports that failed or were skipped, and the runs that have such.
std::vector<Run> portFailuresOf(const std::vector<Run>& runs) {
  std::vector<Run> failures;
  for (Run run : runs) {
    run.ports.erase(std::remove_if(run.ports.begin(), run.ports.end(),
                                   [](const RunPort& port) {
                                     return port.status != PortStatus::failed &&
                                            port.status != PortStatus::skipped;
                                   }),
                    run.ports.end());
    if (!run.ports.empty()) {
      failures.push_back(std::move(run));
    }
  }
  return failures;
}

std::string listText(const RunPage& page, RunDetail detail, const View& view) {
  if (page.runs.empty()) {
    return "no runs\n";
  }
  const auto shown = static_cast<int64_t>(page.runs.size());
  const std::string rest =
      shown < page.total ? " of " + std::to_string(page.total) + " (all: --since -30d)" : "";
  std::vector<PortStep> steps;
  for (const Run& run : page.runs) {
    const std::vector<PortStep> ofRun = stepsOf(run);
    steps.insert(steps.end(), ofRun.begin(), ofRun.end());
  }
  return (detail == RunDetail::ports ? stepFields(view, true).table(steps, view.screen)
                                     : runFields(view).table(page.runs, view.screen)) +
         counted(page.runs.size(), "run") + rest + ", " + view.footer() + "\n";
}

JsonPtr listJson(const RunPage& page, RunDetail detail, const View& view) {
  JsonPtr runs = jsonArray(page.runs, [&](const Run& run) { return runJson(run, detail, view); });
  return jsonObject({{"runs", std::move(runs)}, {"total", page.total}});
}

int listRuns(const HistoryOptions& given, Session& session) {
  const bool hasPorts = !given.ports.empty();
  const std::vector<PoePort> ports =
      hasPorts ? session.portsNamed(given.ports) : std::vector<PoePort>();
  const std::optional<SystemTime> since = sinceOf(given, session);
  RunPage page = chosenRuns(given, since, session);
  const std::vector<Run> all = page.runs;
  if (hasPorts) {
    page.runs = askRunsOfPorts(session.daemon(), page.runs, ports, SIZE_MAX);
  }
  findTwins(&page.runs, all, session);
  if (given.failed) {
    page.runs = hasPorts ? portFailuresOf(page.runs) : failuresOf(page.runs);
  }

  if (hasPorts || given.failed) {
    page.total = static_cast<int64_t>(page.runs.size());
  }
  if (!since && page.runs.size() > kShownRuns) {
    page.runs.erase(page.runs.begin() + kShownRuns, page.runs.end());
  }
  const View view = session.view();
  const RunDetail detail = hasPorts ? RunDetail::ports : RunDetail::none;
  session.print([&] { return listText(page, detail, view); },
                [&] { return listJson(page, detail, view); });
  return kExitDone;
}

int showRun(const HistoryOptions& given, Session& session) {
  std::vector<Run> runs{findRun(given.run, session)};
  if (runs.front().status == RunStatus::failed && runs.front().startedAt) {
    findTwins(&runs, askRunsSince(session.daemon(), runs.front().unit, *runs.front().startedAt),
              session);
  }
  const View view = session.view();
  session.print([&] { return runText(runs.front(), view); },
                [&] { return runJson(runs.front(), RunDetail::ports, view); });
  return kExitDone;
}

int runHistory(const HistoryOptions& given, Session& session) {
  const bool isFiltered = !given.ports.empty() || !given.since.empty() || given.failed;
  if (!given.run.empty() && isFiltered) {
    throw Failure(kExitUsage, "RUN names one run: leave out --port, --since, --failed");
  }
  return given.run.empty() ? listRuns(given, session) : showRun(given, session);
}

}  // namespace

SessionAction defineHistory(Arguments& app, Options& options) {
  const auto given = std::make_shared<HistoryOptions>();
  app.add("RUN", given->run, "one run, port by port");
  addUnit(app, options);
  app.add("--port", given->ports, "what runs did to these ports").named("PORT");
  app.add("--since", given->since, "from this time on: tue, -2h, \"2026-03-03 14:00\"")
      .named("TIME");
  app.flag("--failed", given->failed, "only what did not succeed");
  return [given](Session& session) { return runHistory(*given, session); };
}
