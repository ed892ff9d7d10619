// why: why a port has no power, or had none.
#include "client/commands/why.h"

#include <algorithm>
#include <iterator>

#include "cli/failure.h"
#include "cli/text.h"
#include "client/command.h"
#include "client/diagnosis/run_events.h"
#include "forecast/firings.h"

namespace {

constexpr int64_t kKeptSec = int64_t{30} * 24 * 3600;
// So many runs of the port before and after the moment tell what was around it.
constexpr size_t kRunsBefore = 20;
constexpr size_t kRunsAfter = 10;
constexpr size_t kIndent = 2;
constexpr size_t kMaxAsked = 1000;  // each is a request

using State = PortAccount::State;

struct WhyOptions {
  std::string port;
  std::string at;
};

std::vector<PortEvent> timelineOf(const WhyQuestion& question, const View& view) {
  std::vector<PortEvent> timeline =
      portTimeline(question.port, question.records, view.systemNow, view.zone);
  if (question.sensor && question.sensor->isOn()) {
    confirmOn(&timeline);
  }
  return timeline;
}

const char* stateText(State state) {
  switch (state) {
    case State::on:
      return "on";
    case State::off:
      return "off";
    case State::maybeOff:
      return "maybeOff";
    default:
      return "unknown";
  }
}

std::string deviceText(const SensorPort& sensor) {
  if (sensor.delivers()) {
    return "it delivers " + wattsText(sensor.powerMw);
  }
  if (sensor.detectionStatus == Detection::denied && sensor.powerLimitMw) {
    return "but power is denied: limit " + wattsText(*sensor.powerLimitMw);
  }
  if (sensor.detectionStatus == Detection::searching) {
    return "but finds no device that takes power";
  }
  return "and says: " + escaped(sensor.detectionStatus.text);
}

std::string headline(const WhyQuestion& question, const PortAccount& account, const View& view) {
  const std::string name = view.names.nameAndLabel(question.port.ifNum);
  if (question.sensor) {
    return name + (account.state == State::off ? " is off."
                                               : " is on, " + deviceText(*question.sensor) + ".");
  }
  const std::string when = " on " + view.moment(question.at);
  switch (account.state) {
    case State::on:
      return name + " was on" + when + ".";
    case State::off:
      return name + " was off" + when + ".";
    case State::maybeOff:
      return name + " was perhaps off" + when + ".";
    default:
      return "Nothing is known of " + name + when + ": no run switched it before.";
  }
}

std::string darkText(const PortAccount& account) {
  const std::optional<int64_t> sec = account.darkSec();
  const char* dark = account.isDarkCertain() ? " (dark for " : " (perhaps dark for ";
  return !sec       ? ""
         : *sec > 0 ? dark + secondsText(*sec) + ")"
                    : std::string(dark) + "less than a second)";
}

// What will switch it on, where a schedule has it dark until now.
std::optional<Firing> onToCome(const WhyQuestion& question, const PortAccount& account,
                               const std::vector<PortEvent>& timeline, const View& view) {
  const PortEvent* cause = whatLeftOff(timeline);
  const bool isDark = account.state != State::on && account.on == nullptr;
  return isDark && cause != nullptr && isOffBySchedule(*cause)
             ? nextOn(question.port, question.records.schedules, view.now(), view.zone)
             : std::nullopt;
}

std::string onToComeText(const Firing& on, const PortEvent* last) {
  const Schedule& schedule = *on.schedule;
  const bool isOwn = on.isEnd && last != nullptr && last->run.scheduleId == schedule.scheduleId;
  return "will be switched on by " +
         (isOwn ? "the end of that window"
                : "schedule " + std::to_string(schedule.scheduleId) + " " +
                      inQuotes(schedule.name.c_str()) + " (" + escaped(actionText(schedule)) + ")");
}

std::string eventsText(const PortAccount& account, const std::optional<Firing>& on,
                       const View& view) {
  Table table({{""}, {"", Align::left, Fit::wraps}});
  const PortEvent* last = nullptr;
  for (const PortEvent* event : account.events()) {
    const bool isSameRun = last != nullptr && last->run.runId == event->run.runId;
    const std::string length = event == account.on ? darkText(account) : "";
    const bool isBefore = event == account.before && account.off != nullptr;
    std::string text = isBefore ? "before: " : "";
    text += eventText(*event, isSameRun) + length;
    table.row({view.moment(event->at), text});
    last = event;
  }
  if (on) {
    table.row({view.moment(on->at), onToComeText(*on, last)});
  }
  Screen inner = view.screen;
  inner.columns -= std::min(inner.columns, kIndent);
  std::string text;
  for (const std::string& line : splitAt(table.text(inner), '\n')) {
    text += std::string(line.empty() ? 0 : kIndent, ' ');
    text += line + (line.empty() ? "" : "\n");
  }
  return text;
}

// What the events do not explain, and what helps.
std::string notes(const WhyQuestion& question, const PortAccount& account,
                  const std::vector<PortEvent>& timeline, const std::optional<Firing>& on,
                  const View& view) {
  if (!question.sensor) {
    return "";
  }
  const MayBe known = stateAt(timeline, view.systemNow);
  if (account.state == State::on) {
    return known.isOff()
               ? "No run switched it on again: somebody did so with the switch's own CLI, or "
                 "the end of a window that had no run.\n"
               : "";
  }
  std::string text;
  const PortEvent* cause = whatLeftOff(timeline);
  if (cause == nullptr) {
    text =
        "No run that is known left it off: somebody did so with the switch's own CLI, or the end "
        "of a "
        "window that had no run, or it was longer ago.\n";
  } else if (!known.isOff()) {
    text = "Or somebody switched it off with the switch's own CLI.\n";
  }
  text += cause != nullptr && isOffBySchedule(*cause) && !on ? "No schedule switches it on again.\n"
                                                             : "";
  const bool switchesBack = cause != nullptr && cause->run.isOpen() && cause->run.switchesBack();
  if (!on && !switchesBack) {
    text += "To switch it on: quorin_poectl on " + view.names.name(question.port.ifNum) + "\n";
  }
  return text;
}

const char* causeText(PortCause cause) {
  switch (cause) {
    case PortCause::windowStart:
      return "windowStart";
    case PortCause::windowEnd:
      return "windowEnd";
    case PortCause::lostEnd:
      return "unrecordedWindowEnd";
    case PortCause::allDay:
      return "allDay";
    case PortCause::bootDelay:
      return "bootDelay";
    case PortCause::plainReset:
      return "plainReset";
    default:
      return "restart";
  }
}

const char* effectText(PortEffect effect) {
  switch (effect) {
    case PortEffect::off:
      return "off";
    case PortEffect::on:
      return "on";
    case PortEffect::unclear:
      return "unclear";
    default:
      return "none";
  }
}

JsonPtr eventJson(const PortEvent& event, const View& view) {
  return jsonObject({{"at", view.stamp(event.at)},
                     {"effect", effectText(event.effect)},
                     {"cause", causeText(event.cause)},
                     {"runId", event.run.runId > 0 ? JsonValue(event.run.runId) : JsonValue("")},
                     {"triggered", event.run.triggered.text},
                     {"scheduleId", event.run.scheduleId},
                     {"scheduleName", event.run.scheduleName},
                     {"runStatus", event.run.status.text},
                     {"runErrorMessage", event.run.errorMessage},
                     {"portStatus", event.port().status.text},
                     {"portErrorMessage", event.port().errorMessage},
                     {"cutOff", wasCutOff(event)}});
}

JsonPtr sensorJson(const SensorPort& sensor) {
  return jsonObject({{"adminMode", sensor.adminMode.text},
                     {"detectionStatus", sensor.detectionStatus.text},
                     {"powerMw", sensor.powerMw},
                     {"powerLimitMw", sensor.powerLimitMw}});
}

// {"unit", "ifNum", "name", "label", "at", "state", "sensor", "dark": {"from", "to",
// "expectedTo"}, "events": [...], "knownSince"}.
JsonPtr whyJson(const WhyQuestion& question, const View& view) {
  const std::vector<PortEvent> timeline = timelineOf(question, view);
  const PortAccount account = accountOf(timeline, question.at, question.sensor);
  const std::optional<Firing> on = onToCome(question, account, timeline, view);
  const auto stamp = [&view](const PortEvent* event) {
    return event != nullptr ? view.stamp(event->at) : "";
  };
  JsonPtr dark = jsonObject({{"from", stamp(account.off)},
                             {"to", stamp(account.on)},
                             {"expectedTo", on ? view.stamp(on->at) : ""}});
  return jsonObject(
      portJson(question.port.unit, question.port.ifNum, view),
      {{"at", view.stamp(question.at)},
       {"state", stateText(account.state)},
       {"sensor", question.sensor ? sensorJson(*question.sensor) : JsonValue("")},
       {"dark", std::move(dark)},
       {"events", jsonArray(account.events(),
                            [&view](const PortEvent* event) { return eventJson(*event, view); })},
       {"knownSince", view.stamp(view.systemNow - kKeptSec)}});
}

// Those of the runs that have the port, in their order, up to so many that switched it for certain.
void addRuns(Daemon& daemon, const std::vector<Run>& runs, uint32_t ifNum, size_t enough,
             std::vector<Run>* own) {
  size_t asked = 0;
  for (auto run = runs.begin(); run != runs.end() && enough > 0 && asked < kMaxAsked; ++run) {
    Run whole = askRun(daemon, run->unit, run->runId);
    ++asked;
    if (whole.port(ifNum) != nullptr) {
      enough -= hasSwitched(whole, ifNum) ? 1 : 0;
      own->push_back(std::move(whole));
    }
  }
}

// The records of the port that are near to the moment.
PortRecords recordsAround(Daemon& daemon, const PoePort& port, SystemTime at) {
  PortRecords records;
  records.schedules = askSchedules(daemon, port.unit);
  records.begun = askRunsSince(daemon, port.unit, SystemTime());
  const std::vector<Run>& all = records.begun;
  const auto before = std::find_if(all.begin(), all.end(), [at](const Run& run) {
    return run.startedAt.value_or(SystemTime()) <= at;
  });
  addRuns(daemon, {before, all.end()}, port.ifNum, kRunsBefore, &records.runs);
  addRuns(daemon, {std::make_reverse_iterator(before), all.rend()}, port.ifNum, kRunsAfter,
          &records.runs);
  return records;
}

SystemTime momentAsked(const std::string& text, SystemTime now, const Zone& zone) {
  const std::optional<int64_t> at = text.empty() ? int64_t{now} : parseMoment(text, now, zone);
  if (!at) {
    throw Failure(kExitUsage, inQuotes(text) + " is no time: " + kMomentForms);
  }
  if (*at > now) {
    throw Failure(kExitUsage, inQuotes(text) + " is still to come. See: quorin_poectl next");
  }
  return SystemTime(*at);
}

int runWhy(const WhyOptions& given, Session& session) {
  WhyQuestion question;
  question.at = momentAsked(given.at, systemNow(), session.shownZone());
  const std::vector<PoePort> ports = session.portsNamed({given.port});
  if (ports.size() != 1) {
    throw Failure(kExitUsage, "why tells of one port; " + inQuotes(given.port) + " are " +
                                  counted(ports.size(), "port"));
  }
  question.port = ports.front();
  if (given.at.empty()) {
    question.sensor = *findPort(session.sensors(), question.port);
  }
  question.records = recordsAround(session.daemon(), question.port, question.at);
  const View view = session.view();
  session.print([&] { return whyText(question, view) + view.footer() + "\n"; },
                [&] { return whyJson(question, view); });
  return kExitDone;
}

}  // namespace

std::string whyText(const WhyQuestion& question, const View& view) {
  const std::vector<PortEvent> timeline = timelineOf(question, view);
  const PortAccount account = accountOf(timeline, question.at, question.sensor);
  const std::optional<Firing> on = onToCome(question, account, timeline, view);
  const std::string rest =
      notes(question, account, timeline, on, view) +
      "Not known here: what somebody did with the switch's own CLI, and anything before " +
      view.day(view.systemNow - kKeptSec) + ".\n";
  return headline(question, account, view) + "\n" + eventsText(account, on, view) +
         wrapped(rest, view.screen.columns, kIndent);
}

SessionAction defineWhy(Arguments& app, Options& options) {
  const auto given = std::make_shared<WhyOptions>();
  app.add("PORT", given->port, "the port").required();
  app.add("--at", given->at, "why at this moment: \"tue 14:00\", yesterday, -2h [now]")
      .named("TIME");
  addUnit(app, options);
  return [given](Session& session) { return runWhy(*given, session); };
}
