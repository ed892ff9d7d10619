// import: makes schedules and boot delays those of a document.
#include <algorithm>

#include "api/site_document.h"
#include "cli/files.h"
#include "cli/mapped.h"
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/schedule/changes.h"
#include "client/commands/site/site.h"
#include "client/site/plan_faults.h"

namespace {

using Kind = Difference::Kind;

struct ImportOptions {
  std::string path;
  bool isDryRun = false;
  bool isReplace = false;
  bool isForced = false;
  bool isYes = false;
};

std::string enabledText(const Schedule& schedule) {
  return schedule.enabled != 0 ? "enabled" : "disabled";
}

std::string paceText(const Schedule& schedule) {
  return schedule.executionMode == EXECUTION_SEQUENTIAL
             ? secondsText(schedule.interPortDelaySec) + " apart"
             : "all at once";
}

std::string offTimeText(const Schedule& schedule) {
  return schedule.type == ScheduleType::restart ? "dark " + secondsText(schedule.offTimeSec) : "";
}

// What is another in the two, as "before > after". An aspect that one of them has not is left out.
std::string changesText(const Schedule& before, const Schedule& after, const PortNames& names) {
  const auto nameText = [](const Schedule& each) { return inQuotes(each.name.c_str()); };
  const auto portsText = [&names](const Schedule& each) { return names.ranges(each.ifNums); };
  const std::function<std::string(const Schedule&)> aspects[] = {
      nameText, actionText, daysText, portsText, offTimeText, paceText, enabledText};
  std::vector<std::string> changes;
  for (const auto& aspect : aspects) {
    const std::string was = aspect(before);
    const std::string is = aspect(after);
    if (was != is && !was.empty() && !is.empty()) {
      changes.push_back(joined({was, is}, " > "));
    }
  }
  return joined(changes, ", ");
}

std::vector<Cell> cellsOf(const Difference& each, const PortNames& names) {
  const std::string unit = "unit " + std::to_string(each.unit());
  if (each.delayAfter) {
    const bool isRemoved = each.kind == Kind::removed;
    return {{isRemoved ? "  -" : "  ~", isRemoved ? Tint::bad : Tint::warning},
            unit,
            "boot delay",
            bootDelayText(*each.delayBefore) + " > " + bootDelayText(*each.delayAfter)};
  }
  const std::string name = inQuotes(each.name());
  if (each.kind == Kind::changed) {
    const std::string was = inQuotes(each.before->name.c_str());
    const bool isReplaced = each.before->type != each.after->type;
    return {{"  ~", Tint::warning},
            unit,
            was,
            changesText(*each.before, *each.after, names) +
                (isReplaced ? " (deleted and added anew)" : "")};
  }
  if (each.kind == Kind::onlyHere) {
    return {{"  -", Tint::faint}, unit, name, "(with --replace)"};
  }
  const Schedule& schedule = each.kind == Kind::added ? *each.after : *each.before;
  const bool isAdded = each.kind == Kind::added;
  return {{isAdded ? "  +" : "  -", isAdded ? Tint::good : Tint::bad},
          unit,
          name,
          actionText(schedule) + " " + daysText(schedule),
          names.ranges(schedule.ifNums) + (schedule.enabled != 0 ? "" : ", disabled")};
}

size_t countOf(const std::vector<Difference>& differences, Kind kind) {
  return static_cast<size_t>(
      std::count_if(differences.begin(), differences.end(),
                    [kind](const Difference& each) { return each.kind == kind; }));
}

// Whether all steps of the difference are among those that were done.
bool isDone(const ImportPlan& plan, size_t difference, const ImportResult& result) {
  for (size_t i = result.isDryRun ? plan.steps.size() : result.stepsDone; i < plan.steps.size();
       ++i) {
    if (plan.steps[i].difference == difference) {
      return false;
    }
  }
  return true;
}

JsonPtr itemJson(const Difference& difference) {
  return jsonObject({{"unit", difference.unit()},
                     {"name", difference.name()},
                     {"kind", difference.name().empty() ? "bootDelay" : "schedule"}});
}

JsonPtr itemsJson(const ImportPlan& plan, const ImportResult& result,
                  const std::vector<Kind>& kinds) {
  std::vector<Difference> items;
  for (size_t i = 0; i < plan.differences.size(); ++i) {
    const Kind kind = plan.differences[i].kind;
    if (std::find(kinds.begin(), kinds.end(), kind) != kinds.end() && isDone(plan, i, result)) {
      items.push_back(plan.differences[i]);
    }
  }
  return jsonArray(items, itemJson);
}

// With what is stored now appended to *stored.
void carryOut(const ImportStep& step, const Difference& difference, Daemon& daemon,
              std::vector<ScheduleChange>* stored) {
  const bool wasDisabled = difference.before && difference.before->enabled == 0;
  switch (step.kind) {
    case ImportStep::Kind::create:
      stored->push_back({"added", createSchedule(daemon, step.schedule)});
      return;
    case ImportStep::Kind::update:
      stored->push_back(
          {wasDisabled ? "enabled" : "changed", updateSchedule(daemon, step.schedule)});
      return;
    case ImportStep::Kind::remove:
      deleteSchedule(daemon, step.schedule);
      return;
    default:
      setBootDelay(daemon, step.bootDelay);
  }
}

// What to say of a failure: which step, and what was done before it.
std::string failureText(const ImportPlan& plan, size_t done, const char* why) {
  std::vector<std::string> before;
  for (size_t i = 0; i < done; ++i) {
    before.push_back(stepText(plan.steps[i]));
  }
  return "the import stopped at step " + std::to_string(done + 1) + " of " +
         std::to_string(plan.steps.size()) + ", " + stepText(plan.steps[done]) + ": " + why +
         "\nDone before: " + (before.empty() ? "nothing" : joined(before, "; ")) +
         ".\nOnce the cause is gone, import again: it goes on with what is missing.";
}

// Where a schedule's type was to change, the old one is gone by now: better that one than none.
std::string putBack(const ImportPlan& plan, size_t failed, Daemon& daemon) {
  using Step = ImportStep::Kind;
  const bool isReplacement = failed > 0 && plan.steps[failed].kind == Step::create &&
                             plan.steps[failed - 1].kind == Step::remove &&
                             plan.steps[failed].difference == plan.steps[failed - 1].difference;
  if (!isReplacement) {
    return "";
  }
  const Schedule& old = plan.steps[failed - 1].schedule;
  try {
    (void)createSchedule(daemon, old);
  } catch (const Failure&) {
    return "\n" + inQuotes(old.name.c_str()) + " is not there now.";
  }
  return "\n" + inQuotes(old.name.c_str()) + " is there again as it was.";
}

// Carries the plan out as far as it goes.
ImportResult carryOutAll(const ImportPlan& plan, Session& session, std::optional<Failure>* why,
                         std::vector<ScheduleChange>* stored) {
  ImportResult result;
  for (const ImportStep& step : plan.steps) {
    try {
      carryOut(step, plan.differences[step.difference], session.daemon(), stored);
    } catch (const Failure& failure) {
      result.failure = failureText(plan, result.stepsDone, failure.what()) +
                       putBack(plan, result.stepsDone, session.daemon());
      *why = failure.retold(result.failure);
      return result;
    }
    ++result.stepsDone;
  }
  return result;
}

void confirmAll(const ImportPlan& plan, bool isYes, Session& session) {
  std::vector<Schedule> touched;
  for (const Difference& each : plan.differences) {
    if (each.before && (each.kind == Kind::changed || each.kind == Kind::removed)) {
      touched.push_back(*each.before);
    }
  }
  confirmOpenWindows(touched, WindowFate::mayStay, isYes, session);
  requireUnchanged(touched, session);
}

void warnOfStored(const std::vector<ScheduleChange>& stored, Session& session) {
  for (const ScheduleChange& change : stored) {
    // The daemon has such names, so that an import takes what an export holds.
    const std::string fault = nameFault(change.schedule.name.c_str());
    if (!fault.empty()) {
      session.output().warn(fault);
    }
    warnOfOpenWindow(change, session);
  }
  warnOfChanged(mapped(stored, [](const ScheduleChange& each) { return each.schedule; }), session,
                false);
}

int runImport(const ImportOptions& given, Session& session) {
  std::vector<SiteFault> faults;
  const SiteFile file = readSite(given.path, {}, session, &faults);
  const ImportPlan plan = importPlan(file.config, askSiteConfig(session), given.isReplace);
  if (!given.isForced) {
    planFaults(plan, file, session.poePorts(), session.view(), &faults);
  }
  refuseFaults(faults, given.path, "cannot be imported, nothing was changed");

  const Output& output = session.output();
  const bool isText = !session.options().json;
  if (isText) {
    output.print(differencesText(plan.differences, session.names(), output.screen()));
    output.flush();
  }
  std::optional<Failure> failure;
  std::vector<ScheduleChange> stored;
  ImportResult result{true, 0, ""};
  if (!given.isDryRun) {
    confirmAll(plan, given.isYes, session);
    result = carryOutAll(plan, session, &failure, &stored);
  }
  if (!isText) {
    output.printJson(importJson(plan, result));
  } else if (!failure) {
    output.print(importSummary(plan, result) + "\n");
  }
  if (failure) {
    throw Failure(*failure);
  }
  output.flush();
  warnOfStored(stored, session);
  return kExitDone;
}

}  // namespace

