#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <future>
#include <map>
#include <optional>
#include <thread>

#include "base/database.h"
#include "config/boot_delay_config.h"
#include "config/schedule_store.h"
#include "daemon/paths.h"
#include "poe/port_locks.h"
#include "scheduler/boot_delay.h"
#include "scheduler/due_firings.h"
#include "scheduler/scheduler_thread.h"
#include "scheduler/switch_time.h"
#include "tests/support/daemon_process.h"
#include "tests/support/fixtures.h"
#include "tests/support/socket_client.h"

using switchsim::ClockMode;

namespace {

// Each run as "action result message: port outcome message, ..."; newest last.
std::string runs() {
  return queryValue(
      kHistoryDbPath,
      "SELECT GROUP_CONCAT(line, '; ') FROM (SELECT schedule_type || ' ' || COALESCE(overall_result, status) || "
      "COALESCE(' ' || error_message, '') || ':' || (SELECT GROUP_CONCAT(' ' || if_num || ' ' || status || "
      "COALESCE(' ' || error_msg, '')) FROM poe_history_port p WHERE p.run_id=h.run_id) AS line FROM poe_history h "
      "ORDER BY run_id);");
}

// Process-wide, the daemon remembers what has fired: every test has a year of its own.
class SchedulerTest : public StoreTest {
 protected:
  static int64_t create(const std::string& content, int32_t unit = 1) {
    static int created = 0;
    const JsonPtr parsed =
        jsonParse((R"({"name":"s)" + std::to_string(++created) + R"(","recurrence":"daily",)" + content + "}").c_str());
    JsonPtr answer;
    EXPECT_EQ(scheduleCreate(unit, parsed.get(), &answer), 0) << content;
    return jsonInt64Member(answer.get(), "scheduleId", 0);
  }
  static int64_t createWindow(const char* type, const char* start, const char* end, const std::string& rest) {
    return create(std::string(R"("scheduleType":")") + type + R"(","startTime":")" + start + R"(","endTime":")" + end +
                  R"(",)" + rest);
  }

  // One tick at the switch's time, and all that it starts. What was done to the ports.
  static std::string tickAt(const std::string& time) {
    EXPECT_EQ(switchsim::setClock(ClockMode::frozen, time + ":00"), "");
    return tick();
  }
  static std::string tick() {
    const uint64_t before = switchsim::lastSeq();
    tickOnce();
    EXPECT_TRUE(
        waitUntil([] { return query("SELECT COUNT(*) FROM poe_history_port WHERE status='pending';") == "0"; }));
    return acts(before);
  }
};

}  // namespace

