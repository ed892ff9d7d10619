// schedule, schedule list: what is scheduled, and when it acts next.
#include <cjson/cJSON.h>

#include <cstring>

#include "cli/text.h"
#include "client/command.h"
#include "client/commands/schedule/check.h"
#include "client/commands/schedule/schedules.h"
#include "rules/schedule_json.h"

namespace {

// The daemon's keys of a schedule, in its order.
constexpr const char* kKeys[] = {
    "scheduleId",     "name",          "scheduleType",      "startDate", "endDate", "recurrence",
    "recurrenceDays", "ifNums",        "startTime",         "endTime",   "allDay",  "restartTime",
    "offTimeSec",     "executionMode", "interPortDelaySec", "enabled",   "status"};

Cell nextCell(const Schedule& schedule, const std::optional<Firing>& next, const ShownAt& at) {
  if (!next) {
    return {"never: " + whyNever(schedule, at.now, at.zone), Tint::warning};
  }
  const std::string act = next->act == Act::restart ? "" : std::string(" ") + actText(next->act);
  return nearText(next->at, at.now, at.shownZone) + act;
}

std::vector<Cell> cellsOf(const Schedule& schedule, const PortNames& names, const ShownAt& at) {
  const std::optional<Firing> next = nextFiring(schedule, at.now, at.zone);
  return {std::to_string(schedule.unit), std::to_string(schedule.scheduleId),
          schedule.name.c_str(),         actionText(schedule),
          names.ranges(schedule.ifNums), daysText(schedule),
          nextCell(schedule, next, at),  next ? secondsText(next->at - at.now) : ""};
}

JsonPtr nextJson(const std::optional<Firing>& next, const ShownAt& at) {
  JsonObject object;
  addTextOrNull(object, "at", next ? rfc3339(next->at, at.shownZone) : "");
  addTextOrNull(object, "act", next ? actText(next->act) : "");
  return object.take();
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

int runScheduleList(Session& session) {
  const ShownAt at{session.now(), session.zone(), session.shownZone(), session.zoneText()};
  const std::vector<Schedule> schedules = session.schedules();
  const Output& output = session.output();
  if (session.options().json) {
    output.printJson(schedulesJson(schedules, session.names(), at));
  } else {
    output.print(schedulesText(schedules, session.names(), at, output.screen(),
                               warningsOf(schedules, session)));
  }
  return kExitDone;
}

}  // namespace

std::string schedulesText(const std::vector<Schedule>& schedules, const PortNames& names,
                          const ShownAt& at, const Screen& screen,
                          const std::vector<ScheduleWarnings>& warnings) {
  if (schedules.empty()) {
    return "no schedules. To make one: quorin_poectl schedule add --help\n";
  }
  Table table({{"UNIT", Align::right},
               {"ID", Align::right},
               {"NAME"},
               {"ACTION"},
               {"PORTS"},
               {"DAYS"},
               {"NEXT"},
               {"LEFT"}});
  for (size_t i = 0; i < schedules.size(); ++i) {
    table.row(cellsOf(schedules[i], names, at));
    addNotes(i < warnings.size() ? warnings[i] : ScheduleWarnings(), &table);
  }
  return table.text(screen) + counted(schedules.size(), "schedule") + ", " + at.footer + "\n";
}

JsonPtr schedulesJson(const std::vector<Schedule>& schedules, const PortNames& names,
                      const ShownAt& at) {
  JsonObject document;
  document.add("schedules", jsonArray(schedules, [&](const Schedule& schedule) {
                 return scheduleDocument(schedule, names, at);
               }));
  return document.take();
}

JsonPtr portNamesJson(const std::vector<uint32_t>& ifNums, const PortNames& names) {
  return jsonArray(ifNums, [&names](uint32_t ifNum) {
    const std::string name = names.nameOrEmpty(ifNum);
    return JsonPtr(name.empty() ? cJSON_CreateNull() : cJSON_CreateString(name.c_str()));
  });
}

JsonPtr scheduleDocument(const Schedule& schedule, const PortNames& names, const ShownAt& at) {
  const JsonPtr shown = scheduleToJson(schedule);
  const std::optional<Firing> next = nextFiring(schedule, at.now, at.zone);
  JsonObject object;
  object.number("unit", schedule.unit);
  for (const char* key : kKeys) {
    JsonPtr member(cJSON_DetachItemFromObject(shown.get(), key));
    member != nullptr ? object.add(key, std::move(member)) : object.null(key);
  }
  object.add("portNames", portNamesJson(schedule.ifNums, names));
  object.add("next", nextJson(next, at));
  addTextOrNull(object, "never", next ? "" : whyNever(schedule, at.now, at.zone));
  return object.take();
}

SessionAction defineScheduleGroup(Arguments& app, Options& options) {
  addUnit(app, options);
  return nullptr;
}

SessionAction defineScheduleList(Arguments&, Options&) {
  return runScheduleList;
}