SiteConfig askSiteConfig(Session& session) {
  return {session.schedules(), mapped(session.units(), [&session](int32_t unit) {
            return askBootDelay(session.daemon(), unit);
          })};
}

SiteFile readSite(const std::string& path, const std::vector<std::string>& moreKeys,
                  Session& session, std::vector<SiteFault>* faults) {
  const auto portsOf = [&session](const std::string& words) { return session.portsNamed({words}); };
  return readSiteFile(readWholeFile(path), {path, portsOf, moreKeys}, faults);
}

std::string differencesText(const std::vector<Difference>& differences, const PortNames& names,
                            const Screen& screen) {
  Table table({{""}, {""}, {""}, {""}, {"", Align::left, Fit::wraps}});
  for (const Difference& each : differences) {
    if (each.kind != Kind::same) {
      table.row(cellsOf(each, names));
    }
  }
  return table.empty() ? "" : table.text(screen);
}

std::string importSummary(const ImportPlan& plan, const ImportResult& result) {
  const auto part = [&](Kind kind, const char* toDo, const char* done) {
    return std::to_string(countOf(plan.differences, kind)) + (result.isDryRun ? toDo : done);
  };
  const size_t onlyHere = countOf(plan.differences, Kind::onlyHere);
  return part(Kind::added, " to add, ", " added, ") +
         part(Kind::changed, " to change, ", " changed, ") +
         part(Kind::removed, " to remove, ", " removed, ") +
         part(Kind::same, " the same", " the same") +
         (onlyHere > 0 ? ", " + std::to_string(onlyHere) + " not in the file" : "") +
         (result.isDryRun ? "; nothing was changed (--dry-run)" : "");
}

JsonPtr importJson(const ImportPlan& plan, const ImportResult& result) {
  return jsonObject({{"dryRun", result.isDryRun},
                     {"added", itemsJson(plan, result, {Kind::added})},
                     {"changed", itemsJson(plan, result, {Kind::changed})},
                     {"removed", itemsJson(plan, result, {Kind::removed})},
                     {"kept", itemsJson(plan, result, {Kind::same, Kind::onlyHere})},
                     {"failed", result.failure}});
}

SessionAction defineImport(Arguments& app, Options&) {
  const auto given = std::make_shared<ImportOptions>();
  app.add("FILE", given->path, "file to read; - is the input").required();
  app.flag("--dry-run", given->isDryRun, "show what would change, and change nothing");
  app.flag("--replace", given->isReplace, "remove what the file does not have");
  app.flag("--force", given->isForced,
           "store also what would never fire or has ports that are not here");
  app.flag("-y,--yes", given->isYes, "do not ask when a window is open");
  return [given](Session& session) { return runImport(*given, session); };
}
