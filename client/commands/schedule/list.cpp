// schedule, schedule list: what is scheduled, and when it acts next.
#include <cstring>

#include "api/schedule_keys.h"
#include "cli/fields.h"
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/schedule/check.h"
#include "client/commands/schedule/schedules.h"
#include "forecast/firings.h"

namespace {

// A schedule, and when it fires next.
struct ScheduleRow {
  const Schedule& schedule;
  std::optional<Firing> next;
};

ScheduleRow rowOf(const Schedule& schedule, const View& view) {
  return {schedule, nextFiring(schedule, view.now(), view.zone)};
}

std::string whyNeverOf(const ScheduleRow& row, const View& view) {
  return row.next ? "" : whyNever(row.schedule, view.now(), view.zone);
}

Cell nextCell(const ScheduleRow& row, const View& view) {
  if (!row.next) {
    return {"never: " + whyNeverOf(row, view), Tint::warning};
  }
  const Act act = row.next->act;
  return view.near(row.next->at) + (act == Act::restart ? "" : std::string(" ") + actText(act));
}

Fields<ScheduleRow> columnsOf(const View& view) {
  using Row = const ScheduleRow&;
  Fields<ScheduleRow> fields;
  fields.column({"UNIT", Align::right}, [](Row row) { return std::to_string(row.schedule.unit); });
  fields.column({"ID", Align::right},
                [](Row row) { return std::to_string(row.schedule.scheduleId); });
  fields.column({"NAME", Align::left, Fit::yields},
                [](Row row) { return row.schedule.name.c_str(); });
  fields.column({"ACTION"}, [](Row row) { return actionText(row.schedule); });
  fields.column({"PORTS", Align::left, Fit::yieldsLater},
                [&](Row row) { return view.names.ranges(row.schedule.ifNums); });
  fields.column({"DAYS", Align::left, Fit::yieldsLater},
                [](Row row) { return daysText(row.schedule); });
  fields.column({"NEXT"}, [&](Row row) { return nextCell(row, view); });
  fields.column({"LEFT"},
                [&](Row row) { return row.next ? secondsText(row.next->at - view.now()) : ""; });
  return fields;
}

// That it never fires stands in the row.
void addNotes(const ScheduleWarnings& warnings, Table* table) {
  for (const ScheduleWarning& warning : warnings) {
    if (strcmp(warning.kind, "never") == 0) {
      continue;
    }
    table->note("! " + warning.text, Tint::warning);
    if (!warning.advice.empty()) {
      table->note("  " + warning.advice);
    }
  }
}

JsonPtr listJson(const std::vector<Schedule>& schedules, const View& view) {
  return jsonObject({{"schedules", jsonArray(schedules, [&](const Schedule& schedule) {
                        return scheduleDocument(schedule, view);
                      })}});
}

int runScheduleList(Session& session) {
  const View view = session.view();
  const std::vector<Schedule> schedules = session.schedules();
  session.print(
      [&] {
        return schedulesText(schedules, warningsOf(schedules, TellClashes::once, view, session),
                             view);
      },
      [&] { return listJson(schedules, view); });
  return kExitDone;
}

}  // namespace

std::string schedulesText(const std::vector<Schedule>& schedules,
                          const std::vector<ScheduleWarnings>& warnings, const View& view) {
  if (schedules.empty()) {
    return "no schedules. To make one: quorin_poectl schedule add --help\n";
  }
  const Fields<ScheduleRow> fields = columnsOf(view);
  Table table = fields.table();
  for (size_t i = 0; i < schedules.size(); ++i) {
    table.row(fields.cells(rowOf(schedules[i], view)));
    addNotes(warnings[i], &table);
  }
  return table.text(view.screen) + counted(schedules.size(), "schedule") + ", " + view.footer() +
         "\n";
}

JsonPtr scheduleDocument(const Schedule& schedule, const View& view) {
  const ScheduleRow row = rowOf(schedule, view);
  JsonPtr next = jsonObject({{"at", row.next ? view.stamp(row.next->at) : ""},
                             {"act", row.next ? actText(row.next->act) : ""}});
  return jsonObject(scheduleMembers(schedule, view.names),
                    {{"next", std::move(next)}, {"never", whyNeverOf(row, view)}});
}

SessionAction defineScheduleGroup(Arguments& app, Options& options) {
  addUnit(app, options);
  return nullptr;
}

SessionAction defineScheduleList(Arguments&, Options&) {
  return runScheduleList;
}
