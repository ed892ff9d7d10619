// week: seven days of ports, as runs of the history left them and as schedules will.
#include "client/commands/week.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>

#include "cli/failure.h"
#include "cli/mapped.h"
#include "cli/text.h"
#include "client/command.h"
#include "client/diagnosis/port_state.h"

namespace {

constexpr int32_t kHoursPerDay = 24;
constexpr size_t kGap = 2;  // of a table's columns
constexpr int64_t kFurthestSec = int64_t{366} * 86400;
constexpr const char* kUpToNow =
    "up to now as recorded runs left them, from now on as schedules will\n";
constexpr size_t kMaxDetails = 500;  // of a unit's runs, each a request

struct WeekOptions {
  std::vector<std::string> ports;
  std::string from;
};

struct Characters {
  const char* on;
  const char* off;
  const char* both;
  const char* restart;
};

const Characters& charactersOf(const Screen& screen) {
  static constexpr Characters kUtf8{"█", "·", "▒", "↻"};
  static constexpr Characters kAscii{"#", ".", "%", "R"};
  return screen.utf8 ? kUtf8 : kAscii;
}

// The character of the hours between two instants. Of a time that is not known for all of it no
// more is shown than what did happen in it.
const char* characterOf(const PortWeek& week, int64_t from, int64_t until,
                        const Characters& characters) {
  const std::optional<bool> first = week.isOnAt(from);
  bool isKnown = first.has_value();
  bool wasOn = first.value_or(false);
  bool wasOff = !first.value_or(true);
  for (const ModeChange& change : week.changes) {
    if (change.at < from || change.at >= until) {
      continue;
    }
    if (change.isRestart) {
      return characters.restart;
    }
    isKnown = isKnown && change.isOn.has_value();
    wasOn = wasOn || change.isOn.value_or(false);
    wasOff = wasOff || !change.isOn.value_or(true);
  }
  return wasOn && wasOff ? characters.both
         : !isKnown      ? " "
         : wasOn         ? characters.on
                         : characters.off;
}

std::string stripOf(const PortWeek& port, const Week& week, int32_t hours, const View& view) {
  std::string strip;
  for (int32_t hour = 0; hour < kDaysOfWeek * kHoursPerDay; hour += hours) {
    TickTime begin = week.firstDay;
    begin.hour = hour;
    TickTime end = begin;
    end.hour += hours;
    strip += characterOf(port, view.shownZone.instantOf(begin), view.shownZone.instantOf(end),
                         charactersOf(view.screen));
  }
  return strip;
}

// Text at the beginning of each day.
std::string overDays(int32_t charactersPerDay, const std::function<std::string(int32_t)>& textOf) {
  std::string line;
  for (int32_t day = 0; day < kDaysOfWeek; ++day) {
    line.resize(static_cast<size_t>(day) * static_cast<size_t>(charactersPerDay), ' ');
    line += textOf(day);
  }
  return line;
}

std::string hoursOfDay(int32_t charactersPerDay) {
  return charactersPerDay == 12 ? "0  6  12 18" : charactersPerDay == 8 ? "0   12" : "0  12";
}

// How many hours a character stands for: two, or as many as the screen's width asks for.
int32_t hoursPerCharacter(size_t namesWidth, const Screen& screen) {
  for (const int32_t hours : {2, 3, 4}) {
    const auto strip = static_cast<size_t>(kDaysOfWeek * kHoursPerDay / hours);
    if (screen.columns == 0 || namesWidth + kGap + strip <= screen.columns) {
      return hours;
    }
  }
  return 6;
}

std::string heading(const Week& week, int32_t hours, const View& view) {
  const Characters& characters = charactersOf(view.screen);
  return view.day(week.from) + " to " + view.day(week.until - 1) + ", " + view.footer() + "\n" +
         characters.on + " on  " + characters.off + " off  " + characters.both + " both  " +
         characters.restart + " restart  blank: not known   each character is " +
         std::to_string(hours) + " h\n";
}

struct Strip {
  std::string text;
  std::vector<uint32_t> ifNums;
};

// Of the scheduled ports, those with equal strips together, in the order of the first of each.
std::vector<Strip> stripsOf(const Week& week, int32_t hours, const View& view) {
  std::vector<Strip> strips;
  for (const PortWeek& port : week.ports) {
    if (!port.isScheduled) {
      continue;
    }
    const std::string text = stripOf(port, week, hours, view);
    auto place = std::find_if(strips.begin(), strips.end(),
                              [&text](const Strip& each) { return each.text == text; });
    if (place == strips.end()) {
      place = strips.insert(place, {text, {}});
    }
    place->ifNums.push_back(port.port.ifNum);
  }
  return strips;
}

std::string unscheduledLine(const Week& week, const PortNames& names) {
  std::vector<uint32_t> ifNums;
  for (const PortWeek& port : week.ports) {
    if (!port.isScheduled) {
      ifNums.push_back(port.port.ifNum);
    }
  }
  return ifNums.empty() ? "" : "no schedule acts on " + escaped(names.ranges(ifNums)) + "\n";
}

JsonPtr firingOfPort(const Firing& firing, const View& view) {
  return jsonObject({{"at", view.stamp(firing.at)},
                     {"act", actText(firing.act)},
                     {"isEnd", firing.isEnd},
                     {"scheduleId", firing.schedule->scheduleId},
                     {"scheduleName", firing.schedule->name.c_str()}});
}

JsonPtr changeJson(const ModeChange& change, const View& view) {
  return jsonObject(
      {{"at", view.stamp(change.at)}, {"isOn", change.isOn}, {"isRestart", change.isRestart}});
}

// {"from", "until", "ports": [{"unit", "ifNum", "name", "label", "isOnAtStart", "past": [{"at",
// "isOn", "isRestart"}], "firings": [{"at", "act", "isEnd", "scheduleId", "scheduleName"}]}]}: what
// is known of the time until now, and what schedules will do. "isOn" is null where nothing tells.
JsonPtr weekJson(const Week& week, const View& view) {
  const auto ofFiring = [&](const Firing& firing) { return firingOfPort(firing, view); };
  const auto ofChange = [&](const ModeChange& change) { return changeJson(change, view); };
  const auto ofPort = [&](const PortWeek& port) {
    std::vector<ModeChange> past;
    std::copy_if(
        port.changes.begin(), port.changes.end(), std::back_inserter(past),
        [&](const ModeChange& each) { return each.at >= week.from && each.at < view.now(); });
    return jsonObject(portJson(port.port.unit, port.port.ifNum, view),
                      {{"isOnAtStart", port.isOnAt(week.from)},
                       {"past", jsonArray(past, ofChange)},
                       {"firings", jsonArray(port.firings, ofFiring)}});
  };
  return jsonObject({{"from", view.stamp(week.from)},
                     {"until", view.stamp(week.until)},
                     {"ports", jsonArray(week.ports, ofPort)}});
}

// What tells of the ports that schedules act on since the instant, and how they were then.
PortRecords recordsSince(SystemTime from, const std::vector<SensorPort>& ports,
                         std::vector<Schedule> schedules, Session& session) {
  PortRecords records{{}, {}, std::move(schedules)};
  std::map<int32_t, std::set<uint32_t>> scheduled;
  for (const SensorPort& port : ports) {
    for (const Schedule& schedule : records.schedules) {
      if (actsOn(schedule, port)) {
        scheduled[port.unit].insert(port.ifNum);
      }
    }
  }
  for (const auto& [unit, ifNums] : scheduled) {
    addRecordsBehind(session.daemon(), unit, ifNums, from, kMaxDetails, &records);
  }
  return records;
}

TickTime firstDayOf(const std::string& from, const View& view) {
  const std::optional<int64_t> moment =
      from.empty() ? view.now() : parseMoment(from, view.now(), view.shownZone);
  if (!moment) {
    throw Failure(kExitUsage, "--from: " + inQuotes(from) + " is no day; " + kMomentForms + ".");
  }
  if (*moment - view.now() > kFurthestSec) {
    throw Failure(kExitUsage, "--from: " + inQuotes(from) + " is more than a year ahead");
  }
  return dayAfter(view.shownZone.tickAt(*moment), 0);
}

// By a run that goes on.
bool isToBeSwitchedBack(const std::vector<PortEvent>& timeline) {
  const PortEvent* cause = whatLeftOff(timeline);
  return cause != nullptr && cause->run.isOpen() && cause->run.switchesBack();
}

int runWeek(const WeekOptions& given, Session& session) {
  const View view = session.view();
  const TickTime firstDay = firstDayOf(given.from, view);
  const std::vector<SensorPort> ports =
      given.ports.empty() ? session.sensors()
                          : chosenPorts(session.sensors(), session.portsNamed(given.ports));
  const std::vector<Schedule> schedules = session.schedules();
  const SystemTime from(view.shownZone.instantOf(firstDay));
  const PortRecords records = from < view.systemNow ? recordsSince(from, ports, schedules, session)
                                                    : PortRecords{{}, {}, schedules};
  const PastOf pastOf = [&](const SensorPort& port) { return pastModes(port, records, view); };
  const Week week = weekOf(ports, schedules, firstDay, pastOf, view);
  session.print([&] { return weekText(week, view); }, [&] { return weekJson(week, view); });
  return kExitDone;
}

}  // namespace

