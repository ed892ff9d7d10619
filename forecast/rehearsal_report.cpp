#include "forecast/rehearsal_report.h"

#include "cli/text.h"
#include "forecast/twin.h"
#include "rules/run_words.h"

namespace {

constexpr int64_t kSecPerDay = 86400;

// A day may be an hour longer or shorter.
int64_t daysOf(const Rehearsal& rehearsal) {
  return (rehearsal.until - rehearsal.from + kSecPerDay / 2) / kSecPerDay;
}

std::string shownName(const Schedule& schedule, ScheduleSource source) {
  return source == ScheduleSource::file ? inQuotes(schedule.name.c_str()) : idAndName(schedule);
}

std::string doerOf(const PortChange& change, ScheduleSource source) {
  return change.schedule != nullptr ? shownName(*change.schedule, source)
         : change.isBootDelay       ? "boot delay"
                                    : "nobody foretold it";
}

std::string actOf(const PortChange& change) {
  if (change.isBootDelay) {
    return change.darkSec ? "dark " + secondsText(*change.darkSec) : "off";
  }
  std::string text = actWithEnd({change.at, change.act, change.isEnd, nullptr});
  if (change.act == Act::restart && !change.darkSec) {
    text += ", left off";
  } else if (change.darkSec.value_or(0) > 0) {
    text += ", dark " + secondsText(*change.darkSec);
  }
  return text;
}

std::string changesText(const RehearsalReport& report, ScheduleSource source, const View& view) {
  if (report.changes.empty()) {
    return "no port changes\n";
  }
  Table table({{"WHEN"}, {"ACT"}, {"PORTS"}, {"SCHEDULE"}});
  for (const PortChange& change : report.changes) {
    table.row({view.near(change.at), actOf(change), view.names.ranges(change.ifNums),
               doerOf(change, source)});
  }
  return table.text(view.screen);
}

std::string bySchedule(const char* before, const Schedule* schedule, ScheduleSource source) {
  return schedule != nullptr ? before + shownName(*schedule, source) : "";
}

std::string darkText(const Finding& finding, const Rehearsal& rehearsal, ScheduleSource source,
                     const View& view) {
  const SwitchTime until = finding.until.value_or(rehearsal.until);
  return "off for " + secondsText(until - finding.from) + ", " +
         (finding.wasSo ? "already in the beginning" : "from " + view.near(finding.from)) +
         (finding.until ? " until " + view.near(until) : " to the end") +
         bySchedule(", by ", finding.schedule, source);
}

std::string whatIsFound(const Finding& finding, const Rehearsal& rehearsal, ScheduleSource source,
                        const View& view) {
  const std::string act = actText(finding.act);
  const std::string when = view.near(finding.from);
  switch (finding.kind) {
    case FindingKind::dark:
      return darkText(finding, rehearsal, source, view);
    case FindingKind::otherEnd:
      return std::string(finding.act == Act::on ? "on in the end, off" : "off in the end, on") +
             " in the beginning" + bySchedule(", changed last by ", finding.schedule, source);
    case FindingKind::run:
      return "run of " + when + bySchedule(" of ", finding.schedule, source) + ": " +
             escaped(finding.detail);
    case FindingKind::undone:
      return act + " at " + when + " by " +
             (finding.undoer != nullptr ? shownName(*finding.undoer, source) : "the boot delay") +
             ", though " + shownName(*finding.schedule, source) + " wants it " +
             (finding.act == Act::on ? "off" : "on") + " until " +
             view.near(finding.until.value_or(SwitchTime()));
    case FindingKind::notDone:
      return act + " at " + when + bySchedule(" by ", finding.schedule, source) +
             " was foretold, and nothing was done";
    default:
      return act + " at " + when + ", and no schedule says so";
  }
}

std::string twinAdvice(const Schedule& schedule, ScheduleSource source) {
  return std::string(isAllDayOff(schedule) ? "to switch it on after its days: "
                                           : "to end it each morning: ") +
         (source == ScheduleSource::file
              ? "import the file, then quorin_poectl schedule set " +
                    inQuotes(schedule.name.c_str()) + " --twin"
              : "quorin_poectl schedule set " + std::to_string(schedule.scheduleId) + " --twin");
}

// Whether the schedule would do better with a twin that it has not.
bool lacksTwin(const Schedule* schedule, const std::vector<Schedule>& all) {
  return schedule != nullptr && whyNoTwin(*schedule).empty() &&
         twinAmong(all, *schedule) == nullptr;
}

std::string changeAdvice(const Schedule& schedule, ScheduleSource source) {
  return source == ScheduleSource::file
             ? "if that is not meant, change " + shownName(schedule, source) + " in the file"
             : "if that is not meant: quorin_poectl schedule set " +
                   std::to_string(schedule.scheduleId) + " --help";
}

std::string changeAdvice(const Finding& finding, ScheduleSource source, const View& view) {
  return finding.schedule != nullptr
             ? changeAdvice(*finding.schedule, source)
             : "to see why: quorin_poectl why " + view.names.name(finding.ifNums.front());
}

std::optional<int64_t> idOf(const Schedule* schedule, ScheduleSource source) {
  const bool hasId = schedule != nullptr && source == ScheduleSource::daemon;
  return hasId ? std::make_optional(schedule->scheduleId) : std::nullopt;
}

const char* nameOf(const Schedule* schedule) {
  return schedule != nullptr ? schedule->name.c_str() : "";
}

JsonPtr changeJson(const PortChange& change, ScheduleSource source, const View& view) {
  return jsonObject({{"at", view.stamp(change.at)},
                     {"act", actText(change.act)},
                     {"isEnd", change.isEnd},
                     {"unit", change.unit},
                     {"ifNums", change.ifNums},
                     {"portNames", portNamesJson(change.ifNums, view.names)},
                     {"scheduleId", idOf(change.schedule, source)},
                     {"scheduleName", nameOf(change.schedule)},
                     {"bootDelay", change.isBootDelay},
                     {"darkSec", change.darkSec}});
}

const char* kindText(FindingKind kind) {
  switch (kind) {
    case FindingKind::dark:
      return "dark";
    case FindingKind::otherEnd:
      return "otherEnd";
    case FindingKind::run:
      return "run";
    case FindingKind::undone:
      return "undone";
    case FindingKind::notDone:
      return "notDone";
    default:
      return "notForetold";
  }
}

JsonPtr findingJson(const Finding& finding, const Rehearsal& rehearsal, ScheduleSource source,
                    const View& view) {
  const bool hasAct = finding.kind != FindingKind::dark && finding.kind != FindingKind::run;
  return jsonObject({{"kind", kindText(finding.kind)},
                     {"from", view.stamp(finding.from)},
                     {"until", view.stamp(finding.until)},
                     {"times", finding.times},
                     {"act", hasAct ? actText(finding.act) : ""},
                     {"unit", finding.unit},
                     {"ifNums", finding.ifNums},
                     {"portNames", portNamesJson(finding.ifNums, view.names)},
                     {"scheduleId", idOf(finding.schedule, source)},
                     {"scheduleName", nameOf(finding.schedule)},
                     {"undoerId", idOf(finding.undoer, source)},
                     {"undoerName", nameOf(finding.undoer)},
                     {"text", findingText(finding, rehearsal, source, view)},
                     {"advice", findingAdvice(finding, rehearsal, source, view)}});
}

}  // namespace

