// quorin_poectl: what is said of schedules, how they are changed, and what an import does.
#include <regex>

#include "cli/mapped.h"
#include "cli/text.h"
#include "client/site/import_plan.h"
#include "daemon/paths.h"
#include "forecast/check.h"
#include "forecast/rehearsal.h"
#include "tests/support/daemon_process.h"

namespace {

// The fields of each line of a table, "a|b".
std::vector<std::vector<std::string>> fieldsOf(const std::string& table) {
  return mapped(splitAt(table, '\n'), [](const std::string& line) { return splitAt(line, '|'); });
}

// "NAME TYPE FROM [TO] [MEMBERS,]", of port 1, daily, with the ids 1, 2, ...
std::vector<Schedule> schedulesOf(const std::string& text) {
  static const std::regex kForm(R"((.+?) (power_off|power_on|restart) (\S+) ?(\S*) ?(.*))");
  int64_t id = 0;
  return mapped(splitAt(text, ';'), [&id](const std::string& each) {
    const std::string json = std::regex_replace(each, kForm, R"({$5"name":"$1","scheduleType":"$2",
        "startTime":"$3","endTime":"$4","restartTime":"$3","offTimeSec":1,"recurrence":"daily",
        "ifNums":[1]})");
    Schedule schedule = readSchedule(jsonParse(json.c_str()).get(), 1);
    schedule.scheduleId = ++id;
    return schedule;
  });
}

}  // namespace

using ClientPlansTest = RunningDaemonTest;

TEST(ClientPlans, schedulesAreWarnedOf) {
  for (const auto& row :
       fieldsOf(R"(noEnd|A power_off 22:00 06:00 "recurrence":"weekly","recurrenceDays":[1,2,5],
|A power_off 22:00 06:00 "recurrence":"weekly","recurrenceDays":[1,5],;B power_off )"
                R"(00:00 06:00 "recurrence":"weekly","recurrenceDays":[2,6],
noEnd|A power_on 22:00 06:00 "endDate":"2026-12-31",
fight|A power_off 08:00 18:00;B power_off 17:00 19:00
|A power_off 08:00 18:00;B power_on 12:00 13:00
|A power_off 08:00 18:00;B power_off 18:00 19:00
fight|A power_off 18:00 19:00;B power_off 08:00 18:00
fight|A power_off 08:00 18:00;B restart 12:00
overlap|A restart 12:00  "offTimeSec":300,;B restart 12:04
overlap|A restart 12:00  "offTimeSec":300,;B restart 12:05
|A restart 12:00  "offTimeSec":300,;B restart 12:06
lost|A power_off 08:00 18:00 "ifNums":[1,2],"executionMode":"sequential","interPortDelaySec":120,;B restart 18:01  "ifNums":[3],
|A power_off 08:00 18:00 "ifNums":[1,2],"executionMode":"sequential","interPortDelaySec":119,;B restart 18:01  "ifNums":[3],
overlap|A restart 12:00;B restart 12:00
overlap|A power_off 12:04 13:00;B restart 12:00  "offTimeSec":300,
overlap|A power_on 12:04 13:00;B restart 12:00  "offTimeSec":300,
|A power_off 11:00 12:04;B restart 12:10  "offTimeSec":300,
overlap|A restart 12:00  "offTimeSec":90000,
twice|A power_off 08:00 18:00;B power_off 08:00 18:00;C power_off 08:00 18:00
shortMonth|A restart 12:00  "recurrence":"monthly","recurrenceDays":[28,31],
clockChange|A restart 02:30
badTime badDate noPort above128|A power_off 22:00 25:00 "ifNums":[200],"endDate":"soon",
shortWindow|A power_off 8:0 8:1 "executionMode":"sequential","interPortDelaySec":61,)")) {
    const Zone zone("Europe/Berlin");
    const PortNames names({}, {});
    const View view{names, SwitchNow(SwitchTime(1772543232)), {}, zone, zone, false, {}};
    const auto warnings = checkSchedules({schedulesOf(row[1]), {{{1, 1}, {1, 2}}}, view});
    const auto kind = [](const ScheduleWarning& each) { return std::string(each.kind); };
    EXPECT_EQ(joined(mapped(warnings[0], kind), " "), row[0]) << row[1];
  }
}

TEST(ClientPlans, importsAreStepsInWhichANameIsASchedule) {
  for (const auto& row : fieldsOf(R"(A power_off 1;B power_off 2|A power_off 3||change 1 A
A power_off 1;B power_off 2|B power_off 2;C power_off 1;A power_off 2|y|change 1 A; add C
A power_off 1;B power_off 2|C power_off 1|y|add C; delete 1 A; delete 2 B
A power_off 1;B restart 2|A restart 2||delete 1 A; add A)")) {
    const auto plan =
        importPlan({schedulesOf(row[1]), {}}, {schedulesOf(row[0]), {}}, row[2] == "y");
    const std::string text = joined(mapped(plan.steps, stepText), "; ");
    EXPECT_EQ(std::regex_replace(text, std::regex("\"| (of|to) unit 1"), ""), row[3]) << row[0];
  }
}