std::vector<ModeChange> pastModes(const SensorPort& port, const PortRecords& records,
                                  const View& view) {
  std::vector<PortEvent> timeline = portTimeline(port, records, view.systemNow, view.zone);
  if (port.isOn()) {
    confirmOn(&timeline);
  }
  const MayBe last = stateAt(timeline, view.systemNow);
  const bool isContradicted = port.isOn() ? last.isOff() : last.isOn();
  std::vector<ModeChange> past;
  const auto add = [&](SystemTime at, bool isRestart) {
    const MayBe mode = stateAt(timeline, at);
    const bool isKnown = mode.isOn() || mode.isOff();
    past.push_back(
        {SwitchTime(at), isKnown ? std::make_optional(mode.isOn()) : std::nullopt, isRestart});
  };
  size_t lastSwitching = 0;
  for (const PortEvent& event : timeline) {
    const bool isPlain =
        event.cause == PortCause::plainReset && event.port().status == PortStatus::success;
    const bool isRestart = event.cause == PortCause::restart && event.effect == PortEffect::off;
    lastSwitching = event.mayHaveSwitched() ? past.size() : lastSwitching;
    add(event.at, isPlain || isRestart);
    if (event.until > event.at) {
      add(event.until, false);
    }
  }
  // Somebody switched it with the switch's own CLI since then, who knows when.
  for (size_t i = lastSwitching; isContradicted && i < past.size(); ++i) {
    past[i].isOn.reset();
  }
  past.erase(std::remove_if(past.begin(), past.end(),
                            [&](const ModeChange& each) { return each.at >= view.now(); }),
             past.end());
  std::stable_sort(past.begin(), past.end(),
                   [](const ModeChange& a, const ModeChange& b) { return a.at < b.at; });
  if (port.isOff() && isToBeSwitchedBack(timeline)) {
    past.push_back({view.now(), std::nullopt, false});
  }
  return past;
}

