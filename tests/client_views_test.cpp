// quorin_poectl's views of a switch: status, metrics, week, completion; next has the soak test.
#include <regex>

#include "client/command.h"
#include "client/commands/metrics.h"
#include "client/commands/status.h"
#include "client/commands/week.h"
#include "daemon/paths.h"
#include "tests/support/daemon_process.h"

using ClientViewsTest = RunningDaemonTest;

TEST(ClientViews, sayWhatPortsDoAndWhyAndWhatFailed) {
  const PortNames names({}, {{1, "1/0/1", "a\\b \"c\"\n"}, {2, "1/0/2", ""}, {3, "1/0/3", ""}});
  constexpr int64_t kNow = 1772543232;  // Tue 2026-03-03 14:07:12
  const Zone berlin("Europe/Berlin");
  const View view{names, SwitchNow(SwitchTime(kNow)), SystemTime(kNow), berlin, Zone("UTC"), false,
                  {}};
  const auto runs = jsonParse(R"({"runs":[
      {"runId":44,"unit":1,"triggered":"manual","scheduleType":"restart",
       "startedAt":"2026-03-03T12:50:00Z",
       "status":"failed","portSteps":[{"ifNum":5,"status":"failed",
       "errorMessage":"Interrupted by unexpected reboot"},{"ifNum":8,"status":"failed",
       "errorMessage":"Interrupted by unexpected reboot"}]},
      {"runId":43,"unit":1,"startedAt":"2026-03-03T12:40:00Z","status":"running","scheduleId":9,
       "scheduleType":"power_off","portSteps":[{"ifNum":4,"status":"success"}]},
      {"runId":42,"unit":1,"startedAt":"2026-03-03T12:30:00Z","status":"failed","scheduleId":1,
       "completedAt":"2026-03-03T13:00:00Z","errorMessage":"Window end never fired"},
      {"runId":45,"unit":1,"startedAt":"2026-03-03T12:31:00Z","status":"success","scheduleId":2,
       "completedAt":"2026-03-03T12:32:00Z"}]})");
  Status status{400, {}, {}, {}, readRunPage(runs.get()).runs};
  for (const char* members :
       {R"("name":"n","scheduleType":"power_off","startTime":"22:00","endTime":"6:0",)"
        R"("endDate":"2027-1-1")",
        R"j("name":"n (morning after)","scheduleType":"power_off","startTime":"0:0",)j"
        R"("endTime":"6:0")",
        R"("scheduleType":"power_on","startTime":"9:15","endTime":"10:00","ifNums":[7,8])",
        R"("restartTime":"08:00","startDate":"2026-03-05","ifNums":[2,3])"}) {
    status.schedules.push_back(readSchedule(jsonParse(scheduleJson(members).c_str()).get(), 1));
    status.schedules.back().scheduleId = static_cast<int64_t>(status.schedules.size());
  }
  std::vector<SensorPort> ports;
  for (uint32_t i = 1; i <= 8; ++i) {
    ports.push_back({{1, i}, 12850, 0, 0, 38, i < 4 ? "enable" : "disable", "denied", "", "", {}});
  }
  const PortRecords records{status.runsOfDay, status.runsOfDay, status.schedules};
  status.ports = statedPorts(ports, records, view);
  const auto past = [&](const SensorPort& port) { return pastModes(port, records, view); };
  const std::string text =
      statusText(status, view) +
      weekText(weekOf(ports, status.schedules, {2026, 3, 3}, past, view), view) +
      metricsText(metricsOf(status, view));
  for (const char* part :
       {"1/0/1           ###%...%####", ".\n1/0/2-3         ####################R####",
        "7-8            .........%....", " #6 no run of the last 30 days",
        " #5,#8 off since Tue 12:50: perhaps left off by a manual",
        "1 off by a schedule, 1 off by a schedule with no \"on\" to come, 3 off for no reason",
        "s: 2 success, 1 failed, 1 running\n", "  to bring back: quorin_poectl on #5,#8",
        "next_firing_seconds 28368\n",
        R"(_watts{unit="1",ifnum="1",port="1/0/1",label="a\\b \"c\"\\n"} 12.85)"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
  }
}

TEST_F(ClientViewsTest, whatHelpNamesIsCompletedAndEndsAreTold) {
  const std::string client = programCommand("quorin_poectl") + " --socket " + kSocketPath + " ";
  const std::tuple<const char*, int, const char*> rows[] = {
      {"next --json", 0, R"({"firings":[],"never":"no schedule acts any more"})"},
      {"status --json", 0, R"("openRuns":[],"next":[],"last24h":{"runs":0,"success":0)"},
      {"--socket /no/such.sock metrics", 8, "quorin_poe_up 0\nquorin_poectl: no daemon"}};
  std::string output;
  for (const auto& [arguments, status, printed] : rows) {
    EXPECT_EQ(runCommand("{ " + client + arguments + "; } 2>&1", &output), status) << output;
    EXPECT_NE(output.find(printed), std::string::npos) << arguments << "\n" << output;
  }
  runCommand(client + "completion bash | tr '\"' ' '", &output);
  const std::regex named("\n  (?:-\\w,)?(--[a-z-]+|[a-z]+ )");
  for (const ClientCommand& command : clientCommands()) {
    std::string help;
    runCommand(client + command.name + " --help", &help);
    const size_t words = output.find(std::string("\n      ") + command.name + " ) words= ");
    const std::string offered = output.substr(words, output.find("kind=", words) - words);
    for (std::sregex_iterator each(help.begin(), help.end(), named), end; each != end; ++each) {
      EXPECT_NE(offered.find(" " + each->str(1)), std::string::npos) << each->str(1) << offered;
    }
  }
}