TEST(ScheduleEvalTest, aYearOfMinutesHoldsTheFiringsThatACalendarHolds) {
  constexpr auto kOff = ScheduleType::powerOff;
  constexpr auto kRestart = ScheduleType::restart;
  constexpr auto kNoType = ScheduleType::unknown;
  constexpr auto kDaily = Recurrence::daily;
  constexpr auto kWeekly = Recurrence::weekly;
  constexpr auto kMonthly = Recurrence::monthly;
  const auto never = [](const tm&) { return false; };
  const auto at705 = [](const tm& t) { return t.tm_hour == 7 && t.tm_min == 5; };
  const auto leapDays = [](const tm& t) {
    return t.tm_hour == 7 && t.tm_min == 5 && t.tm_yday >= 58 && t.tm_yday <= 60;
  };
  const auto sundays = [](const tm& t) { return t.tm_wday == 0 && t.tm_hour == 23 && t.tm_min == 59; };
  const auto workdays = [](const tm& t) { return t.tm_wday >= 1 && t.tm_wday <= 5; };
  const auto last = [](const tm& t) { return (t.tm_mday == 29 || t.tm_mday == 31) && t.tm_hour + t.tm_min == 0; };
  const struct {
    const char* what;
    ScheduleType type;
    Recurrence recurrence;
    std::vector<int32_t> days;
    const char* times[3];  // start, end, restart
    const char* dates[2];
    int32_t allDay;
    int32_t enabled;
    bool (*expected)(const tm&);
  } cases[] = {
      {"a window", kOff, kDaily, {}, {"7:5", "", ""}, {"", ""}, 0, 1, at705},
      {"a window's end", kOff, kDaily, {}, {"24:00", "07:05", ""}, {"x", "2024-1"}, 0, 1, at705},
      {"hours of the next day", kOff, kDaily, {}, {"24:00", "7:60", "7:05"}, {"", ""}, 0, 1, never},
      {"negative hours", kRestart, kDaily, {}, {"7:05", "7:05", "-7:05"}, {"", ""}, 0, 1, never},
      {"all day on a restart", kRestart, kDaily, {}, {"", "", "7:05"}, {"", ""}, 1, 1, at705},
      {"disabled", kRestart, kDaily, {}, {"", "", "7:05"}, {"", ""}, 0, 0, never},
      {"an unknown type", kNoType, kDaily, {}, {"7:05", "7:05", "7:05"}, {"", ""}, 1, 1, never},
      {"an unknown recurrence", kRestart, Recurrence::unknown, {0}, {"", "", "7:05"}, {"", ""}, 0, 1, never},
      {"dates", kRestart, kDaily, {}, {"", "", "7:05"}, {"2024-02-28", "2024-3-1"}, 0, 1, leapDays},
      {"another year", kRestart, kDaily, {}, {"", "", "7:05"}, {"2025-01-01", ""}, 0, 1, never},
      {"Sundays", kRestart, kWeekly, {7}, {"", "", "23:59"}, {"", ""}, 0, 1, sundays},
      {"working days", kOff, kWeekly, {1, 2, 3, 4, 5}, {"", "", ""}, {"", ""}, 1, 1, workdays},
      {"the 29th and 31st", kRestart, kMonthly, {29, 31}, {"", "", "0:0"}, {"", ""}, 0, 1, last},
      {"no days", kRestart, kMonthly, {}, {"", "", "7:05"}, {"", ""}, 0, 1, never},
  };
  for (const auto& c : cases) {
    PoeSchedule schedule;
    schedule.type = c.type;
    schedule.recurrence = c.recurrence;
    schedule.startTime.assign(c.times[0]);
    schedule.endTime.assign(c.times[1]);
    schedule.restartTime.assign(c.times[2]);
    schedule.startDate.assign(c.dates[0]);
    schedule.endDate.assign(c.dates[1]);
    schedule.allDay = c.allDay;
    schedule.enabled = c.enabled;
    int wrong = 0;
    for (time_t second = 1704067200; second < 1735689600; second += 60) {  // 2024, a leap year
      tm t{};
      gmtime_r(&second, &t);
      const TickTime now{t.tm_year + 1900, t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, 0, t.tm_wday};
      const int32_t day = recurrenceDay(c.recurrence, now);
      const bool itsDay = day == 0 || std::count(c.days.begin(), c.days.end(), day) > 0;
      wrong += (scheduleDue(schedule, now).any() && itsDay) != c.expected(t) ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0) << c.what;
  }
}

TEST(SwitchTimeTest, aTextOfSixNumbersIsReadAsACalendarTime) {
  const std::pair<const char*, const char*> cases[] = {{"2024-02-29 23:59:58", "2024-2-29 23:59:58 4"},
                                                       {"2024-3-5 7:5:9", "2024-3-5 7:5:9 2"},
                                                       {"2023-02-29 24:00:00", "2023-3-2 0:0:0 4"},
                                                       {"2024-03-05 07:05", ""},
                                                       {"", ""}};
  for (const auto& [given, read] : cases) {
    TickTime t;
    char text[64] = "";
    const size_t size = parseSwitchTime(given, &t) ? sizeof text : 0;
    snprintf(text, size, "%d-%d-%d %d:%d:%d %d", t.year, t.month, t.day, t.hour, t.minute, t.second, t.weekday);
    EXPECT_STREQ(text, read) << given;
  }
}

TEST_F(SchedulerTest, anOccurrenceFiresOnceHoweverOftenItsMinuteIsSeen) {
  createWindow("power_off", "12:00", "12:00", R"("ifNums":[1])");
  create(R"("scheduleType":"power_off","allDay":true,"ifNums":[2])");
  create(R"("scheduleType":"restart","restartTime":"12:00","offTimeSec":1,"ifNums":[3])");
  const std::string warning = "scheduler: openapiClockGet failed; using localtime_r fallback";
  EXPECT_EQ(tickAt("2030-05-01 12:00"), "1- 1+ 2- 3- 3+");
  EXPECT_EQ(tickAt("2030-05-01 12:00"), "") << "the clock stands still";
  EXPECT_EQ(tickAt("2030-05-01 11:00") + tickAt("2030-05-01 12:00"), "") << "the clock went back";
  EXPECT_EQ(tickAt("2030-05-02 00:00"), "2-") << "the next day";
  EXPECT_EQ(countOf(logText(), warning), 0);
  ASSERT_EQ(switchsim::setClock(ClockMode::fail), "");
  EXPECT_EQ(countOf(tick(), "2-"), 1) << "by the daemon's own time, which may be noon";
  EXPECT_EQ(countOf(logText(), warning), 1) << logText();
}

