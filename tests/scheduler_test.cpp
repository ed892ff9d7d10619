#include <pthread.h>

#include <csignal>
#include <optional>

#include "config/boot_delay_config.h"
#include "config/schedule_json.h"
#include "daemon/daemon_context.h"
#include "daemon/paths.h"
#include "ipc/ipc_server.h"
#include "poe/port_locks.h"
#include "scheduler/boot_delay.h"
#include "scheduler/due_firings.h"
#include "scheduler/switch_time.h"
#include "tests/support/daemon_process.h"
#include "tests/support/socket_client.h"

using switchsim::ClockMode;

namespace {

using SchedulerTest = TickTest;

// While it lives no thread can be started: none finds room for its stack.
class NoMoreThreads {
 public:
  NoMoreThreads() {
    pthread_getattr_default_np(&before_);
    pthread_attr_t endless = before_;
    pthread_attr_setstacksize(&endless, size_t{1} << 50);
    pthread_setattr_default_np(&endless);
  }
  ~NoMoreThreads() { pthread_setattr_default_np(&before_); }

 private:
  pthread_attr_t before_;
};

}  // namespace

TEST(ScheduleEvalTest, aYearOfMinutesHoldsTheFiringsThatACalendarHolds) {
  const auto never = [](const tm&) { return false; };
  const auto at730 = [](const tm& t) { return t.tm_hour == 7 && t.tm_min == 30; };
  const auto leapDays = [](const tm& t) {
    return t.tm_hour == 7 && t.tm_min == 30 && t.tm_yday >= 58 && t.tm_yday <= 60;
  };
  const auto sundays = [](const tm& t) {
    return t.tm_wday == 0 && t.tm_hour == 23 && t.tm_min == 59;
  };
  const auto last = [](const tm& t) {
    return (t.tm_mday == 29 || t.tm_mday == 31) && t.tm_hour + t.tm_min == 0;
  };
  const auto asSent = [](PoeSchedule&) {};
  using Change = void (*)(PoeSchedule&);  // to what no client can send
  const std::tuple<const char*, std::string, bool (*)(const tm&), Change> cases[] = {
      {"a window", R"("scheduleType":"power_off","startTime":"7:30","endTime":"x")", at730, asSent},
      {"a window's end",
       R"("scheduleType":"power_off","startTime":"24:00","endTime":"07:30","startDate":"x","endDate":"2024-1")",
       at730, asSent},
      {"hours of the next day",
       R"("scheduleType":"power_off","startTime":"24:00","endTime":"7:60")", never, asSent},
      {"negative hours", R"("restartTime":"-7:30","startTime":"7:30","endTime":"7:30")", never,
       asSent},
      {"all day on a restart", "", at730, [](PoeSchedule& s) { s.allDay = 1; }},
      {"an unknown type", R"("startTime":"7:30","endTime":"7:30")", never,
       [](PoeSchedule& s) { s.type = ScheduleType::unknown, s.allDay = 1; }},
      {"an unknown recurrence", "", never,
       [](PoeSchedule& s) { s.recurrence = Recurrence::unknown, s.days = {0}; }},
      {"dates", R"("startDate":"2024-02-28","endDate":"2024-3-1")", leapDays, asSent},
      {"Sundays", R"("recurrence":"weekly","recurrenceDays":[7],"restartTime":"23:59")", sundays,
       asSent},
      {"the 29th and 31st",
       R"("recurrence":"monthly","recurrenceDays":[29,31],"restartTime":"0:0")", last, asSent},
      {"no days", R"("recurrence":"monthly")", never, asSent},
  };
  for (const auto& [what, members, expected, change] : cases) {
    PoeSchedule schedule;
    ASSERT_EQ(scheduleFromJson(jsonParse(scheduleJson(members).c_str()).get(), &schedule), 0)
        << what;
    change(schedule);
    int wrong = 0;
    for (time_t second = 1704067200; second < 1735689600; second += 60) {  // 2024, a leap year
      tm t{};
      gmtime_r(&second, &t);
      const TickTime now{t.tm_year + 1900, t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, 0,
                         t.tm_wday};
      const int32_t day = recurrenceDay(schedule.recurrence, now);
      const bool itsDay =
          day == 0 || std::count(schedule.days.begin(), schedule.days.end(), day) > 0;
      wrong += (scheduleDue(schedule, now).any() && itsDay) != expected(t) ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0) << what;
  }
}

