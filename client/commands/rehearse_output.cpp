// What rehearse prints of a rehearsal.
#include "cli/output.h"
#include "cli/text.h"
#include "client/commands/next.h"
#include "client/commands/rehearse.h"
#include "forecast/twin.h"
#include "rules/run_words.h"

namespace {

constexpr int64_t kSecPerDay = 86400;

// A day may be an hour longer or shorter.
int64_t daysOf(const Rehearsal& rehearsal) {
  return (rehearsal.until - rehearsal.from + kSecPerDay / 2) / kSecPerDay;
}

std::string shownName(const Schedule& schedule, const RehearsalShown& shown) {
  return shown.isOfFile ? inQuotes(schedule.name.c_str()) : idAndName(schedule);
}

std::string momentOf(int64_t instant, const RehearsalShown& shown) {
  return nearText(instant, shown.at.now, shown.at.shownZone);
}

std::string doerOf(const PortChange& change, const RehearsalShown& shown) {
  return change.schedule != nullptr ? shownName(*change.schedule, shown)
         : change.isBootDelay       ? "boot delay"
                                    : "nobody foretold it";
}

std::string actOf(const PortChange& change) {
  if (change.isBootDelay) {
    return change.darkSec ? "dark " + secondsText(*change.darkSec) : "off";
  }
  std::string text = actWithEnd({change.at, change.act, change.isEnd});
  if (change.act == Act::restart && !change.darkSec) {
    text += ", left off";
  } else if (change.darkSec.value_or(0) > 0) {
    text += ", dark " + secondsText(*change.darkSec);
  }
  return text;
}

std::string changesText(const Rehearsed& rehearsed, const RehearsalShown& shown,
                        const Screen& screen) {
  if (rehearsed.changes.empty()) {
    return "no port changes\n";
  }
  Table table({{"WHEN"}, {"ACT"}, {"PORTS"}, {"SCHEDULE"}});
  for (const PortChange& change : rehearsed.changes) {
    table.row({momentOf(change.at, shown), actOf(change), shown.names.ranges(change.ifNums),
               doerOf(change, shown)});
  }
  return table.text(screen);
}

std::string bySchedule(const char* before, const Schedule* schedule, const RehearsalShown& shown) {
  return schedule != nullptr ? before + shownName(*schedule, shown) : "";
}

std::string darkText(const Finding& finding, const Rehearsal& rehearsal,
                     const RehearsalShown& shown) {
  const int64_t until = finding.until.value_or(rehearsal.until);
  return "off for " + secondsText(until - finding.from) + ", " +
         (finding.wasSo ? "already in the beginning" : "from " + momentOf(finding.from, shown)) +
         (finding.until ? " until " + momentOf(until, shown) : " to the end") +
         bySchedule(", by ", finding.schedule, shown);
}

std::string whatIsFound(const Finding& finding, const Rehearsal& rehearsal,
                        const RehearsalShown& shown) {
  const std::string act = actText(finding.act);
  const std::string when = momentOf(finding.from, shown);
  switch (finding.kind) {
    case FindingKind::dark:
      return darkText(finding, rehearsal, shown);
    case FindingKind::otherEnd:
      return std::string(finding.act == Act::on ? "on in the end, off" : "off in the end, on") +
             " in the beginning" + bySchedule(", changed last by ", finding.schedule, shown);
    case FindingKind::run:
      return "run of " + when + bySchedule(" of ", finding.schedule, shown) + ": " +
             escaped(finding.detail);
    case FindingKind::undone:
      return act + " at " + when + " by " +
             (finding.undoer != nullptr ? shownName(*finding.undoer, shown) : "the boot delay") +
             ", though " + shownName(*finding.schedule, shown) + " wants it " +
             (finding.act == Act::on ? "off" : "on") + " until " +
             momentOf(finding.until.value_or(0), shown);
    case FindingKind::notDone:
      return act + " at " + when + bySchedule(" by ", finding.schedule, shown) +
             " was foretold, and nothing was done";
    default:
      return act + " at " + when + ", and no schedule says so";
  }
}

std::string twinAdvice(const Schedule& schedule, const RehearsalShown& shown) {
  return "to end it each morning: " +
         (shown.isOfFile
              ? "import the file, then quorin_poectl schedule set " +
                    inQuotes(schedule.name.c_str()) + " --twin"
              : "quorin_poectl schedule set " + std::to_string(schedule.scheduleId) + " --twin");
}

// Whether the schedule would do better with a twin that it has not.
bool lacksTwin(const Schedule* schedule, const std::vector<Schedule>& all) {
  return schedule != nullptr && whyNoTwin(*schedule).empty() &&
         twinAmong(all, *schedule) == nullptr;
}

std::string changeAdvice(const Schedule& schedule, const RehearsalShown& shown) {
  return shown.isOfFile
             ? "if that is not meant, change " + shownName(schedule, shown) + " in the file"
             : "if that is not meant: quorin_poectl schedule set " +
                   std::to_string(schedule.scheduleId) + " --help";
}

std::string changeAdvice(const Finding& finding, const RehearsalShown& shown) {
  return finding.schedule != nullptr
             ? changeAdvice(*finding.schedule, shown)
             : "to see why: quorin_poectl why " + shown.names.name(finding.ifNums.front());
}

void addSchedule(JsonObject& object, const char* idKey, const char* nameKey,
                 const Schedule* schedule, const RehearsalShown& shown) {
  const bool hasId = schedule != nullptr && !shown.isOfFile;
  addNumberOrNull(object, idKey, hasId ? std::make_optional(schedule->scheduleId) : std::nullopt);
  addTextOrNull(object, nameKey, schedule != nullptr ? schedule->name.c_str() : "");
}

JsonPtr changeJson(const PortChange& change, const RehearsalShown& shown) {
  JsonObject object;
  object.text("at", rfc3339(change.at, shown.at.shownZone).c_str())
      .text("act", actText(change.act))
      .boolean("isEnd", change.isEnd)
      .number("unit", change.unit)
      .add("ifNums", jsonNumbers(change.ifNums))
      .add("portNames", portNamesJson(change.ifNums, shown.names));
  addSchedule(object, "scheduleId", "scheduleName", change.schedule, shown);
  object.boolean("bootDelay", change.isBootDelay);
  return addNumberOrNull(object, "darkSec", change.darkSec).take();
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

JsonPtr findingJson(const Finding& finding, const Rehearsal& rehearsal,
                    const RehearsalShown& shown) {
  const bool hasAct = finding.kind != FindingKind::dark && finding.kind != FindingKind::run;
  JsonObject object;
  object.text("kind", kindText(finding.kind))
      .text("from", rfc3339(finding.from, shown.at.shownZone).c_str());
  addTextOrNull(object, "until", finding.until ? rfc3339(*finding.until, shown.at.shownZone) : "");
  object.number("times", static_cast<int64_t>(finding.times));
  addTextOrNull(object, "act", hasAct ? actText(finding.act) : "");
  object.number("unit", finding.unit)
      .add("ifNums", jsonNumbers(finding.ifNums))
      .add("portNames", portNamesJson(finding.ifNums, shown.names));
  addSchedule(object, "scheduleId", "scheduleName", finding.schedule, shown);
  addSchedule(object, "undoerId", "undoerName", finding.undoer, shown);
  object.text("text", findingText(finding, rehearsal, shown).c_str());
  return addTextOrNull(object, "advice", findingAdvice(finding, rehearsal, shown)).take();
}

}  // namespace

std::string findingText(const Finding& finding, const Rehearsal& rehearsal,
                        const RehearsalShown& shown) {
  return shown.names.ranges(finding.ifNums) + " " + whatIsFound(finding, rehearsal, shown) +
         (finding.times > 1 ? " (" + std::to_string(finding.times) + " times like this)" : "");
}

std::string findingAdvice(const Finding& finding, const Rehearsal& rehearsal,
                          const RehearsalShown& shown) {
  const bool isNeverEnded = finding.detail == kRunNeverEnded || finding.kind == FindingKind::dark;
  if (isNeverEnded && lacksTwin(finding.schedule, rehearsal.schedules)) {
    return twinAdvice(*finding.schedule, shown);
  }
  switch (finding.kind) {
    case FindingKind::otherEnd:
      return "to see how it goes on, rehearse more --days";
    case FindingKind::run:
      return finding.detail.find("busy") != std::string::npos
                 ? "another run has the ports then: move one of the two"
                 : changeAdvice(finding, shown);
    case FindingKind::undone:
      return finding.undoer == nullptr
                 ? "if that matters, begin the window later than the switch starts, or shorten the "
                   "delay: quorin_poectl bootdelay " +
                       std::to_string(finding.unit) + " --help"
                 : changeAdvice(*finding.undoer, shown);
    case FindingKind::notDone:
      return "see what else comes in that minute: quorin_poectl next --days " +
             std::to_string(daysOf(rehearsal));
    case FindingKind::notForetold:
      return "rehearse again, for a lab on a busy system may be to blame; if it comes again, "
             "daemon and client do not agree: please report it, with what --json prints";
    default:
      return changeAdvice(finding, shown);
  }
}

std::string rehearsalText(const Rehearsal& rehearsal, const Rehearsed& rehearsed,
                          const RehearsalShown& shown, const Screen& screen) {
  const auto line = [&](int64_t at) {
    const std::string text = momentText(at, shown.at.shownZone);
    return text.substr(0, text.size() - 3);
  };
  std::string text = changesText(rehearsed, shown, screen) + "rehearsed " +
                     counted(rehearsal.schedules.size(), "schedule") + " from " +
                     line(rehearsal.from) + " to " + line(rehearsal.until) + ", " +
                     shown.at.footer + "\n\nWhat deserves a look:";
  if (rehearsed.findings.empty()) {
    return text + " nothing\n";
  }
  text += "\n";
  for (const Finding& finding : rehearsed.findings) {
    text += "  " + findingText(finding, rehearsal, shown) + "; " +
            findingAdvice(finding, rehearsal, shown) + "\n";
  }
  return text;
}

JsonPtr rehearsalJson(const Rehearsal& rehearsal, const Rehearsed& rehearsed,
                      const RehearsalShown& shown) {
  JsonObject document;
  document.text("from", rfc3339(rehearsal.from, shown.at.shownZone).c_str())
      .text("until", rfc3339(rehearsal.until, shown.at.shownZone).c_str())
      .add("changes", jsonArray(rehearsed.changes,
                                [&](const PortChange& each) { return changeJson(each, shown); }))
      .add("findings", jsonArray(rehearsed.findings, [&](const Finding& each) {
             return findingJson(each, rehearsal, shown);
           }));
  return document.take();
}