TEST_F(SchedulerTest, aWindowSwitchesItsPortsAndPutsThemBack) {
  const std::string noRun = "endTime: no open run for this occurrence; sweeping without recording";
  createWindow("power_off", "08:00", "09:00", R"("ifNums":[2,1],"executionMode":"sequential","interPortDelaySec":1)");
  createWindow("power_on", "10:00", "11:00", R"("ifNums":[3,200])");
  EXPECT_EQ(tickAt("2031-01-01 08:00"), "1- 2-");
  EXPECT_EQ(runs(), "power_off running: 1 success, 2 success");
  EXPECT_EQ(tickAt("2031-01-01 09:00"), "1+ 2+");
  EXPECT_EQ(runs(), "power_off success: 1 success, 2 success");
  const auto entries = switchsim::journalSince(0);
  EXPECT_GE(entries[3].monoMs - entries[2].monoMs, 1000) << "power comes back port by port";
  EXPECT_EQ(tickAt("2031-01-01 10:00"), "3+");
  EXPECT_EQ(tickAt("2031-01-01 11:00"), "3-");
  EXPECT_EQ(runs(),
            "power_off success: 1 success, 2 success; power_on success: 3 success, 200 skipped "
            "ifNum not in unit's PoE port range");
  EXPECT_EQ(countOf(logText(), noRun), 0);
  EXPECT_EQ(tickAt("2031-01-02 09:00"), "1+ 2+") << "restored also without a run";
  EXPECT_EQ(countOf(logText(), noRun), 1) << logText();
  EXPECT_EQ(countOf(logText(), "unrecorded admin sweep unit 1 (admin=1): 2 ok, 0 fail, 0 skip"), 1) << logText();
  tickAt("2031-01-03 08:00");
  tickAt("2031-01-04 08:00");
  EXPECT_NE(runs().find("power_off failed Superseded by a new occurrence: 1 success, 2 success; power_off running"),
            std::string::npos)
      << runs();
}

TEST_F(SchedulerTest, theWorseOfStartAndEndIsKeptForEachPort) {
  createWindow("power_off", "08:00", "09:00", R"("ifNums":[1,2,3,4,5])");
  ASSERT_EQ(portLockTry(1, 1), 0);  // as another run does
  failCalls(switchsim::Operation::adminEnableSet, 2, -1, 1);
  EXPECT_EQ(tickAt("2032-01-01 08:00"), "2-! 3- 4- 5-");
  EXPECT_EQ(runs(),
            "power_off running: 1 skipped port busy, 2 failed power_off failed, 3 success, 4 success, 5 success");
  portLockRelease(1, 1);
  ASSERT_EQ(portLockTry(1, 3), 0);
  failCalls(switchsim::Operation::adminEnableSet, 4, -1, 1);
  EXPECT_EQ(tickAt("2032-01-01 09:00"), "1+ 2+ 4+! 5+");
  EXPECT_EQ(runs(),
            "power_off partial: 1 skipped port busy, 2 failed power_off failed, 3 skipped port busy, "
            "4 failed restore failed, 5 success");
  portLockRelease(1, 3);
}