TEST(SwitchTimeTest, onlyATextOfSixNumbersIsReadAsACalendarTime) {
  TickTime t;
  EXPECT_FALSE(parseSwitchTime("2024-03-05 07:05", &t) || parseSwitchTime("", &t));
  EXPECT_TRUE(parseSwitchTime("2024-02-29 23:59:58", &t));
  const std::array<int, 7> read{t.year, t.month, t.day, t.hour, t.minute, t.second, t.weekday};
  EXPECT_EQ(read, (std::array<int, 7>{2024, 2, 29, 23, 59, 58, 4}));
}

TEST_F(SchedulerTest, anOccurrenceFiresOnceHoweverOftenItsMinuteIsSeen) {
  createWindow("power_off", "12:00", "12:00", R"("ifNums":[1])");
  create(R"("scheduleType":"power_off","allDay":true,"ifNums":[2])");
  create(R"("restartTime":"12:00","ifNums":[3])");
  const std::string warning = "scheduler: openapiClockGet failed; using localtime_r fallback";
  EXPECT_EQ(tickAt("2030-05-01 12:00"), "1- 1+ 2- 3- 3+");
  EXPECT_EQ(tickAt("2030-05-01 12:00"), "") << "the clock stands still";
  EXPECT_EQ(tickAt("2030-05-01 11:00") + tickAt("2030-05-01 12:00"), "") << "the clock went back";
  EXPECT_EQ(tickAt("2030-05-02 00:00"), "2-") << "the next day";
  EXPECT_EQ(countOf(logText(), warning), 0);
  ASSERT_EQ(switchsim::setClock(ClockMode::fail), "");
  EXPECT_EQ(countOf(tick(), "2-"), 1) << "by the daemon's own time, which may be noon";
  EXPECT_GE(countOf(logText(), warning), 1)
      << logText();  // once more where a minute turns meanwhile
}

TEST_F(SchedulerTest, aWindowSwitchesItsPortsAndPutsThemBack) {
  const std::string noRun = "endTime: no open run for this occurrence; sweeping without recording";
  createWindow("power_off", "08:00", "09:00",
               R"("ifNums":[2,1],"executionMode":"sequential","interPortDelaySec":1)");
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
  EXPECT_EQ(countOf(logText(), "unrecorded admin sweep unit 1 (admin=1): 2 ok, 0 fail, 0 skip"), 1)
      << logText();
  createWindow("power_on", "10:30", "11:30",
               R"("ifNums":[5,4],"executionMode":"sequential","interPortDelaySec":60)");
  const uint64_t before = switchsim::lastSeq();
  EXPECT_EQ(tickAt("2031-01-02 11:30"), "4- 5-");
  const auto dark = switchsim::journalSince(before);
  EXPECT_LT(dark[1].monoMs - dark[0].monoMs, 60000) << "only power that comes back is paced";
  tickAt("2031-01-03 08:00");
  tickAt("2031-01-04 08:00");
  EXPECT_NE(runs().find("power_off failed Superseded by a new occurrence: 1 success, 2 success; "
                        "power_off running"),
            std::string::npos)
      << runs();
}

TEST_F(SchedulerTest, theWorseOfStartAndEndIsKeptForEachPort) {
  createWindow("power_off", "08:00", "09:00", R"("ifNums":[1,2,3,4,5])");
  ASSERT_EQ(portLockTry(1, 1), 0);  // as another run does
  failCalls(switchsim::Operation::adminEnableSet, 2, -1, 1);
  EXPECT_EQ(tickAt("2032-01-01 08:00"), "2-! 3- 4- 5-");
  EXPECT_EQ(runs(),
            "power_off running: 1 skipped port busy, 2 failed power_off failed, 3 success, 4 "
            "success, 5 success");
  portLockRelease(1, 1);
  ASSERT_EQ(portLockTry(1, 3), 0);
  failCalls(switchsim::Operation::adminEnableSet, 4, -1, 1);
  EXPECT_EQ(tickAt("2032-01-01 09:00"), "1+ 2+ 4+! 5+");
  EXPECT_EQ(
      runs(),
      "power_off partial: 1 skipped port busy, 2 failed power_off failed, 3 skipped port busy, "
      "4 failed restore failed, 5 success");
  portLockRelease(1, 3);
}

