// next: what schedules are going to do, by the daemon's own rules.
#include "client/commands/next.h"

#include "cli/text.h"
#include "client/command.h"

namespace {

constexpr int32_t kDefaultCount = 10;
constexpr int32_t kMaxCount = 10000;
constexpr int32_t kMaxDays = 3660;

struct NextOptions {
  std::string id;
  int32_t count = kDefaultCount;
  int32_t days = 0;  // 0: by count
};

std::vector<Upcoming> dueFirings(const NextOptions& given, const std::vector<Schedule>& schedules,
                                 const ShownAt& at) {
  if (given.days == 0) {
    return nextFirings(schedules, at.now, static_cast<size_t>(given.count), at.zone);
  }
  TickTime end = at.zone.tickAt(at.now);
  end.day += given.days;
  return firingsWithin(schedules, at.now, at.zone.instantOf(end), at.zone);
}

std::string noneText(const NextOptions& given, const std::vector<Schedule>& schedules,
                     const ShownAt& at) {
  const bool isOne = !given.id.empty();
  if (isOne && !nextFiring(schedules[0], at.now, at.zone)) {
    return "schedule " + idAndName(schedules[0]) +
           " never acts: " + whyNever(schedules[0], at.now, at.zone);
  }
  const std::string which = isOne ? "schedule " + idAndName(schedules[0]) + " does not act"
                                  : std::string("no schedule acts");
  return which + (given.days > 0 ? " within " + counted(static_cast<size_t>(given.days), "day")
                                 : " any more");
}

int runNext(const NextOptions& given, Session& session) {
  std::vector<Schedule> schedules = session.schedules();
  if (!given.id.empty()) {
    schedules = {Schedule(findSchedule(schedules, given.id, session.options().unit))};
  }
  const ShownAt at{session.now(), session.zone(), session.shownZone(), session.zoneText()};
  const std::vector<Upcoming> firings = dueFirings(given, schedules, at);
  const std::string never = firings.empty() ? noneText(given, schedules, at) : "";

  const Output& output = session.output();
  if (session.options().json) {
    output.printJson(nextDocument(firings, never, session.names(), at));
  } else {
    output.print(nextText(firings, never, session.names(), at, output.screen()));
  }
  return kExitDone;
}

}  // namespace

std::string actWithEnd(const Firing& firing) {
  return std::string(actText(firing.act)) + (firing.isEnd ? " (end)" : "");
}

std::string nextText(const std::vector<Upcoming>& firings, const std::string& never,
                     const PortNames& names, const ShownAt& at, const Screen& screen) {
  if (firings.empty()) {
    return never + ".  See: quorin_poectl schedule list\n";
  }
  Table table({{"WHEN"}, {"IN"}, {"ACT"}, {"PORTS"}, {"UNIT", Align::right}, {"SCHEDULE"}});
  for (const Upcoming& each : firings) {
    table.row({nearText(each.firing.at, at.now, at.shownZone), secondsText(each.firing.at - at.now),
               actWithEnd(each.firing), names.ranges(each.schedule->ifNums),
               std::to_string(each.schedule->unit), idAndName(*each.schedule)});
  }
  return table.text(screen) + counted(firings.size(), "firing") + ", " + at.footer + "\n";
}

JsonPtr firingJson(const Upcoming& upcoming, const PortNames& names, const Zone& shownZone) {
  JsonObject object;
  object.text("at", rfc3339(upcoming.firing.at, shownZone).c_str())
      .text("act", actText(upcoming.firing.act))
      .boolean("isEnd", upcoming.firing.isEnd)
      .number("unit", upcoming.schedule->unit)
      .number("scheduleId", upcoming.schedule->scheduleId)
      .text("scheduleName", upcoming.schedule->name.c_str())
      .add("ifNums", jsonNumbers(upcoming.schedule->ifNums))
      .add("portNames", portNamesJson(upcoming.schedule->ifNums, names));
  return object.take();
}

JsonPtr nextDocument(const std::vector<Upcoming>& firings, const std::string& never,
                     const PortNames& names, const ShownAt& at) {
  JsonObject document;
  document.add("firings", jsonArray(firings, [&](const Upcoming& each) {
                 return firingJson(each, names, at.shownZone);
               }));
  addTextOrNull(document, "never", never);
  return document.take();
}

SessionAction defineNext(Arguments& app, Options& options) {
  const auto given = std::make_shared<NextOptions>();
  app.add("ID", given->id, "number or name of a schedule; all when none is named");
  const Argument count =
      app.add("--count", given->count, "so many firings [10]").range(1, kMaxCount).named("N");
  app.add("--days", given->days, "those of so many days")
      .range(1, kMaxDays)
      .named("N")
      .excludes(count);
  addUnit(app, options);
  return [given](Session& session) { return runNext(*given, session); };
}
