// Schedules and boot-delay settings, by scripts of "METHOD UNIT MEMBERS -> ANSWER". The members go
// into the params and, before those of a daily restart, into its "schedule"; of equal keys the
// first counts. The answer is a result in braces, "ok" for none, or an error's code; where none is
// given, any will do.

#include "tests/support/daemon_process.h"

namespace {

const std::pair<std::string, std::string> kShorthands[] = {
    {"#", R"("scheduleId":)"},
    {"$restart", R"($type:"restart","recurrence":"daily",$ifs:[1],$at,$end)"},
    {"$daily", R"($name:"N",$type:"restart","recurrence":"daily")"},
    {"$at", R"("restartTime":"07:30","offTimeSec":1)"},
    {"$dates", R"("startDate":"2025-03-01","endDate":"x","recurrence":"monthly",$days:[1,99])"},
    {"$lists", R"($days:[-1],$ifs:[3000000000])"},
    {"$end", R"($modes,"enabled":true,"status":"active")"},
    {"$modes", R"("executionMode":"simultaneous","interPortDelaySec":0)"},
    {"$seq", R"("executionMode":"sequential","interPortDelaySec")"},
    {"$type", R"("scheduleType")"},
    {"$name", R"("name")"},
    {"$days", R"("recurrenceDays")"},
    {"$ifs", R"("ifNums")"},
    {"$x62", std::string(62, 'x')}};

std::vector<std::pair<std::string, std::string>> rows(std::string table) {
  for (const auto& [name, meaning] : kShorthands) {
    table = replaced(table, name, meaning);
  }
  return rowsOf(table);
}

void play(const std::string& script) {
  for (const auto& [request, want] : rows(script)) {
    std::istringstream words(request);
    std::string method, unit, members = R"("":0)";
    words >> method >> unit >> members;
    const std::string got = rpc((method[0] == 'b' ? "" : "schedule.") + method,
                                scheduleParams(members, R"("unit":)" + unit + "," + members));
    const std::string result = want[0] == '{' ? R"(,"result":)" + want : "";
    const std::string ok = R"({"ok":true)" + result + "}",
                      error = R"({"ok":false,"error":)" + want + "}";
    EXPECT_EQ(got, want.empty() ? got : want == "ok" || want[0] == '{' ? ok : error) << request;
  }
}

using ScheduleTest = RunningDaemonTest;
using BootDelayTest = ScheduleTest;

TEST_F(ScheduleTest, fieldsAreTakenByTheirRulesOnCreateAndOnUpdate) {
  int id = 0;
  for (const auto& [members, want] :
       rows(R"("Name":"é/","RestartTime":"x","OFFTIMESEC":2.9,"IfNums":[2] -> \
$name:"é/",$type:"restart","recurrence":"daily",$ifs:[2],"restartTime":"x","offTimeSec":2,$end
$name:"$x62x234567",$dates,"startTime":"1" -> $name:"$x62x",$type:"restart",$dates,$ifs:[1],$at,$end
$name:"$x62éé","restartTime":"123456é","endDate":"12345678901234é" -> \
$name:"$x62",$type:"restart","endDate":"12345678901234","recurrence":"daily",$ifs:[1],\
"restartTime":"123456","offTimeSec":1,$end
"startDate":7,"endDate":"","allDay":1,$days:{"a":1},"executionMode":1,"enabled":0 -> \
$name:"N",$restart
$days:["1",-1e300,2.9],$ifs:["3",4,null,[5],1e300],"offTimeSec":1e300,"interPortDelaySec":"5" -> \
$daily,$days:[-2147483648,2],$ifs:[4,2147483647],"restartTime":"07:30","offTimeSec":2147483647,$end
$seq:301,"enabled":false -> $daily,$ifs:[1],$at,$seq:301,"enabled":false,"status":"inactive"
$type:"power_on","startTime":"1234𝄞","endTime":"12345678",$dates -> $name:"N",\
$type:"power_on",$dates,$ifs:[1],"startTime":"1234","endTime":"1234567","allDay":false,$end
$type:"power_off","allDay":true -> \
$name:"N",$type:"power_off","recurrence":"daily",$ifs:[1],"allDay":true,$end)")) {
    const std::string one = fill("% #%", ++id, id), is = fill(" -> {#%,%}; ", id, want);
    // Each in a unit of its own.
    play(fill("create % %%get %%", id, members, is, one, is));
    play(fill(R"(update %,$name:"M","startDate":"3","endTime":"2",$ifs:[7],"enabled":false,%)", one,
              members));
    play(fill("update %,%%get %%", one, members, is, one, is));
  }
}

TEST_F(ScheduleTest, requestsThatBreakARuleAreRefusedAndChangeNothing) {
  play(R"(create 1 -> {#1,$name:"N",$restart})");
  for (const auto& row :
       rows(R"($name:""; $name:7; $name:null; $type:"Restart"; $type:2; $type:"unknown"
$type:"power_on"; "recurrence":1; "recurrence":""; "recurrence":"Daily"; "restartTime":""
"restartTime":730; "offTimeSec":0; "offTimeSec":"1"; "offTimeSec":0.9; "offTimeSec":-1e300
"executionMode":""; "executionMode":"Sequential"; "allDay":true; $ifs:[]; $ifs:["3"]; $ifs:5
$ifs:{"a":1}; "schedule":{}; "schedule":[7]; "schedule":null; $type:"power_on","endTime":"1"
$type:"power_on","allDay":true,$ifs:0)")) {
    play("create 2 " + row.first + " -> 10003; update 1 #1," + row.first + " -> 10003");
  }

  for (const std::string method : {"create", "get", "update", "delete"}) {
    EXPECT_EQ(rpc("schedule." + method, R"({"unit":1})"), R"({"ok":false,"error":10003})");
    for (const std::string unit : {"0", "\"1\"", "null"}) {
      play(method + " " + unit + " #1 -> 10003");
    }
  }

  play(R"(get 1 #0 -> 10003; get 1 #"1" -> 10003; update 1 #null -> 10003; delete 1 #-1 -> 10003
list 0 -> 10003; get 1.9 #1.9 -> {#1,$name:"N",$restart}
list 1 -> {"schedules":[{#1,$name:"N",$restart}]})");
}

TEST_F(ScheduleTest, namesAreUniqueInAUnitAndIdsForAllTime) {
  play(R"(create 1 $name:"A" -> {#1,$name:"A",$restart}
create 2 $name:"A" -> {#2,$name:"A",$restart}
create 1 $name:"$x62x234567" -> {#3,$name:"$x62x",$restart}; create 1 $name:"$x62x765432" -> 10011
create 1 $name:"A" -> 10011; create 1 -> {#4,$name:"N",$restart}
update 1 #4,$name:"A",$ifs:[9],"restartTime":"1" -> 10000; get 1 #4 -> {#4,$name:"N",$restart}
update 1 #4,$name:"M",$type:"power_on","allDay":true -> 10003; get 1 #4 -> {#4,$name:"N",$restart}
get 2 #1 -> 10023; update 2 #1 -> 10023; delete 2 #1 -> 10023; get 1 #1 -> {#1,$name:"A",$restart}
delete 1 #4 -> ok; delete 1 #4 -> 10023; update 1 #4 -> 10023; get 1 #4294967297 -> 10023
create 1 -> {#5,$name:"N",$restart}; update 1 #5,$name:"M" -> {#5,$name:"M",$restart}
create 1 -> {#6,$name:"N",$restart}; delete 1 #6 -> ok)");

  const std::string list = R"(list 1 -> {"schedules":[\
{#1,$name:"A",$restart},{#3,$name:"$x62x",$restart},{#5,$name:"M",$restart}]}; )";
  play(list);

  EXPECT_EQ(daemon_.stop(), 0);
  ASSERT_TRUE(daemon_.startReady());
  play(list + R"(create 1 -> {#7,$name:"N",$restart})");
}

TEST_F(ScheduleTest, daysAndPortsAreAnsweredAsSentButStoredOnceAndInOrder) {
  play(R"(create 1 $ifs:[2,2] -> 10000; create 1 $days:[3,1,3] -> 10000; list 1 -> {"schedules":[]}
create 1 $days:[3,1],$ifs:[5,2,9] -> {#1,$daily,$days:[3,1],$ifs:[5,2,9],$at,$end}
get 1 #1 -> {#1,$daily,$days:[1,3],$ifs:[2,5,9],$at,$end}
update 1 #1,$days:[4,4,5],$ifs:[2,2] -> {#1,$daily,$days:[4,4,5],$ifs:[2,2],$at,$end}
list 1 -> {"schedules":[{#1,$daily,$days:[4],$ifs:[2],$at,$end}]})");
  for (const std::string trigger : {"INSERT ON poe_schedule_ifs BEGIN SELECT RAISE(ABORT, 'no')",
                                    "UPDATE ON poe_schedule BEGIN DELETE FROM poe_schedule"}) {
    executeOn(kScheduleDbPath, "CREATE TRIGGER t BEFORE " + trigger + "; END;");
    play(std::string("update 1 #1 -> ") + (trigger[0] == 'I' ? "10000" : "10023"));
    executeOn(kScheduleDbPath, "DROP TRIGGER t;");
  }
  play(R"(list 1 -> {"schedules":[{#1,$daily,$days:[4],$ifs:[2],$at,$end}]}; delete 1 #1 -> ok)");
  EXPECT_EQ(queryValue(kScheduleDbPath,
                       "SELECT * FROM poe_schedule_days UNION SELECT * FROM poe_schedule_ifs"),
            "");
}

TEST_F(ScheduleTest, rowsOfTheFirstLayoutOrAnotherProgramAreShownAsFarAsTheyGo) {
  play(R"(create 1 $type:"power_on","allDay":true)");
  EXPECT_EQ(daemon_.stop(), 0);
  executeOn(kScheduleDbPath, "ALTER TABLE poe_schedule DROP COLUMN all_day");
  ASSERT_TRUE(daemon_.startReady());
  std::string id = "5000000000";
  std::string list =
      R"({#1,$name:"N",$type:"power_on","recurrence":"daily",$ifs:[1],"allDay":false,$end})";

  for (const auto& [values, json] : rows(R"('','Restart',NULL,NULL,'','1','2','3',-5,0,0,0,0,1 -> \
$name:"",$type:"unknown","recurrence":"weekly",$lists,$modes,"enabled":false,"status":"inactive"}
'b','restart','',NULL,'DAILY','',NULL,NULL,-5,0,'0x',2,0,1 -> \
$name:"b",$type:"restart","recurrence":"weekly",$lists,"restartTime":"","offTimeSec":-5,$end}
CAST(x'63FFC3' AS TEXT),'power_off','2-30','-1','monthly','99','-1:-1','9',NULL,0,0,1,0,0 -> \
$name:"c��",$type:"power_off","startDate":"2-30","endDate":"-1","recurrence":"monthly",$lists,\
"startTime":"99","endTime":"-1:-1","allDay":false,$end}
'$x62é!','power_on','2025-01-01 0:00:',NULL,'daily','123456789',NULL,NULL,0,0,0,1,0,5 -> \
$name:"$x62",$type:"power_on","startDate":"2025-01-01 0:00","recurrence":"daily",$lists,\
"startTime":"1234567","allDay":true,$end})")) {
    ++id.back();
    executeOn(kScheduleDbPath, fill("INSERT INTO poe_schedule_ifs VALUES (%,3000000000);"
                                    "INSERT INTO poe_schedule_days VALUES (%,-1);"
                                    "INSERT INTO poe_schedule VALUES (%,1,%);",
                                    id, id, id, values));
    list += ",{#" + id + "," + json;
  }

  play(R"(list 1 -> {"schedules":[)" + list + "]}");
  EXPECT_TRUE(waitUntil([] { return runCount("schedule_name LIKE 'xxxxxx%'") > 0; }));
}

TEST_F(ScheduleTest, aDatabaseThatWasOverwrittenWhileItWasDownCostsAnswersOnly) {
  EXPECT_EQ(daemon_.stop(), 0);
  const auto size = static_cast<size_t>(fs::file_size(kScheduleDbPath));
  std::fstream(kScheduleDbPath, std::ios::in | std::ios::out).seekp(4096)
      << std::string(size - 4096, 'x');
  ASSERT_TRUE(daemon_.startReady());
  play("create 1 -> 10000; list 1 -> 10000; bootdelay.get 1 -> {\"delaySec\":0,$modes}");
  EXPECT_TRUE(waitForLog("could not be read to the end: database disk image is malformed"));
}

TEST_F(BootDelayTest, settingsOfAUnitAreReplacedWholeOrNotAtAll) {
  play(R"(bootdelay.get 1 -> {"delaySec":0,$modes}; bootdelay.get "1" -> 10003
bootdelay.set 1 "DelaySec":59.9,$seq:5 -> ok; bootdelay.get 1 -> {"delaySec":59,$seq:5}
bootdelay.set 2 "delaySec":600,$seq:300 -> ok
bootdelay.set 1 "delaySec":7 -> ok; bootdelay.get 1 -> {"delaySec":7,$modes})");

  for (const auto& row : rows(R"("a":0; "delaySec":601; "delaySec":-1; "delaySec":"1"
"delaySec":null; "delaySec":1e300; "delaySec":1,"executionMode":"SEQUENTIAL"
"delaySec":1,"executionMode":1; "delaySec":1,"executionMode":null
"delaySec":1,"interPortDelaySec":301; "delaySec":1,"interPortDelaySec":-1
"delaySec":1,"interPortDelaySec":"5")")) {
    play("bootdelay.set 2 " + row.first + " -> 10003");
  }

  const std::string file =
      "{\n\t\"units\":\t{\n\t\t\"2\":\t{\n\t\t\t\"delaySec\":\t600,\n\t\t\t\"executionMode\":\t"
      "\"sequential\",\n\t\t\t\"interPortDelaySec\":\t300\n\t\t},\n\t\t\"1\":\t{\n\t\t\t"
      "\"delaySec\":\t7,\n\t\t\t\"executionMode\":\t\"simultaneous\",\n\t\t\t"
      "\"interPortDelaySec\":\t0\n\t\t}\n\t}\n}";
  EXPECT_EQ(readFile(kBootDelayConfigPath), file);
}

TEST_F(BootDelayTest, whateverTheFileHoldsIsReadAsFarAsItGoesAndTheNextSetWritesAGoodOne) {
  for (const auto& [text, settings] :
       rows(R"( -> 0,$modes}; {"units":{"1 -> 0,$modes}; [1] -> 0,$modes}
{} -> 0,$modes}; {"units":7} -> 0,$modes}; {"units":[1]} -> 0,$modes}
{"units":{"1":7,"2":7}} -> 0,$modes}
{"units":{"1":{"delaySec":"7","executionMode":1,"interPortDelaySec":true}}} -> 0,$modes}
{"UNITS":{"2":{},"1":{"DELAYSEC":700,"executionMode":"Sequential"}}} -> 700,$modes})")) {
    writeFile(kBootDelayConfigPath, text);
    const std::string get = R"(bootdelay.get 1 -> {"delaySec":)" + settings + "; ";
    play(get + R"(bootdelay.set 2 "delaySec":5 -> ok; )" + get +
         R"(bootdelay.get 2 -> {"delaySec":5,$modes})");
    EXPECT_EQ(countOf(readFile(kBootDelayConfigPath), "\"2\""), 1) << text;
  }
}

TEST_F(BootDelayTest, aSetThatCannotBeWrittenFailsAndLeavesTheOldSettings) {
  const std::string fails =
      R"(bootdelay.set 1 "delaySec":9 -> 10000; bootdelay.get 1 -> {"delaySec":5,$modes})";
  fs::remove(kBootDelayConfigPath);
  fs::create_directory(kBootDelayConfigPath);
  play(R"(bootdelay.set 1 "delaySec":5 -> 10000; bootdelay.get 1 -> {"delaySec":0,$modes})");
  EXPECT_EQ(logged("] rename bootdelay config failed: Is a directory"), 1);
  EXPECT_TRUE(fs::remove(kBootDelayConfigPath) && !fs::exists(kBootDelayTempPath));

  play(R"(bootdelay.set 1 "delaySec":5 -> ok)");
  for (const char* target :
       {"/dev/full", "/dev/null"}) {  // the other takes what is written, but can't sync it
    fs::create_symlink(target, kBootDelayTempPath);
    play(fails);
  }

  fs::create_directory(kBootDelayTempPath);  // the link is gone
  play(fails);
  EXPECT_EQ(logged("(ERROR)"), 1);
}

}  // namespace