TEST(ClientPlans, aRehearsalFindsWhatIsNotDoneWhatIsUndoneAndWhatNobodyForetold) {
  for (const auto& row : fieldsOf(R"(A power_off 08:00 18:00|-12|1 off 24;4 off 8;4 on 18;5 off 12
A power_off 08:00 18:00;B restart 12:00|-08 -12 +12 +18|3 on 12
A power_off 08:00 18:00;B power_on 12:00 13:00|-08 +12 -13 +18|
A power_off 08:00 18:00;B power_off 17:00 23:00|-08 -17 +18 +23|3 on 18
A power_off 08:00 18:00 "allDay":true,;B restart 12:00|-00 -12 +12|3 on 12
A power_off 08:00 18:00;B restart 10:00;C power_off 12:00 20:00|-08 -10 +10 -12 +20|)"
                                  "3 on 10;4 on 18")) {
    SensorPort port;
    std::tie(port.unit, port.ifNum, port.adminMode) = std::tuple(1, 1, "enable");
    Rehearsal rehearsal{{}, SwitchTime(86400), schedulesOf(row[0]), false, {}, {port}, {}, {}};
    for (const std::string& act : splitAt(row[1], ' ')) {
      const SwitchTime at(std::stoi(act.substr(1)) * 3600);
      rehearsal.acts.push_back({at, {1, 1}, act[0] == '+' ? Act::on : Act::off, false});
    }
    const auto found = [](const Finding& each) {
      return fill("% % %", static_cast<int>(each.kind), actText(each.act), each.from / 3600);
    };
    const RehearsalReport report = judgeRehearsal(rehearsal, Zone("UTC"));
    EXPECT_EQ(joined(mapped(report.findings, found), ";"), row[2]) << row[0];
  }
}

TEST_F(ClientPlansTest, theProgramChangesWhatIsStoredAndTellsHowFarItCame) {
  const std::string client = programCommand("quorin_poectl") + " --socket " + kSocketPath + " ";
  for (const auto& row :
       fieldsOf(R"(2|"25:00" is not a time|schedule add x --off 1/0/1 --from 25:00 --to 06:00
2|ports of units 1 and 2|schedule add x --off 1/0/1,2/0/1 --all-day
0|off 00:00-06:00 sat 2034-01-02..|schedule add night --off 1/0/1-2 --from 22:00 --to )"
                R"(6:0 --weekly fri --twin --dates 2034-01-01..
0|"changed":true}|schedule set night --to 07:00 --twin --json
0|nothing to warn of|schedule check night
0|1 min|bootdelay 1 --delay 60s
0|2 schedules and 2 boot delays written|export FILE.1 && sed s/night/boom/ FILE.1 )"
                R"(>FILE.2 && sed s/power_off/power_on/ FILE.1 >FILE.3
sql|schedule|CREATE TRIGGER t BEFORE INSERT ON poe_schedule WHEN NEW.name LIKE 'boom )"
                R"((%' BEGIN SELECT RAISE(ABORT, ''); END
sql|history|INSERT INTO poe_history VALUES (9, 1, 'scheduled', 1, '', 'power_off', )"
                R"('simultaneous', 0, 0, strftime('%s'), NULL, 'running', NULL, NULL)
2|a window of 1 "night" of unit 1 is open since|schedule delete night
0|deleted 1 "night" of unit 1|schedule delete night -y
0|2 to add, 0 to change, 0 to remove, 2 the same; nothing|import FILE.1 --dry-run
0|2 added, 0 changed, 0 removed, 2 the same|import FILE.1
0|"added":[],"changed":[],"removed":[],"kept":[{|import FILE.1 --json
sql|schedule|CREATE TRIGGER u BEFORE INSERT ON poe_schedule WHEN NEW.schedule_type = )"
                R"('power_on' BEGIN SELECT RAISE(ABORT, ''); END
4|"night" is there again as it was.|import FILE.3
4|Done before: add "boom" to unit 1.|import FILE.2)")) {
    if (row[0] == "sql") {
      executeOn(row[1] == "history" ? kHistoryDbPath : kScheduleDbPath, row[2]);
      continue;
    }
    std::string output;
    const std::string line =
        "{ " + client + replaced(row[2], "FILE", kSocketPath) + "; } 2>&1 </dev/null";
    EXPECT_EQ(std::to_string(runCommand(line, &output)), row[0]) << line;
    EXPECT_NE(output.find(row[1]), std::string::npos) << line << "\n" << output;
  }
}
