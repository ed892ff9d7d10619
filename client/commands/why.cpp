// why: why a port has no power, or had none.
#include "client/commands/why.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <iterator>

#include "cli/failure.h"
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/ports.h"

namespace {

constexpr int64_t kKeptSec = int64_t{30} * 24 * 3600;
// So many runs of the port before and after the moment tell what was around it.
constexpr size_t kRunsBefore = 20;
constexpr size_t kRunsAfter = 10;

using State = PortAccount::State;

struct WhyOptions {
  std::string port;
  std::string at;
};

State stateOf(const SensorPort& sensor) {
  return sensor.isOff() ? State::off : State::on;
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

// The switchings in a timeline: indices of the events that are no mere attempts.
std::vector<size_t> switchings(const std::vector<PortEvent>& timeline) {
  std::vector<size_t> all;
  for (size_t i = 0; i < timeline.size(); ++i) {
    if (timeline[i].effect != PortEffect::none) {
      all.push_back(i);
    }
  }
  return all;
}

// Fills in the dark time whose last switching before the moment is that at `last` among all.
void fillDark(const std::vector<PortEvent>& timeline, const std::vector<size_t>& all, size_t last,
              PortAccount* account) {
  size_t first = last;
  while (first > 0 && isToOff(timeline[all[first - 1]])) {
    --first;
  }
  account->off = &timeline[all[first]];
  account->before = first > 0 ? &timeline[all[first - 1]] : nullptr;
  while (last < all.size() && isToOff(timeline[all[last]])) {
    ++last;
  }
  account->on = last < all.size() ? &timeline[all[last]] : nullptr;

  const size_t end = last < all.size() ? all[last] : timeline.size();
  for (size_t i = all[first] + 1; i < end; ++i) {
    account->between.push_back(&timeline[i]);
  }
}

// Of the dark time up to the moment: certain as soon as one switching in it is.
State darkState(const PortAccount& account, int64_t at) {
  const auto isCertain = [at](const PortEvent* event) {
    return event->effect == PortEffect::off && event->at <= at;
  };
  return isCertain(account.off) ||
                 std::any_of(account.between.begin(), account.between.end(), isCertain)
             ? State::off
             : State::maybeOff;
}

std::string deviceText(const SensorPort& sensor) {
  if (sensor.delivers()) {
    return "it delivers " + wattsText(sensor.powerMw);
  }
  if (sensor.detectionStatus == "denied" && sensor.powerLimitMw) {
    return "but power is denied: limit " + wattsText(*sensor.powerLimitMw);
  }
  if (sensor.detectionStatus == "searching") {
    return "but finds no device that takes power";
  }
  return "and says: " + escaped(sensor.detectionStatus);
}

std::string headline(const WhyQuestion& question, const PortAccount& account,
                     const Zone& shownZone) {
  if (question.sensor) {
    return question.name + (account.state == State::off
                                ? " is off."
                                : " is on, " + deviceText(*question.sensor) + ".");
  }
  const std::string when = " on " + momentText(question.at, shownZone);
  switch (account.state) {
    case State::on:
      return question.name + " was on" + when + ".";
    case State::off:
      return question.name + " was off" + when + ".";
    case State::maybeOff:
      return question.name + " was perhaps off" + when + ".";
    default:
      return "Nothing is known of " + question.name + when + ": no run switched it before.";
  }
}

// The events of an account, in their order.
std::vector<const PortEvent*> eventsOf(const PortAccount& account) {
  std::vector<const PortEvent*> events;
  const auto add = [&events](const PortEvent* event) {
    if (event != nullptr) {
      events.push_back(event);
    }
  };
  add(account.before);
  add(account.off);
  for (const PortEvent* event : account.between) {
    add(event);
  }
  add(account.on);
  return events;
}

// When the schedule that has it dark switches it on.
std::optional<int64_t> expectedEnd(const PortAccount& account) {
  std::optional<int64_t> end;
  for (const PortEvent* event : eventsOf(account)) {
    end = event->endsAt && isToOff(*event) ? event->endsAt : end;
  }
  return account.on == nullptr ? end : std::nullopt;
}

std::string eventsText(const PortAccount& account, const Zone& shownZone, const Screen& screen) {
  Table table({{""}, {""}});
  const PortEvent* last = nullptr;
  for (const PortEvent* event : eventsOf(account)) {
    const bool isSameRun = last != nullptr && last->run.runId == event->run.runId;
    const bool isEnd = event == account.on && account.off != nullptr;
    const char* dark = event->effect == PortEffect::unclear ? " (perhaps dark for " : " (dark for ";
    const std::string length = isEnd ? dark + secondsText(event->at - account.off->at) + ")" : "";
    const bool isBefore = event == account.before && account.off != nullptr;
    std::string text = isBefore ? "before: " : "";
    text += eventText(*event, isSameRun) + length;
    table.row({momentText(event->at, shownZone), text});
    last = event;
  }
  if (const std::optional<int64_t> end = expectedEnd(account)) {
    table.row({momentText(*end, shownZone), "will be switched on by the end of that window"});
  }
  std::string text;
  for (const std::string& line : splitAt(table.text(screen), '\n')) {
    text += line.empty() ? "" : "  ";
    text += line + (line.empty() ? "" : "\n");
  }
  return text;
}

// What the events do not explain, and what helps.
std::string notes(const WhyQuestion& question, const PortAccount& account) {
  const PortEvent* last = lastSwitching(question.timeline, question.now);
  const bool isOff = question.sensor && account.state == State::off;
  std::string text;
  if (isOff && (last == nullptr || last->effect == PortEffect::on)) {
    text +=
        "No run that is known left it off: somebody did with the switch's own CLI, or it was "
        "longer ago.\n";
  }
  if (question.sensor && !isOff && last != nullptr && last->effect == PortEffect::off) {
    text += "No run switched it on again: somebody did with the switch's own CLI.\n";
  }
  if (isOff && !expectedEnd(account)) {
    text += "To switch it on: quorin_poectl reset " + question.command + " --off-time 1s\n";
  }
  return text;
}

std::string causeText(PortCause cause) {
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

JsonPtr eventJson(const PortEvent& event, const Zone& shownZone) {
  JsonObject object;
  object.text("at", rfc3339(event.at, shownZone).c_str())
      .text("effect", effectText(event.effect))
      .text("cause", causeText(event.cause).c_str())
      .number("runId", event.run.runId);
  addTextOrNull(object, "triggered", event.run.triggered);
  addNumberOrNull(object, "scheduleId", event.run.scheduleId);
  addTextOrNull(object, "scheduleName", event.run.scheduleName);
  addTextOrNull(object, "runStatus", event.run.status);
  addTextOrNull(object, "runErrorMessage", event.run.errorMessage);
  addTextOrNull(object, "portStatus", event.port().status);
  addTextOrNull(object, "portErrorMessage", event.port().errorMessage);
  object.boolean("cutOff", wasCutOff(event));
  return object.take();
}

void addInstant(JsonObject& object, const char* key, std::optional<int64_t> at,
                const Zone& shownZone) {
  addTextOrNull(object, key, at ? rfc3339(*at, shownZone) : "");
}

JsonPtr darkJson(const PortAccount& account, const Zone& shownZone) {
  JsonObject object;
  const auto instant = [](const PortEvent* event) {
    return event != nullptr ? std::make_optional(event->at) : std::nullopt;
  };
  addInstant(object, "from", instant(account.off), shownZone);
  addInstant(object, "to", instant(account.on), shownZone);
  addInstant(object, "expectedTo", expectedEnd(account), shownZone);
  return object.take();
}

JsonPtr sensorJson(const std::optional<SensorPort>& sensor) {
  if (!sensor) {
    return JsonPtr(cJSON_CreateNull());
  }
  JsonObject object;
  addTextOrNull(object, "adminMode", sensor->adminMode);
  addTextOrNull(object, "detectionStatus", sensor->detectionStatus);
  object.number("powerMw", sensor->powerMw);
  return addNumberOrNull(object, "powerLimitMw", sensor->powerLimitMw).take();
}

// The runs of the port that are near to the moment, in any order.
std::vector<Run> runsAround(Daemon& daemon, const PoePort& port, int64_t at) {
  const std::vector<Run> all = askRunsSince(daemon, port.unit, 0);
  const auto before = std::find_if(
      all.begin(), all.end(), [at](const Run& run) { return run.startedAt.value_or(0) <= at; });
  const std::vector<Run> later(std::make_reverse_iterator(before), all.rend());
  std::vector<Run> runs = askRunsOfPorts(daemon, {before, all.end()}, {port}, kRunsBefore);
  const std::vector<Run> after = askRunsOfPorts(daemon, later, {port}, kRunsAfter);
  runs.insert(runs.end(), after.begin(), after.end());
  return runs;
}

int64_t momentAsked(const std::string& text, int64_t now, const Zone& zone) {
  const std::optional<int64_t> at = text.empty() ? now : parseMoment(text, now, zone);
  if (!at) {
    throw Failure(kExitUsage, inQuotes(text) + " is no time: " + kMomentForms);
  }
  if (*at > now) {
    throw Failure(kExitUsage, inQuotes(text) + " is still to come. See: quorin_poectl next");
  }
  return *at;
}

SensorPort sensorOf(const PoePort& port, Session& session) {
  SensorPort sensor;
  for (const SensorPort& each : session.sensors()) {
    sensor = each.unit == port.unit && each.ifNum == port.ifNum ? each : sensor;
  }
  return sensor;
}

int runWhy(const WhyOptions& given, Session& session) {
  WhyQuestion question;
  question.now = systemNow();
  question.at = momentAsked(given.at, question.now, session.shownZone());
  const std::vector<PoePort> ports = session.portsNamed({given.port});
  if (ports.size() != 1) {
    throw Failure(kExitUsage, "why tells of one port; " + inQuotes(given.port) + " are " +
                                  counted(ports.size(), "port"));
  }

  question.port = ports.front();
  question.name = session.names().nameAndLabel(question.port.ifNum);
  question.command = session.names().name(question.port.ifNum);
  if (given.at.empty()) {
    question.sensor = sensorOf(question.port, session);
  }
  const std::vector<Schedule> schedules = askSchedules(session.daemon(), question.port.unit);
  question.timeline =
      portTimeline(question.port, runsAround(session.daemon(), question.port, question.at),
                   schedules, question.now, session.zone());

  const Output& output = session.output();
  if (session.options().json) {
    output.printJson(whyJson(question, session.names(), session.shownZone()));
  } else {
    output.print(whyText(question, session.shownZone(), output.screen()) + session.zoneText() +
                 "\n");
  }
  return kExitDone;
}

}  // namespace

PortAccount accountOf(const WhyQuestion& question) {
  PortAccount account;
  const std::vector<PortEvent>& timeline = question.timeline;
  const std::vector<size_t> all = switchings(timeline);
  const auto later =
      std::find_if(all.begin(), all.end(), [&](size_t i) { return timeline[i].at > question.at; });
  auto last = static_cast<size_t>(later - all.begin());
  const bool isOn = last > 0 && !isToOff(timeline[all[last - 1]]);
  const bool isSure = last > 0 && timeline[all[last - 1]].effect == PortEffect::on;
  while (last > 0 && !isToOff(timeline[all[last - 1]])) {
    --last;
  }
  if (last > 0) {
    fillDark(timeline, all, last - 1, &account);
  } else if (isOn) {
    account.on = &timeline[all.front()];
  }

  account.state = question.sensor ? stateOf(*question.sensor)
                  : isOn          ? (isSure ? State::on : State::maybeOff)
                  : last > 0      ? darkState(account, question.at)
                                  : State::unknown;
  return account;
}

std::string whyText(const WhyQuestion& question, const Zone& shownZone, const Screen& screen) {
  const PortAccount account = accountOf(question);
  const std::string since = momentText(question.now - kKeptSec, shownZone).substr(0, 14);
  return headline(question, account, shownZone) + "\n" + eventsText(account, shownZone, screen) +
         notes(question, account) +
         "Not known here: what somebody did with the switch's own CLI, and anything before " +
         since + ".\n";
}

JsonPtr whyJson(const WhyQuestion& question, const PortNames& names, const Zone& shownZone) {
  const PortAccount account = accountOf(question);
  JsonObject object;
  object.number("unit", question.port.unit).number("ifNum", question.port.ifNum);
  addTextOrNull(object, "name", names.nameOrEmpty(question.port.ifNum));
  addTextOrNull(object, "label", names.labelOrEmpty(question.port.ifNum));
  addInstant(object, "at", question.at, shownZone);
  object.text("state", stateText(account.state));
  object.add("sensor", sensorJson(question.sensor));
  object.add("dark", darkJson(account, shownZone));
  object.add("events", jsonArray(eventsOf(account), [&shownZone](const PortEvent* event) {
               return eventJson(*event, shownZone);
             }));
  addInstant(object, "knownSince", question.now - kKeptSec, shownZone);
  return object.take();
}

SessionAction defineWhy(Arguments& app, Options& options) {
  const auto given = std::make_shared<WhyOptions>();
  app.add("PORT", given->port, "the port").required();
  app.add("--at", given->at, "why at this moment: \"tue 14:00\", yesterday, -2h [now]")
      .named("TIME");
  addUnit(app, options);
  return [given](Session& session) { return runWhy(*given, session); };
}