TEST_F(SchedulerTest, aWindowWhoseScheduleIsGoneOrWhoseEndNeverCameIsReaped) {
  const char* changes[] = {
      "DELETE FROM poe_schedule WHERE schedule_id=",
      "UPDATE poe_schedule SET enabled=0 WHERE schedule_id=",
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
  executeOn(kHistoryDbPath,
            "UPDATE poe_history SET status='failed', started_at=started_at-200000 WHERE "
            "status='running';");
  tickAt("2037-01-01 08:02");  // the stamp goes
  executeOn(kHistoryDbPath,
            "UPDATE poe_history SET status='running' WHERE run_id=(SELECT MAX(run_id) FROM "
            "poe_history);");
  tickAt("2037-01-01 08:03");
  EXPECT_EQ(query("SELECT error_message FROM poe_history ORDER BY run_id DESC LIMIT 1;"),
            "Window end never fired");
  EXPECT_EQ(countOf(logText(), "missing from open-run stamps; using wall-clock age"), 1)
      << logText();
}

TEST_F(SchedulerTest, asManyAsCanBeRememberedOfTenThousandSchedulesFireInOneMinuteOnce) {
  std::string sql = "BEGIN;";
  for (int i = 1; i <= 10000; ++i) {
    const std::string id = std::to_string(i);
    const std::string times = i % 39 <= 1 ? "'08:00','09:00'" : "'07:00','10:00'";
    sql += "INSERT INTO poe_schedule VALUES (" + id + ",1,'s" + id +
           "','power_off',NULL,NULL,'weekly'," + times +
           ",NULL,0,0,0,0,1,0); INSERT INTO poe_schedule_days VALUES (" + id +
           (i % 39 == 1 ? ",2" : ",1") + "); INSERT INTO poe_schedule_ifs VALUES (" + id + "," +
           std::to_string(i % 24 + 1) + ");";
  }
  executeOn(kScheduleDbPath, sql + "COMMIT;");
  tickAt("2039-01-03 08:00");  // a Monday
  EXPECT_EQ(query("SELECT COUNT(*) FROM poe_history WHERE status='running';"), "256");
  EXPECT_EQ(countOf(logText(), "open-run stamp table full; run 65 will age-reap on wall clock"), 1)
      << logText();
  EXPECT_EQ(countOf(logText(), "(ERROR)") + countOf(logText(), "(WARN)") -
                countOf(logText(), "open-run stamp table full"),
            0)
      << logText();
  EXPECT_EQ(tickAt("2039-01-03 08:00"), "");
  EXPECT_EQ(switchsim::lastSeq(), 256U);
  tickAt("2039-01-03 09:00");
  EXPECT_EQ(query("SELECT COUNT(*) FROM poe_history WHERE overall_result='success';"), "256")
      << "also without a stamp";
}

TEST_F(SchedulerTest, theBootDelayHoldsBackWhatWasOn) {
  makeSwitch({8, 3, 3});
  switchsim::setAdmin(2, false);
  for (int32_t unit = 1; unit <= 8; ++unit) {
    const BootDelayConfig config{unit == 8 ? 0U : 1U, ExecutionMode(unit % 2), 1};
    ASSERT_EQ(bootDelayConfigSet(unit, &config), 0);
  }
  failCalls(switchsim::Operation::adminEnableSet, 6, -1, 2);  // off fails unseen, on is recorded
  runBootDelay();
  ASSERT_TRUE(waitUntil(
      [] { return query("SELECT COUNT(*) FROM poe_history WHERE status='running';") == "0"; }));
  EXPECT_EQ(runs().substr(0, 134),
            "power_on success: 1 success, 3 success; power_on partial: 4 success, 5 success, "
            "6 failed re-enable failed; power_on success: 7 success")
      << runs();
  std::string wentOff;
  std::map<uint32_t, int64_t> cameOn;
  for (const switchsim::JournalEntry& entry : switchsim::journalSince(1)) {
    wentOff += entry.value == 0 ? std::to_string(entry.ifNum) + " " : "";
    cameOn[entry.ifNum] = entry.value != 0 ? entry.monoMs : 0;
  }
  EXPECT_EQ(wentOff, "1 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 ");
  EXPECT_EQ(cameOn.size(), 20U) << acts();
  EXPECT_EQ(cameOn.count(2) + cameOn.count(22), 0U) << "what was off, and a unit without a delay";
  EXPECT_GE(cameOn[8] - cameOn[7], 1000) << "one after the other";
  EXPECT_GE(cameOn[9] - cameOn[8], 1000);
  const char* finished = "boot delay unit 1 finished: 2 ok, 0 fail (mode=sequential, ipd=1)";
  EXPECT_TRUE(waitUntil([&] { return countOf(logText(), finished) == 1; })) << logText();
}

TEST_F(SchedulerTest, withoutThreadsOrHistoryPortsComeBackRunsFailAndTheServerGoesOn) {
  const BootDelayConfig config{600, EXECUTION_SIMULTANEOUS, 0};
  ASSERT_EQ(bootDelayConfigSet(1, &config), 0);
  create(R"("restartTime":"12:00","ifNums":[24])");
  pthread_t server;
  ASSERT_EQ(pthread_create(&server, nullptr, ipcServerThread, nullptr), 0);
  ASSERT_TRUE(waitUntil([] { return SocketClient().connected(); })) << logText();
  SocketClient early;
  early.sendBytes(R"({"method":"manual.reset",)");
  ASSERT_TRUE(waitUntil([&] { return early.isHeard(); }));
  {
    const NoMoreThreads none;
    EXPECT_EQ(rpc("schedule.list", R"({"unit":1})"), "");
    early.sendBytes(R"("params":{"unit":1,"request":{"ifNums":[24],"offTimeSec":1}}})"
                    "\n");
    EXPECT_EQ(early.readAll(), "{\"ok\":false,\"error\":10000}\n") << logText();
    EXPECT_EQ(tickAt("2041-01-01 12:00"), "");
    EXPECT_EQ(runs(),
              "restart failed spawn failed: 24 failed spawn failed; restart failed spawn failed: "
              "24 failed spawn failed");
    runBootDelay();
  }
  executeOn(kHistoryDbPath,
            "CREATE TRIGGER no BEFORE INSERT ON poe_history BEGIN SELECT RAISE(ABORT, 'no'); END;");
  runBootDelay();
  EXPECT_EQ(switchsim::lastSeq(), 96U);
  EXPECT_EQ(countOf(acts(24), "+") - countOf(acts(48), "+") + countOf(acts(72), "+"), 48) << acts();
  EXPECT_EQ(countOf(runs(), "power_on failed spawn failed: 1 failed"), 1) << runs();
  EXPECT_EQ(rpc("schedule.list", R"({"unit":1})").substr(0, 10), R"({"ok":true)") << logText();
  EXPECT_EQ(countOf(logText(), "client worker create failed"), 1) << logText();
  EXPECT_EQ(countOf(logText(), "executor could not be started: Resource temporarily unavailable"),
            2)
      << logText();
  daemonContext()->stopRequested = 1;
  pthread_join(server, nullptr);
  daemonContext()->stopRequested = 0;
}

// The real daemon, whose clock runs on fast, at a time of the switch that is set by hand.
class SchedulerDaemonTest : public RootTest {
 protected:
  void startAt(const std::string& time, int speed = 60) {
    setTime(time);
    daemon_.emplace(TEST_DAEMON, speed);
    ASSERT_TRUE(daemon_->startReady()) << logText();
  }
  static void setTime(const std::string& time) {
    ASSERT_EQ(switchsim::setClock(ClockMode::frozen, "2028-02-28 " + time + ":00"), "");
  }
  static void create(const std::string& members) {
    rpcResult("schedule.create", scheduleParams(members));
  }
  static bool isSwitched(const std::string& wanted) {
    return waitUntil([&] { return acts() == wanted; });
  }

  std::optional<DaemonProcess> daemon_;
};

TEST_F(SchedulerDaemonTest, aSweepHoldsUpSchedulesOnlyAndAStopFinishesIt) {
  startAt("07:59");
  create(R"("scheduleType":"power_off","startTime":"08:00","endTime":"08:01","ifNums":[1,2,3],)"
         R"("executionMode":"sequential","interPortDelaySec":30000)");
  create(R"("name":"r","restartTime":"08:01","ifNums":[4])");  // not to be begun any more
  setTime("08:00");
  ASSERT_TRUE(isSwitched("1- 2- 3-")) << acts() << logText();
  setTime("08:01");
  ASSERT_TRUE(isSwitched("1- 2- 3- 1+")) << acts() << logText();  // pausing before port 2
  std::promise<std::string> listed;
  std::thread waiting([&] { listed.set_value(rpc("schedule.list", R"({"unit":1})")); });
  std::future<std::string> answer = listed.get_future();
  EXPECT_EQ(rpc("history.list", R"({"unit":1})").substr(0, 10), R"({"ok":true)");
  EXPECT_EQ(acts(), "1- 2- 3- 1+") << "the sweep was over too early to tell";
  EXPECT_EQ(answer.wait_for(std::chrono::seconds(0)), std::future_status::timeout)
      << "answered during the sweep";
  SocketClient early;
  daemon_->signal(SIGTERM);
  EXPECT_TRUE(waitUntil([] { return countOf(logText(), "IPC server stopped") == 1; })) << logText();
  early.sendBytes(
      R"({"method":"manual.reset","params":{"unit":1,"request":{"ifNums":[5],"offTimeSec":1}}})"
      "\n");
  EXPECT_EQ(countOf(early.readAll(), "true"), 0) << "its ports might stay dark";
  EXPECT_EQ(daemon_->wait(), 0) << logText();
  waiting.join();
  EXPECT_EQ(acts(), "1- 2- 3- 1+ 2+ 3+") << "no port is left undone";
  EXPECT_EQ(queryValue(kHistoryDbPath, "SELECT overall_result FROM poe_history;"), "success");
}

TEST_F(SchedulerDaemonTest, resetsAreBoundedAndTakeNothingFromSchedules) {
  constexpr int kResets = 256;
  startAt("07:00");
  const std::string reset = R"({"unit":1,"request":{"ifNums":[1],"offTimeSec":1000000}})";
  for (int i = 0; i < kResets; ++i) {
    rpcResult("manual.reset", reset);
  }
  EXPECT_EQ(rpc("manual.reset", reset), R"({"ok":false,"error":10000})");
  executeOn(
      kScheduleDbPath,
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<500) INSERT INTO "
      "poe_schedule SELECT "
      "i,1,i,'restart',NULL,NULL,'daily',NULL,NULL,'08:00',1,0,0,0,1,0 FROM n; "
      "INSERT INTO poe_schedule_ifs SELECT schedule_id, 2 + schedule_id % 23 FROM poe_schedule;");
  setTime("08:00");
  const auto count = [](const std::string& runs) {
    return queryValue(kHistoryDbPath, "SELECT COUNT(*) FROM poe_history WHERE " + runs);
  };
  EXPECT_TRUE(waitUntil([&] {
    // More, once the next tick has come: more fire in this minute than are remembered.
    return std::stoi(count("schedule_id>0 AND status='completed' AND error_message IS NULL")) >=
           500;
  })) << logText();
  EXPECT_EQ(count("error_message='spawn failed'"), "1");
}

TEST_F(SchedulerDaemonTest, portsHeldBackWhenItStopsStayOff) {
  startAt("07:00", 10);
  rpc("bootdelay.set", R"({"unit":1,"delaySec":600})");
  switchsim::setAdmin(24, false);
  for (const char* message : {"23 ports, runId=1", "no enabled PoE ports, skip"}) {
    EXPECT_EQ(daemon_->stop(), 0);
    startAt("07:01", 10);
    EXPECT_TRUE(waitUntil([&] { return countOf(logText(), message) == 1; })) << logText();
  }
  EXPECT_EQ(switchsim::lastSeq(), 24U) << acts();
  EXPECT_EQ(runs().substr(0, 50), "power_on failed Interrupted by unexpected reboot: ");
}
