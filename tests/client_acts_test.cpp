// quorin_poectl: what ports go through in a reset, what runs tell of a port, and the log's records.
#include "cli/text.h"
#include "client/commands/log/records.h"
#include "client/commands/why.h"
#include "client/diagnosis/port_watch.h"
#include "daemon/paths.h"
#include "tests/support/daemon_process.h"

constexpr int64_t kTen = 1772402400;  // Sun 2026-03-01 22:00
const char* const kAll = R"x({"schedules":[{"scheduleId":3,"scheduleType":"power_off","ifNums":[1],
    "startTime":"22:00","endTime":"06:00","endDate":"2026-12-31","recurrence":"daily",
    "name":"night"},{"scheduleId":4,"name":"night (morning after)",
    "scheduleType":"power_off","ifNums":[1],
    "startTime":"0:0","endTime":"6:0","recurrence":"daily"}]})x";

// Of samples "SECOND,STATUS,OUTCOME,MESSAGE,CLOSED" of a port, the first one from before its reset.
static std::string lineAfter(const std::string& samples) {
  std::optional<PortWatch> watch;
  for (const std::string& sample : splitAt(samples, '|')) {
    const std::vector<std::string> word = splitAt(sample + ",,,", ',');
    const char* mode = word[1] == "disable" ? "disable" : "enable";
    const SensorPort port{{1, 1}, 12900, 0, 0, 0, mode, word[1], "", "", 30000};
    const int64_t ms = std::stoll(word[0]) * 1000;
    watch = watch ? watch : PortWatch(port, ms, 9000);
    watch->feed(ms, word[4].empty(), {1, word[2], word[3]}, port);
  }
  return watch->line(0) + (watch->isBack() ? "" : " -");
}

// At 03:00, of a run "TYPE,HOUR,HOUR,STATUS,MESSAGE,MESSAGE" of a port, the last one its own.
static std::string whyAtThree(const std::string& row) {
  const std::vector<std::string> word = splitAt(row + ",,", ',');
  Run run =
      readRun(jsonParse(R"({"unit":1,"runId":7,"scheduleId":3,"scheduleName":"night"})").get());
  run.scheduleType = word[0];
  run.startedAt = SystemTime(kTen + std::stoll(word[1]) * 3600);
  run.completedAt = SystemTime(kTen + std::stoll(word[2]) * 3600);
  run.errorMessage = word[5];
  run.ports = {{1, word[3], word[4]}};
  const PortNames names({}, {{1, "p", ""}});
  const Zone utc("UTC");
  const View view{names, SwitchNow(SwitchTime()), SystemTime(kTen + 50 * 3600), utc, utc, false,
                  {}};
  WhyQuestion asked{{1, 1}, SystemTime(kTen + 5 * 3600), {}, {}};
  Run ofTwin =
      readRun(jsonParse(R"({"unit":1,"runId":8,"scheduleId":4,"status":"success"})").get());
  ofTwin.startedAt = SystemTime(kTen + 2 * 3600);
  ofTwin.completedAt = SystemTime(kTen + 8 * 3600);
  asked.records = {{run}, {run, ofTwin}, readSchedules(jsonParse(kAll).get(), 1)};
  return whyText(asked, view);
}

TEST(ClientActs, resetAndWhyTellWhatPortsWentThrough) {
  const std::string cut = ",Interrupted by unexpected reboot";
  for (const auto& [samples, line] : std::map<std::string, std::string>{
           {"0,delivering|1,disable|5,off,success|5,searching,success|6,delivering,success",
            "12.9 W > dark 4 s > on > searching > 12.9 W  back after 5 s"},
           {"0,delivering|1,delivering,success|3,delivering,success",
            "12.9 W  back within a second"},
           {"0,delivering|1,disable|8,denied,success|16,denied,success|17,denied,success",
            "12.9 W > dark 7 s > denied 9 s  not back after 9 s (denied: limit 30.0 W) -"},
           {"0,delivering|1,delivering|21,delivering,success|23,delivering,success",
            "12.9 W  back within a second"},
           {"0,denied|1,searching,success|3,denied,success|11,denied,success",
            "denied > searching 2 s > denied 8 s  on, but without power (denied: limit 30.0 W) -"},
           {"0,disable|1,denied,success|3,denied,success|5,delivering,success",
            "dark > denied 4 s > 12.9 W  on after 5 s"},
           {"0,searching|1,searching,success", "searching  on as before (searching)"},
           {"0,delivering|1,delivering,skipped,busy", "12.9 W  not reset: busy -"},
           {"0,delivering|1,delivering,pending,,closed",
            "12.9 W  the run ended without an outcome for it -"},
           {"0,disable|1,searching,success|3,delivering,success",
            "dark > searching 2 s > 12.9 W  on after 3 s"},
           {"0,disable|1,searching,success|9,searching,success|10,searching,success",
            "dark > searching 9 s  switched on (searching)"}}) {
    EXPECT_EQ(lineAfter(samples), line);
  }
  for (const auto& [run, part] : std::map<std::string, std::string>{
           {"power_off,0,7,success", "that window (dark for 7 h)"},
           {"power_off,0,1,success," + cut,
            "on then or later by the end of that window, not recorded: run 7 was closed before"},
           {"power_off,0,25,success,,Window end never fired", "\"night (morning after)\" ends"},
           {"restart,0,1,failed" + cut + cut, "p was perhaps off on Mon 2026-03-02 03:00"},
           {"restart,0,1,failed,power_on failed", "not switched on again: power_on failed"},
           {"power_on,-9,1,success", "p was off on Mon"},
           {"restart,0,1,skipped,port busy (x)", "Nothing is known of p"}}) {
    EXPECT_NE(whyAtThree(run).find(part), std::string::npos) << whyAtThree(run);
  }
}

TEST(ClientActs, theLogIsCutAtItsRecordsHoweverItsBytesCome) {
  const std::string at = "2026-03-01 22:00:00.00";
  LogSplitter splitter;
  std::string text;
  for (const char byte : "old" + at + "1 (WARN): q: \x1b (x): " + at + "2" + at + "3 (): q: b\n") {
    for (const LogRecord& record : splitter.feed({&byte, 1})) {
      text += "|" + record.stamp + logLevelName(record.level) + record.message;
    }
  }
  text += "|" + splitter.rest().value_or(LogRecord()).message;
  EXPECT_EQ(text, "|old|" + at + "1warn\x1b (x): " + at + "2|b");
}

TEST_F(RunningDaemonTest, aResetThatIsInterruptedGoesOn) {
  const std::string reset =
      programCommand("quorin_poectl") + " --socket " + kSocketPath + " reset ";
  const std::string interrupt =
      "3 --off-time 10h >o 2>&1 & until grep dark o; do sleep 0.1; done; "
      "kill -INT $!; wait $!; [ $? = 130 ] && cat o && grep -q 'run 1 goes on' o && rm o";
  std::string output;
  EXPECT_EQ(runCommand(reset + interrupt, &output), 0) << output;
}