std::string findingText(const Finding& finding, const Rehearsal& rehearsal, ScheduleSource source,
                        const View& view) {
  return view.names.ranges(finding.ifNums) + " " + whatIsFound(finding, rehearsal, source, view) +
         (finding.times > 1 ? " (" + std::to_string(finding.times) + " times like this)" : "");
}

std::string findingAdvice(const Finding& finding, const Rehearsal& rehearsal, ScheduleSource source,
                          const View& view) {
  const bool isNeverEnded = finding.detail == kRunNeverEnded || finding.kind == FindingKind::dark;
  if (isNeverEnded && lacksTwin(finding.schedule, rehearsal.schedules)) {
    return twinAdvice(*finding.schedule, source);
  }
  switch (finding.kind) {
    case FindingKind::otherEnd:
      return "to see how it goes on, rehearse more --days";
    case FindingKind::run:
      return finding.detail.find("busy") != std::string::npos
                 ? "another run has the ports then: move one of the two"
                 : changeAdvice(finding, source, view);
    case FindingKind::undone:
      return finding.undoer == nullptr
                 ? "if that matters, begin the window later than the switch starts, or shorten the "
                   "delay: quorin_poectl bootdelay " +
                       std::to_string(finding.unit) + " --help"
                 : changeAdvice(*finding.undoer, source);
    case FindingKind::notDone:
      return "see what else comes in that minute: quorin_poectl next --days " +
             std::to_string(daysOf(rehearsal));
    case FindingKind::unplanned:
      return "rehearse again, for a lab on a busy system may be to blame; if it comes again, "
             "daemon and client do not agree: please report it, with what --json prints";
    default:
      return changeAdvice(finding, source, view);
  }
}

std::string rehearsalText(const Rehearsal& rehearsal, const RehearsalReport& report,
                          ScheduleSource source, const View& view) {
  const auto minute = [&](SwitchTime at) {
    const std::string text = view.moment(at);
    return text.substr(0, text.size() - 3);
  };
  std::string text = changesText(report, source, view) + "rehearsed " +
                     counted(rehearsal.schedules.size(), "schedule") + " from " +
                     minute(rehearsal.from) + " to " + minute(rehearsal.until) + ", " +
                     view.footer() + "\n\nWhat deserves a look:";
  if (report.findings.empty()) {
    return text + " nothing\n";
  }
  text += "\n";
  for (const Finding& finding : report.findings) {
    text += wrapped("  " + findingText(finding, rehearsal, source, view) + "; " +
                        findingAdvice(finding, rehearsal, source, view),
                    view.screen.columns, 2) +
            "\n";
  }
  return text;
}

JsonPtr rehearsalJson(const Rehearsal& rehearsal, const RehearsalReport& report,
                      ScheduleSource source, const View& view) {
  const auto ofChange = [&](const PortChange& each) { return changeJson(each, source, view); };
  const auto ofFinding = [&](const Finding& each) {
    return findingJson(each, rehearsal, source, view);
  };
  return jsonObject({{"from", view.stamp(rehearsal.from)},
                     {"until", view.stamp(rehearsal.until)},
                     {"changes", jsonArray(report.changes, ofChange)},
                     {"findings", jsonArray(report.findings, ofFinding)}});
}
