// next: what schedules are going to do, by the daemon's own rules.
#include "client/commands/next.h"

#include "cli/fields.h"
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/schedule/schedule_word.h"

namespace {

constexpr int32_t kDefaultCount = 10;
constexpr int32_t kMaxCount = 10000;
constexpr int32_t kMaxDays = 3660;

struct NextOptions {
  ScheduleWord schedule;
  int32_t count = kDefaultCount;
  int32_t days = 0;  // 0: by count
};

Fields<Firing> firingFields(const View& view) {
  using Row = const Firing&;
  Fields<Firing> fields;
  fields.both(
      "at", {"WHEN"}, [&](Row row) { return view.stamp(row.at); },
      [&](Row row) { return view.near(row.at); });
  fields.column({"IN"}, [&](Row row) { return secondsText(row.at - view.now()); });
  fields.both(
      "act", {"ACT"}, [](Row row) { return actText(row.act); }, actWithEnd);
  fields.member("isEnd", &Firing::isEnd);
  fields.column({"PORTS", Align::left, Fit::yields},
                [&](Row row) { return view.names.ranges(row.schedule->ifNums); });
  fields.both(
      "unit", {"UNIT", Align::right}, [](Row row) { return row.schedule->unit; },
      [](Row row) { return std::to_string(row.schedule->unit); });
  fields.both(
      "scheduleId", {"SCHEDULE", Align::left, Fit::wraps},
      [](Row row) { return row.schedule->scheduleId; },
      [](Row row) { return idAndName(*row.schedule); });
  fields.member("scheduleName", [](Row row) { return row.schedule->name.c_str(); });
  fields.member("ifNums", [](Row row) { return row.schedule->ifNums; });
  fields.member("portNames",
                [&](Row row) { return portNamesJson(row.schedule->ifNums, view.names); });
  return fields;
}

std::vector<Firing> dueFirings(const NextOptions& given, const std::vector<Schedule>& schedules,
                               const View& view) {
  if (given.days == 0) {
    return nextFirings(schedules, view.now(), static_cast<size_t>(given.count), view.zone);
  }
  TickTime end = view.zone.tickAt(view.now());
  end.day += given.days;
  return firingsWithin(schedules, view.now(), SwitchTime(view.zone.instantOf(end)), view.zone);
}

std::string noneText(const NextOptions& given, const std::vector<Schedule>& schedules,
                     const View& view) {
  const bool isOne = given.schedule.isGiven();
  if (isOne && !nextFiring(schedules[0], view.now(), view.zone)) {
    return "schedule " + idAndName(schedules[0]) +
           " never acts: " + whyNever(schedules[0], view.now(), view.zone);
  }
  const std::string which = isOne ? "schedule " + idAndName(schedules[0]) + " does not act"
                                  : std::string("no schedule acts");
  return which + (given.days > 0 ? " within " + counted(static_cast<size_t>(given.days), "day")
                                 : " any more");
}

std::string nextText(const std::vector<Firing>& firings, const std::string& never,
                     const View& view) {
  return firings.empty() ? never + ".  See: quorin_poectl schedule list\n"
                         : firingFields(view).table(firings, view.screen) +
                               counted(firings.size(), "firing") + ", " + view.footer() + "\n";
}

int runNext(const NextOptions& given, Session& session) {
  std::vector<Schedule> schedules = session.schedules();
  if (given.schedule.isGiven()) {
    schedules = {Schedule(given.schedule.find(schedules, session.options().unit))};
  }
  const View view = session.view();
  const std::vector<Firing> firings = dueFirings(given, schedules, view);
  const std::string never = firings.empty() ? noneText(given, schedules, view) : "";
  session.print([&] { return nextText(firings, never, view); },
                [&] {
                  return jsonObject({{"firings", firingsJson(firings, view)}, {"never", never}});
                });
  return kExitDone;
}

}  // namespace

JsonPtr firingsJson(const std::vector<Firing>& firings, const View& view) {
  return firingFields(view).json(firings);
}

SessionAction defineNext(Arguments& app, Options& options) {
  const auto given = std::make_shared<NextOptions>();
  addScheduleWord(app, &given->schedule, "number or name of a schedule; all when none is named");
  const Argument count =
      app.add("--count", given->count, "so many firings [10]").range(1, kMaxCount).named("N");
  app.add("--days", given->days, "those of so many days")
      .range(1, kMaxDays)
      .named("N")
      .excludes(count);
  addUnit(app, options);
  return [given](Session& session) { return runNext(*given, session); };
}