TEST_F(SchedulerTest, aWindowWhoseScheduleIsGoneOrWhoseEndNeverCameIsReaped) {
  const char* changes[] = {
      "DELETE FROM poe_schedule WHERE schedule_id=", "UPDATE poe_schedule SET enabled=0 WHERE schedule_id=",
      "UPDATE poe_schedule SET all_day=1, start_date='2999-01-01' WHERE schedule_id=",
      "UPDATE poe_schedule SET schedule_type='restart' WHERE schedule_id="};
  const std::string gone = "power_off failed Schedule removed or modified mid-window: 1 success";
  std::string expected;
  for (int i = 0; i < 4; ++i) {
    const int64_t id = createWindow("power_off", "08:00", "09:00", R"("ifNums":[1])");
    const std::string year = "20" + std::to_string(33 + i);
    EXPECT_EQ(tickAt(year + "-01-01 08:00"), "1-");
    executeOn(kScheduleDbPath, "PRAGMA foreign_keys=ON;" + (changes[i] + std::to_string(id)));
    EXPECT_EQ(tickAt(year + "-01-01 08:30"), "") << "the ports stay as they are";
    expected += (i > 0 ? "; " : "") + gone;
    EXPECT_EQ(runs(), expected);
    EXPECT_EQ(tickAt(year + "-01-01 09:00"), "");
  }
  createWindow("power_off", "08:00", "09:00", R"("ifNums":[1])");
  tickAt("2037-01-01 08:00");
  executeOn(kHistoryDbPath, "UPDATE poe_history SET started_at=started_at-200000 WHERE status='running';");
  tickAt("2037-01-01 08:01");
  EXPECT_EQ(query("SELECT status FROM poe_history ORDER BY run_id DESC LIMIT 1;"), "running") << "it has a stamp";
  executeOn(kHistoryDbPath, "UPDATE poe_history SET status='failed' WHERE status='running';");
  tickAt("2037-01-01 08:02");  // the stamp goes
  executeOn(kHistoryDbPath,
            "UPDATE poe_history SET status='running' WHERE run_id=(SELECT MAX(run_id) FROM poe_history);");
  tickAt("2037-01-01 08:03");
  EXPECT_EQ(query("SELECT error_message FROM poe_history ORDER BY run_id DESC LIMIT 1;"), "Window end never fired");
  EXPECT_EQ(countOf(logText(), "missing from open-run stamps; using wall-clock age"), 1) << logText();
}

TEST_F(SchedulerTest, moreOpenWindowsThanStampsAreStillRunAndRestored) {
  for (int i = 0; i < 65; ++i) {
    createWindow("power_off", "08:00", "09:00", R"("ifNums":[1])");
  }
  tickAt("2038-01-01 08:00");
  EXPECT_EQ(countOf(logText(), "open-run stamp table full; run 65 will age-reap on wall clock"), 1) << logText();
  tickAt("2038-01-01 09:00");
  EXPECT_EQ(query("SELECT COUNT(*) FROM poe_history WHERE overall_result='success';"), "65");
}

TEST_F(SchedulerTest, hundredsOfTenThousandSchedulesFireInOneMinute) {
  std::string sql = "BEGIN;";
  for (int i = 1; i <= 10000; ++i) {
    const std::string id = std::to_string(i);
    sql += "INSERT INTO poe_schedule VALUES (" + id + ",1,'s" + id + "','power_off',NULL,NULL,'weekly','" +
           (i % 20 == 0 ? "08:00" : "09:00") + "','10:00',NULL,0,0,0,0,1,0); INSERT INTO poe_schedule_days VALUES (" +
           id + ",1); INSERT INTO poe_schedule_ifs VALUES (" + id + "," + std::to_string(i % 24 + 1) + ");";
  }
  executeOn(kScheduleDbPath, sql + "COMMIT;");
  tickAt("2039-01-03 08:00");  // a Monday
  EXPECT_EQ(query("SELECT COUNT(*) FROM poe_history WHERE status='running';"), "500");
  EXPECT_EQ(switchsim::lastSeq(), 500U);
  EXPECT_EQ(
      countOf(logText(), "(ERROR)") + countOf(logText(), "(WARN)") - countOf(logText(), "open-run stamp table full"), 0)
      << logText();
}

