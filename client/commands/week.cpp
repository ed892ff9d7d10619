// week: seven days of ports as their schedules make them.
#include "client/commands/week.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <map>

#include "cli/failure.h"
#include "cli/mapped.h"
#include "cli/text.h"
#include "client/command.h"

namespace {

constexpr int32_t kDays = 7;
constexpr int32_t kHoursPerDay = 24;
constexpr size_t kGap = 2;  // of a table's columns
constexpr const char* kUpToNow =
    "up to now as schedules would have it, from now on from the modes that the ports have\n";

struct WeekOptions {
  std::vector<std::string> ports;
  std::string from;
};

struct Signs {
  const char* on;
  const char* off;
  const char* both;
  const char* restart;
};

const Signs& signsOf(const Screen& screen) {
  static constexpr Signs kUtf8{"█", "·", "▒", "↻"};
  static constexpr Signs kAscii{"#", ".", "%", "R"};
  return screen.utf8 ? kUtf8 : kAscii;
}

// The mode that the port has now stands among the changes, in its place.
PortWeek portWeek(const SensorPort& port, const std::vector<Upcoming>& firings, int64_t from,
                  int64_t now) {
  PortWeek week{port, {}, {}};
  bool isNowTold = false;
  const auto tellNow = [&] {
    if (!std::exchange(isNowTold, true)) {
      week.changes.push_back({now, port.isOn(), false});
    }
  };
  for (const Upcoming& each : firings) {
    if (!actsOn(*each.schedule, port)) {
      continue;
    }
    if (each.firing.at > now) {
      tellNow();
    }
    const Act act = each.firing.act;
    week.changes.push_back({each.firing.at, act != Act::off, act == Act::restart});
    if (each.firing.at >= from) {
      week.firings.push_back(each);
    }
  }
  tellNow();
  return week;
}

// The sign of the hours between two instants.
const char* signOf(const PortWeek& week, int64_t from, int64_t until, const Signs& signs) {
  std::optional<bool> isOn = week.isOnAt(from);
  bool isBoth = false;
  for (const ModeChange& change : week.changes) {
    if (change.at < from || change.at >= until) {
      continue;
    }
    if (change.isRestart) {
      return signs.restart;
    }
    isBoth = isBoth || (isOn && *isOn != change.isOn);
    isOn = change.isOn;
  }
  return isBoth ? signs.both : !isOn ? " " : *isOn ? signs.on : signs.off;
}

std::string stripOf(const PortWeek& port, const Week& week, int32_t hours, const ShownAt& at,
                    const Screen& screen) {
  std::string strip;
  for (int32_t hour = 0; hour < kDays * kHoursPerDay; hour += hours) {
    TickTime begin = week.firstDay;
    begin.hour = hour;
    TickTime end = begin;
    end.hour += hours;
    strip +=
        signOf(port, at.shownZone.instantOf(begin), at.shownZone.instantOf(end), signsOf(screen));
  }
  return strip;
}

// Text at the beginning of each day.
std::string overDays(int32_t signsPerDay, const std::function<std::string(int32_t)>& textOf) {
  std::string line;
  for (int32_t day = 0; day < kDays; ++day) {
    line.resize(static_cast<size_t>(day) * static_cast<size_t>(signsPerDay), ' ');
    line += textOf(day);
  }
  return line;
}

std::string hoursOfDay(int32_t signsPerDay) {
  return signsPerDay == 12 ? "0  6  12 18" : signsPerDay == 8 ? "0   12" : "0  12";
}

// How many hours a sign stands for: two, or as many as the screen's width asks for.
int32_t hoursPerSign(size_t namesWidth, const Screen& screen) {
  for (const int32_t hours : {2, 3, 4}) {
    const auto strip = static_cast<size_t>(kDays * kHoursPerDay / hours);
    if (screen.columns == 0 || namesWidth + kGap + strip <= screen.columns) {
      return hours;
    }
  }
  return 6;
}

// "Mon 2026-03-02".
std::string dayText(int64_t instant, const Zone& zone) {
  return momentText(instant, zone).substr(0, 14);
}

std::string heading(const Week& week, int32_t hours, const ShownAt& at, const Screen& screen) {
  const Signs& signs = signsOf(screen);
  return dayText(week.from, at.shownZone) + " to " + dayText(week.until - 1, at.shownZone) + ", " +
         at.footer + "\n" + signs.on + " on  " + signs.off + " off  " + signs.both + " both  " +
         signs.restart + " restart  blank: not known   each sign is " + std::to_string(hours) +
         " h\n";
}

// Ports by their strip, in the order of the first of each.
std::vector<std::pair<std::string, std::vector<uint32_t>>> byStrip(const Week& week, int32_t hours,
                                                                   const ShownAt& at,
                                                                   const Screen& screen) {
  std::vector<std::pair<std::string, std::vector<uint32_t>>> groups;
  std::map<std::string, size_t> places;
  for (const PortWeek& port : week.ports) {
    const std::string strip = stripOf(port, week, hours, at, screen);
    const auto [place, isNew] = places.emplace(strip, groups.size());
    if (isNew) {
      groups.push_back({strip, {}});
    }
    groups[place->second].second.push_back(port.port.ifNum);
  }
  return groups;
}

std::string unscheduledLine(const Week& week, const PortNames& names) {
  const std::vector<uint32_t> ifNums =
      mapped(week.unscheduled, [](const PortWeek& port) { return port.port.ifNum; });
  return ifNums.empty() ? "" : "no schedule acts on " + escaped(names.ranges(ifNums)) + "\n";
}

JsonPtr firingOfPort(const Upcoming& upcoming, const Zone& shownZone) {
  JsonObject object;
  object.text("at", rfc3339(upcoming.firing.at, shownZone).c_str())
      .text("act", actText(upcoming.firing.act))
      .boolean("isEnd", upcoming.firing.isEnd)
      .number("scheduleId", upcoming.schedule->scheduleId)
      .text("scheduleName", upcoming.schedule->name.c_str());
  return object.take();
}

JsonPtr portDocument(const PortWeek& port, const Week& week, const PortNames& names,
                     const Zone& shownZone) {
  const std::optional<bool> isOnAtStart = port.isOnAt(week.from);
  JsonObject object;
  object.number("unit", port.port.unit).number("ifNum", port.port.ifNum);
  addTextOrNull(object, "name", names.nameOrEmpty(port.port.ifNum));
  addTextOrNull(object, "label", names.labelOrEmpty(port.port.ifNum));
  isOnAtStart ? object.boolean("isOnAtStart", *isOnAtStart) : object.null("isOnAtStart");
  object.add("firings", jsonArray(port.firings, [&shownZone](const Upcoming& each) {
               return firingOfPort(each, shownZone);
             }));
  return object.take();
}

TickTime firstDayOf(const std::string& from, const ShownAt& at) {
  const std::optional<int64_t> moment =
      from.empty() ? at.now : parseMoment(from, at.now, at.shownZone);
  if (!moment) {
    throw Failure(kExitUsage, "--from: " + inQuotes(from) + " is no day; " + kMomentForms + ".");
  }
  return dayAfter(at.shownZone.tickAt(*moment), 0);
}

int runWeek(const WeekOptions& given, Session& session) {
  const ShownAt at{session.now(), session.zone(), session.shownZone(), session.zoneText()};
  const TickTime firstDay = firstDayOf(given.from, at);
  const std::vector<SensorPort> ports =
      given.ports.empty() ? session.sensors()
                          : chosenPorts(session.sensors(), session.portsNamed(given.ports));
  const std::vector<Schedule> schedules = session.schedules();
  const Week week = weekOf(ports, schedules, firstDay, at);

  const Output& output = session.output();
  if (session.options().json) {
    output.printJson(weekDocument(week, session.names(), at));
  } else {
    output.print(weekText(week, session.names(), at, output.screen()));
  }
  return kExitDone;
}

}  // namespace