std::string weekText(const Week& week, const View& view) {
  size_t namesWidth = 0;
  for (const Strip& strip : stripsOf(week, 2, view)) {
    namesWidth = std::max(namesWidth, displayWidth(view.names.ranges(strip.ifNums)));
  }
  const int32_t hours = hoursPerCharacter(namesWidth, view.screen);
  const int32_t charactersPerDay = kHoursPerDay / hours;

  Table table({{""}, {""}});
  table.row({"", overDays(charactersPerDay, [&](int32_t day) {
               TickTime noon = dayAfter(week.firstDay, day);
               noon.hour = 12;
               return view.day(view.shownZone.instantOf(noon)).substr(0, 3);
             })});
  if (charactersPerDay > 4) {
    table.row({"",
               {overDays(charactersPerDay, [&](int32_t) { return hoursOfDay(charactersPerDay); }),
                Tint::faint}});
  }
  const std::vector<Strip> strips = stripsOf(week, hours, view);
  for (const Strip& strip : strips) {
    table.row({view.names.ranges(strip.ifNums), strip.text});
  }
  const std::string upToNow = week.from < view.now() ? kUpToNow : "";
  const auto sentence = [&](const std::string& text) {
    return wrapped(text, view.screen.columns, 2);
  };
  return (strips.empty() ? ""
                         : sentence(heading(week, hours, view)) + table.text(view.screen) +
                               sentence(upToNow)) +
         sentence(unscheduledLine(week, view.names));
}

SessionAction defineWeek(Arguments& app, Options& options) {
  const auto given = std::make_shared<WeekOptions>();
  app.add("PORT", given->ports, "ports to show; all when none is named");
  app.add("--from", given->from, "the first day, such as mon or 2026-03-02 [today]").named("DATE");
  addUnit(app, options);
  return [given](Session& session) { return runWeek(*given, session); };
}