TEST_F(SchedulerTest, theBootDelayHoldsBackWhatWasOn) {
  switchsim::SwitchOptions options;
  options.units = 8;
  options.portsPerUnit = options.poePortsPerUnit = 3;
  makeSwitch(options);
  switchsim::setAdmin(2, false);
  for (int32_t unit = 1; unit <= 8; ++unit) {
    const BootDelayConfig config{unit == 8 ? 0U : 1U, ExecutionMode(unit % 2), 1};
    ASSERT_EQ(bootDelayConfigSet(unit, &config), 0);
  }
  failCalls(switchsim::Operation::adminEnableSet, 6, -1, 2);  // off fails unseen, on is recorded
  runBootDelay();
  EXPECT_EQ(acts(1), "1- 3- 4- 5- 6-! 7- 8- 9- 10- 11- 12- 13- 14- 15- 16- 17- 18- 19- 20- 21-");
  ASSERT_TRUE(waitUntil([] { return query("SELECT COUNT(*) FROM poe_history WHERE status='running';") == "0"; }));
  EXPECT_EQ(runs().substr(0, 134),
            "power_on success: 1 success, 3 success; power_on partial: 4 success, 5 success, "
            "6 failed re-enable failed; power_on success: 7 success")
      << runs();
  std::map<uint32_t, int64_t> cameOn;
  for (const switchsim::JournalEntry& entry : switchsim::journalSince(21)) {
    cameOn[entry.ifNum] = entry.monoMs;
  }
  EXPECT_EQ(cameOn.size(), 20U) << acts(21);
  EXPECT_EQ(cameOn.count(2) + cameOn.count(22), 0U) << "what was off, and a unit without a delay";
  EXPECT_GE(cameOn[8] - cameOn[7], 1000) << "one after the other";
  EXPECT_GE(cameOn[9] - cameOn[8], 1000);
  EXPECT_EQ(countOf(logText(), "boot delay unit 1 finished: 2 ok, 0 fail (mode=sequential, ipd=1)"), 1) << logText();
}

TEST_F(SchedulerTest, portsComeBackAtOnceWhenTheBootDelayCannotBeKept) {
  const BootDelayConfig config{600, EXECUTION_SIMULTANEOUS, 0};
  ASSERT_EQ(bootDelayConfigSet(1, &config), 0);
  executeOn(kHistoryDbPath, "CREATE TRIGGER no BEFORE INSERT ON poe_history BEGIN SELECT RAISE(ABORT, 'no'); END;");
  runBootDelay();
  EXPECT_EQ(switchsim::lastSeq(), 48U);
  EXPECT_EQ(countOf(acts(24), "+"), 24);
}

// The real daemon, whose clock and the switch's run on from a time.
class SchedulerDaemonTest : public RootTest {
 protected:
  void startAt(const std::string& time) {
    daemon_.emplace(TEST_DAEMON, "@2028-02-28 " + time + " x20");
    ASSERT_TRUE(daemon_->startReady()) << logText();
  }
  static std::string createWindow(const char* start, const char* end, int delaySec) {
    return rpc("schedule.create",
               std::string(R"({"unit":1,"schedule":{"name":"w","scheduleType":"power_off","recurrence":"daily",)") +
                   R"("executionMode":"sequential","interPortDelaySec":)" + std::to_string(delaySec) +
                   R"(,"startTime":")" + start + R"(","endTime":")" + end + R"(","ifNums":[1,2,3]}})");
  }
  static void createRestart(const std::string& time, const std::string& port) {
    const std::string schedule = R"({"scheduleType":"restart","recurrence":"daily","offTimeSec":1,"restartTime":")" +
                                 time + R"(","name":")" + time + R"(","ifNums":[)" + port + "]}";
    rpcResult("schedule.create", R"({"unit":1,"schedule":)" + schedule + "}");
  }
  static bool isSwitched(const std::string& wanted) {
    return waitUntil([&] { return acts() == wanted; });
  }

  std::optional<DaemonProcess> daemon_;
};

TEST_F(SchedulerDaemonTest, looksAtEveryMinute) {
  startAt("23:57:30");
  for (const char* time : {"23:58", "23:59", "00:00", "00:01", "00:02"}) {
    createRestart(time, "1");
  }
  EXPECT_TRUE(isSwitched("1- 1+ 1- 1+ 1- 1+ 1- 1+ 1- 1+")) << acts() << logText();
}

