// schedule show: one schedule.
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/schedule/schedule_word.h"
#include "client/commands/schedule/schedules.h"
#include "forecast/firings.h"

namespace {

std::string nextLine(const Schedule& schedule, const View& view) {
  const std::optional<Firing> next = nextFiring(schedule, view.now(), view.zone);
  if (!next) {
    return "never: " + whyNever(schedule, view.now(), view.zone);
  }
  return std::string(actText(next->act)) + " " + view.near(next->at) + ", in " +
         secondsText(next->at - view.now());
}

std::string paceText(const Schedule& schedule) {
  return schedule.executionMode == EXECUTION_SEQUENTIAL
             ? "one after the other, " + secondsText(schedule.interPortDelaySec) + " apart"
             : "all at once";
}

std::string scheduleText(const Schedule& schedule, const View& view) {
  Table table({{""}, {"", Align::left, Fit::wraps}});
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
  line("ports", view.names.ranges(schedule.ifNums));
  line("switched", paceText(schedule));
  line("next", nextLine(schedule, view));
  return table.text(view.screen) + view.footer() + "\n";
}

int runScheduleShow(const ScheduleWord& word, Session& session) {
  const std::vector<Schedule> all = session.schedules();
  const Schedule& schedule = word.find(all, session.options().unit);
  const View view = session.view();
  session.print([&] { return scheduleText(schedule, view); },
                [&] { return scheduleDocument(schedule, view); });
  return kExitDone;
}

}  // namespace

SessionAction defineScheduleShow(Arguments& app, Options&) {
  const auto word = std::make_shared<ScheduleWord>();
  addScheduleWord(app, word.get(), "number or name").required();
  return [word](Session& session) { return runScheduleShow(*word, session); };
}