std::optional<bool> PortWeek::isOnAt(int64_t instant) const {
  std::optional<bool> isOn;
  for (const ModeChange& change : changes) {
    isOn = change.at <= instant ? std::make_optional(change.isOn) : isOn;
  }
  return isOn;
}

Week weekOf(const std::vector<SensorPort>& ports, const std::vector<Schedule>& schedules,
            const TickTime& firstDay, const ShownAt& at) {
  TickTime end = firstDay;
  end.day += kDays;
  Week week{firstDay, at.shownZone.instantOf(firstDay), at.shownZone.instantOf(end), {}, {}};
  const int64_t since = std::min(week.from, at.now) - kFiringMemorySec;
  const std::vector<Upcoming> firings = firingsWithin(schedules, since, week.until - 1, at.zone);

  for (const SensorPort& port : ports) {
    const bool isScheduled =
        std::any_of(schedules.begin(), schedules.end(),
                    [&port](const Schedule& schedule) { return actsOn(schedule, port); });
    if (isScheduled) {
      week.ports.push_back(portWeek(port, firings, week.from, at.now));
    } else {
      week.unscheduled.push_back(portWeek(port, {}, week.from, at.now));
    }
  }
  return week;
}

std::string weekText(const Week& week, const PortNames& names, const ShownAt& at,
                     const Screen& screen) {
  size_t namesWidth = 0;
  for (const auto& [strip, ifNums] : byStrip(week, 2, at, screen)) {
    namesWidth = std::max(namesWidth, displayWidth(names.ranges(ifNums)));
  }
  const int32_t hours = hoursPerSign(namesWidth, screen);
  const int32_t signsPerDay = kHoursPerDay / hours;

  Table table({{""}, {""}});
  table.row({"", overDays(signsPerDay, [&](int32_t day) {
               TickTime noon = dayAfter(week.firstDay, day);
               noon.hour = 12;
               return dayText(at.shownZone.instantOf(noon), at.shownZone).substr(0, 3);
             })});
  if (signsPerDay > 4) {
    table.row(
        {"",
         {overDays(signsPerDay, [&](int32_t) { return hoursOfDay(signsPerDay); }), Tint::faint}});
  }
  for (const auto& [strip, ifNums] : byStrip(week, hours, at, screen)) {
    table.row({names.ranges(ifNums), strip});
  }
  const std::string upToNow = week.from < at.now ? kUpToNow : "";
  return (week.ports.empty() ? ""
                             : heading(week, hours, at, screen) + table.text(screen) + upToNow) +
         unscheduledLine(week, names);
}

JsonPtr weekDocument(const Week& week, const PortNames& names, const ShownAt& at) {
  std::vector<PortWeek> ports = week.ports;
  ports.insert(ports.end(), week.unscheduled.begin(), week.unscheduled.end());
  JsonObject document;
  document.text("from", rfc3339(week.from, at.shownZone).c_str())
      .text("until", rfc3339(week.until, at.shownZone).c_str())
      .add("ports", jsonArray(ports, [&](const PortWeek& port) {
             return portDocument(port, week, names, at.shownZone);
           }));
  return document.take();
}

SessionAction defineWeek(Arguments& app, Options& options) {
  const auto given = std::make_shared<WeekOptions>();
  app.add("PORT", given->ports, "ports to show; all when none is named");
  app.add("--from", given->from, "the first day, such as mon or 2026-03-02 [today]").named("DATE");
  addUnit(app, options);
  return [given](Session& session) { return runWeek(*given, session); };
}