TEST_F(SchedulerDaemonTest, aSweepHoldsUpSchedulesOnlyAndAStopFinishesIt) {
  startAt("07:59:30");
  createWindow("08:00", "08:01", 3600);
  createRestart("08:01", "4");                                    // not to be begun any more
  ASSERT_TRUE(isSwitched("1- 2- 3- 1+")) << acts() << logText();  // pausing before port 2
  std::promise<std::string> listed;
  std::thread waiting([&] { listed.set_value(rpc("schedule.list", R"({"unit":1})")); });
  std::future<std::string> answer = listed.get_future();
  EXPECT_EQ(rpc("history.list", R"({"unit":1})").substr(0, 10), R"({"ok":true)");
  EXPECT_EQ(acts(), "1- 2- 3- 1+") << "the sweep was over too early to tell";
  EXPECT_EQ(answer.wait_for(std::chrono::seconds(0)), std::future_status::timeout) << "answered during the sweep";
  SocketClient early;
  daemon_->signal(SIGTERM);
  EXPECT_TRUE(waitUntil([] { return countOf(logText(), "IPC server stopped") == 1; })) << logText();
  early.sendBytes(R"({"method":"manual.reset","params":{"unit":1,"request":{"ifNums":[5],"offTimeSec":1}}})"
                  "\n");
  EXPECT_EQ(countOf(early.readAll(), "true"), 0) << "its ports might stay dark";
  EXPECT_EQ(daemon_->wait(), 0) << logText();
  waiting.join();
  EXPECT_EQ(acts(), "1- 2- 3- 1+ 2+ 3+") << "no port is left undone";
  EXPECT_EQ(queryValue(kHistoryDbPath, "SELECT overall_result FROM poe_history;"), "success");
}

TEST_F(SchedulerDaemonTest, resetsAreBoundedAndTakeNothingFromSchedules) {
  constexpr int kResets = 256;
  startAt("07:00:00");
  ASSERT_EQ(switchsim::setClock(ClockMode::frozen, "2028-02-28 07:00:00"), "");
  const std::string reset = R"({"unit":1,"request":{"ifNums":[1],"offTimeSec":1000000}})";
  for (int i = 0; i < kResets; ++i) {
    rpcResult("manual.reset", reset);
  }
  EXPECT_EQ(rpc("manual.reset", reset), R"({"ok":false,"error":10000})");
  executeOn(kScheduleDbPath,
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<500) INSERT INTO poe_schedule SELECT "
            "i,1,i,'restart',NULL,NULL,'daily',NULL,NULL,'08:00',1,0,0,0,1,0 FROM n; "
            "INSERT INTO poe_schedule_ifs SELECT schedule_id, 2 + schedule_id % 23 FROM poe_schedule;");
  ASSERT_EQ(switchsim::setClock(ClockMode::frozen, "2028-02-28 08:00:00"), "");
  const auto count = [](const std::string& runs) {
    return queryValue(kHistoryDbPath, "SELECT COUNT(*) FROM poe_history WHERE " + runs);
  };
  EXPECT_TRUE(waitUntil([&] {
    return count("schedule_id>0 AND status='completed' AND error_message IS NULL") == "500";
  })) << logText();
  EXPECT_EQ(count("error_message='spawn failed'"), "1");
}

TEST_F(SchedulerDaemonTest, aWindowIsRestoredUnrecordedAfterAKill) {
  startAt("07:59:30");
  createWindow("08:00", "09:00", 0);
  ASSERT_TRUE(isSwitched("1- 2- 3-")) << acts() << logText();
  daemon_.reset();  // a kill
  startAt("08:59:30");
  EXPECT_EQ(runs(), "power_off failed Interrupted by unexpected reboot: 1 success, 2 success, 3 success");
  EXPECT_TRUE(isSwitched("1- 2- 3- 1+ 2+ 3+")) << acts() << logText();
  EXPECT_EQ(daemon_->stop(), 0);
  EXPECT_EQ(countOf(logText(), "unrecorded admin sweep unit 1 (admin=1): 3 ok, 0 fail, 0 skip"), 1) << logText();
}

TEST_F(SchedulerDaemonTest, portsHeldBackWhenItStopsStayOff) {
  startAt("07:00:00");
  rpc("bootdelay.set", R"({"unit":1,"delaySec":600})");
  switchsim::setAdmin(24, false);
  for (const char* message : {"23 ports, runId=1", "no enabled PoE ports, skip"}) {
    EXPECT_EQ(daemon_->stop(), 0);
    startAt("07:01:00");
    EXPECT_TRUE(waitUntil([&] { return countOf(logText(), message) == 1; })) << logText();
  }
  EXPECT_EQ(switchsim::lastSeq(), 24U) << acts();
  EXPECT_EQ(runs().substr(0, 50), "power_on failed Interrupted by unexpected reboot: ");
}
