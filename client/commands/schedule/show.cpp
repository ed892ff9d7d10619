// schedule show: one schedule.
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/schedule/schedules.h"

namespace {

std::string nextLine(const Schedule& schedule, const ShownAt& at) {
  const std::optional<Firing> next = nextFiring(schedule, at.now, at.zone);
  if (!next) {
    return "never: " + whyNever(schedule, at.now, at.zone);
  }
  return std::string(actText(next->act)) + " " + nearText(next->at, at.now, at.shownZone) +
         ", in " + secondsText(next->at - at.now);
}

std::string paceText(const Schedule& schedule) {
  return schedule.executionMode == EXECUTION_SEQUENTIAL
             ? "one after the other, " + secondsText(schedule.interPortDelaySec) + " apart"
             : "all at once";
}

int runScheduleShow(const std::string& id, Session& session) {
  const std::vector<Schedule> all = session.schedules();
  const Schedule& schedule = findSchedule(all, id, session.options().unit);
  const ShownAt at{session.now(), session.zone(), session.shownZone(), session.zoneText()};
  const Output& output = session.output();
  if (session.options().json) {
    output.printJson(scheduleDocument(schedule, session.names(), at));
  } else {
    output.print(scheduleText(schedule, session.names(), at, output.screen()));
  }
  return kExitDone;
}

}  // namespace

std::string scheduleText(const Schedule& schedule, const PortNames& names, const ShownAt& at,
                         const Screen& screen) {
  Table table({{""}, {""}});
  const auto line = [&table](const char* title, const std::string& text) {
    table.row({{title, Tint::faint}, text});
  };
  line("schedule", std::to_string(schedule.scheduleId) + " of unit " +
                       std::to_string(schedule.unit) + (schedule.enabled != 0 ? "" : ", disabled"));
  line("name", schedule.name.c_str());
  line("action", actionText(schedule));
  if (schedule.type == ScheduleType::restart) {
    line("dark for", secondsText(schedule.offTimeSec));
  }
  line("days", daysText(schedule));
  line("ports", names.ranges(schedule.ifNums));
  line("switched", paceText(schedule));
  line("next", nextLine(schedule, at));
  return table.text(screen) + at.footer + "\n";
}

SessionAction defineScheduleShow(Arguments& app, Options&) {
  const auto id = std::make_shared<std::string>();
  app.add("ID", *id, "number or name").required();
  return [id](Session& session) { return runScheduleShow(*id, session); };
}
