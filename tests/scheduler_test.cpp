#include <pthread.h>

#include <optional>

#include "config/boot_delay_config.h"
#include "daemon/daemon_context.h"
#include "ipc/ipc_server.h"
#include "poe/port_locks.h"
#include "scheduler/boot_delay.h"
#include "scheduler/switch_time.h"
#include "tests/support/daemon_process.h"

using switchsim::ClockMode;

namespace {

using SchedulerTest = TickTest;

// No thread can be started meanwhile: none finds room for its stack.
void withoutThreads(const std::function<void()>& work) {
  pthread_attr_t normal;
  pthread_getattr_default_np(&normal);
  pthread_attr_t endless = normal;
  pthread_attr_setstacksize(&endless, SIZE_MAX / 4 * 3);
  pthread_setattr_default_np(&endless);
  work();
  pthread_setattr_default_np(&normal);
}

}  // namespace

TEST_F(SchedulerTest, textsAndCodesAreReadByTheirRulesAndFireOnceInTheirMinuteOnly) {
  executeOn(kScheduleDbPath, R"sql(
      INSERT INTO poe_schedule VALUES
        (1, 1, '1', 'power_off', '', '', 'daily', '7:30', 'x', '', 0, 0, 0, 0, 1, 0),
        (2, 1, '2', 'power_off', 'x', '2024-1', 'daily', '24:00', '07:30', '', 0, 0, 0, 0, 1, 0),
        (3, 1, '3', 'power_off', '', '', 'daily', '24:00', '7:60', '', 0, 0, 0, 0, 1, 0),
        (4, 1, '4', 'restart', '', '', 'daily', '7:30', '7:30', '-7:30', 0, 0, 0, 0, 1, 0),
        (5, 1, '5', 'restart', '', '', 'daily', '', '', '07:30', 0, 0, 0, 1, 1, 0),
        (6, 1, '6', 'unknown', '', '', 'daily', '7:30', '7:30', '7:30', 0, 0, 0, 1, 1, 0),
        (7, 1, '7', 'restart', '', '', 'yearly', '', '', '7:30', 0, 0, 0, 0, 1, 0),
        (8, 1, '8', 'restart', '2024-02-28', '2024-3-1', 'daily', '', '', '7:30', 0, 0, 0, 0, 1, 0),
        (9, 1, '9', 'restart', '', '', 'weekly', '', '', '23:59', 0, 0, 0, 0, 1, 0),
        (10, 1, '10', 'restart', '', '', 'monthly', '', '', '0:0', 0, 0, 0, 0, 1, 0),
        (11, 1, '11', 'restart', '', '', 'monthly', '', '', '7:30', 0, 0, 0, 0, 1, 0),
        (12, 1, '12', 'power_off', '', '2024-02-25', 'daily', '', '', '', 0, 0, 0, 1, 1, 0);
      INSERT INTO poe_schedule_days VALUES (7, 0), (9, 7), (10, 29), (10, 31);
      INSERT INTO poe_schedule_ifs SELECT schedule_id, schedule_id FROM poe_schedule;)sql");

  // Also where the clock stands still or goes back.
  for (const auto& [minute, done] : rowsOf(R"(02-24 09:00 -> 12-; 02-25 00:00 -> 12-
02-25 23:59 -> 9r; 02-25 23:59 -> ; 02-26 23:59 -> ; 02-27 07:30 -> 1- 2+ 5r; 02-27 07:30 ->
02-27 08:00 -> ; 02-27 16:30 -> ; 02-28 00:00 -> ; 02-28 07:00 -> ; 02-28 07:30 -> 1- 2+ 5r 8r
02-28 19:30 -> ; 02-29 00:00 -> 10r; 03-01 07:30 -> 1- 2+ 5r 8r; 03-01 06:00 -> ; 03-01 07:30 ->
03-02 07:30 -> 1- 2+ 5r; 03-30 00:00 -> ; 03-31 00:00 -> 10r; 03-31 23:59 -> 9r)")) {
    EXPECT_EQ(tickAt("2024-" + minute), done) << minute;
  }
}

TEST_F(SchedulerTest, whileTheSwitchTellsNoTimeTheDaemonsOwnCounts) {
  const char* warning = "scheduler: openapiClockGet failed; using localtime_r fallback";
  create(R"("scheduleType":"power_off","allDay":true)");
  EXPECT_EQ(tickAt("2030-05-01 12:00"), "1-");
  EXPECT_EQ(logged(warning), 0);
  switchsim::setClock(ClockMode::fail);
  EXPECT_EQ(tick(), "1-");
  EXPECT_GE(logged(warning), 1) << "once more where a minute turns meanwhile";
  TickTime time;
  EXPECT_FALSE(parseSwitchTime("2024-03-05 07:05", &time) || parseSwitchTime("", &time));
}

TEST_F(SchedulerTest, aWindowSwitchesItsPortsAndPutsThemBack) {
  const std::string noRun = "endTime: no open run for this occurrence; sweeping without recording";
  createWindow("power_off", "08:00", "09:00",
               R"("ifNums":[2,1],"executionMode":"sequential","interPortDelaySec":1)");
  createWindow("power_on", "10:00", "11:00", R"("ifNums":[3,200])");
  EXPECT_EQ(tickAt("2031-01-01 08:00"), "1- 2-");
  EXPECT_EQ(runs(), "power_off running: 1 success, 2 success");
  EXPECT_EQ(tickAt("2031-01-01 09:00"), "1+ 2+");
  const auto entries = switchsim::journalSince(0);
  EXPECT_GE(entries[3].monoMs - entries[2].monoMs, 1000) << "power comes back port by port";
  EXPECT_EQ(tickAt("2031-01-01 10:00"), "3+");
  EXPECT_EQ(tickAt("2031-01-01 11:00"), "3-");
  EXPECT_EQ(runs(),
            "power_off success: 1 success, 2 success; power_on success: 3 success, 200 skipped "
            "ifNum not in unit's PoE port range");

  EXPECT_EQ(logged(noRun), 0);
  EXPECT_EQ(tickAt("2031-01-02 09:00"), "1+ 2+") << "restored also without a run";
  EXPECT_EQ(logged(noRun), 1);
  EXPECT_EQ(logged("unrecorded admin sweep unit 1 (admin=1): 2 ok, 0 fail, 0 skip"), 1);

  createWindow("power_on", "10:30", "11:30",
               R"("ifNums":[5,4],"executionMode":"sequential","interPortDelaySec":60)");
  const uint64_t before = switchsim::lastSeq();
  EXPECT_EQ(tickAt("2031-01-02 11:30"), "4- 5-");
  const auto dark = switchsim::journalSince(before);
  EXPECT_LT(dark[1].monoMs - dark[0].monoMs, 60000) << "only power that comes back is paced";

  tickAt("2031-01-03 08:00");
  tickAt("2031-01-04 08:00");
  const char* superseded =
      "power_off failed Superseded by a new occurrence: 1 success, 2 success; power_off running";
  EXPECT_EQ(countOf(runs(), superseded), 1) << runs();
}

TEST_F(SchedulerTest, theWorseOfStartAndEndIsKeptForEachPort) {
  createWindow("power_off", "08:00", "09:00", R"("ifNums":[1,2,3,4,5])");
  ASSERT_EQ(portLockTry(1, 1), 0);  // as another run does
  failCalls(switchsim::Operation::adminEnableSet, 2, -1, 1);
  EXPECT_EQ(tickAt("2032-01-01 08:00"), "2-! 3- 4- 5-");
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
  std::string reaped;
  for (const char port : {'1', '2', '3', '4'}) {
    createWindow("power_off", "08:00", "09:00", fill(R"("ifNums":[%])", port));
    reaped += fill("power_off failed Schedule removed or modified mid-window: % success; ", port);
  }
  EXPECT_EQ(tickAt("2033-01-01 08:00"), "1- 2- 3- 4-");

  executeOn(kScheduleDbPath, R"sql(
      PRAGMA foreign_keys=ON;
      DELETE FROM poe_schedule WHERE schedule_id=1;
      UPDATE poe_schedule SET enabled=0 WHERE schedule_id=2;
      UPDATE poe_schedule SET all_day=1, start_date='2999-01-01' WHERE schedule_id=3;
      UPDATE poe_schedule SET schedule_type='restart' WHERE schedule_id=4;)sql");
  EXPECT_EQ(tickAt("2033-01-01 08:30"), "") << "the ports stay as they are";
  EXPECT_EQ(runs() + "; ", reaped);
  EXPECT_EQ(tickAt("2033-01-01 09:00"), "");

  createWindow("power_off", "10:00", "11:00", R"("ifNums":[1])");
  tickAt("2033-01-01 10:00");
  query("UPDATE poe_history SET status='failed', started_at=0 WHERE status='running'");
  tickAt("2033-01-01 10:02");  // the stamp goes
  query("UPDATE poe_history SET status='running' WHERE run_id=5");
  tickAt("2033-01-01 10:03");
  EXPECT_EQ(runCount("error_message='Window end never fired'"), 1);
  EXPECT_EQ(logged("missing from open-run stamps; using wall-clock age"), 1);
}

TEST_F(SchedulerTest, asManyAsCanBeRememberedOfTenThousandSchedulesFireInOneMinuteOnce) {
  executeOn(kScheduleDbPath, R"sql(
      WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<10000)
        INSERT INTO poe_schedule SELECT i, 1, i, 'power_off', NULL, NULL, 'weekly',
          iif(i%39<=1, '08:00', '07:00'), iif(i%39<=1, '09:00', '10:00'), NULL, 0, 0, 0, 0, 1, 0
        FROM n;
      INSERT INTO poe_schedule_days SELECT schedule_id, 1+(schedule_id%39=1) FROM poe_schedule;
      INSERT INTO poe_schedule_ifs SELECT schedule_id, 1+schedule_id%24 FROM poe_schedule;)sql");
  tickAt("2039-01-03 08:00");  // a Monday
  EXPECT_EQ(runCount("status='running'"), 256);
  EXPECT_EQ(logged("open-run stamp table full; run 65 will age-reap on wall clock"), 1);
  EXPECT_EQ(logged("(ERROR)") + logged("(WARN)"), logged("open-run stamp table full"));
  EXPECT_EQ(tickAt("2039-01-03 08:00"), "");
  EXPECT_EQ(switchsim::lastSeq(), 256U);
  tickAt("2039-01-03 09:00");
  EXPECT_EQ(runCount("overall_result='success'"), 256) << "also without a stamp";
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
  ASSERT_TRUE(waitUntil([] { return runCount("status='running'") == 0; }));
  EXPECT_EQ(runs().substr(0, 134),
            "power_on success: 1 success, 3 success; power_on partial: 4 success, 5 success, "
            "6 failed re-enable failed; power_on success: 7 success")
      << runs();

  // Neither what was off nor a unit without a delay.
  EXPECT_EQ(actsByPort(1),
            "1- 1+ 3- 3+ 4- 4+ 5- 5+ 6-! 6+! 7- 7+ 8- 8+ 9- 9+ 10- 10+ 11- 11+ 12- 12+ 13- 13+ "
            "14- 14+ 15- 15+ 16- 16+ 17- 17+ 18- 18+ 19- 19+ 20- 20+ 21- 21+");

  std::map<uint32_t, int64_t> lastMs;
  for (const switchsim::JournalEntry& entry : switchsim::journalSince(1)) {
    lastMs[entry.ifNum] = entry.monoMs;
  }
  EXPECT_GE(lastMs[8] - lastMs[7], 1000) << "one after the other";
  EXPECT_GE(lastMs[9] - lastMs[8], 1000);
  EXPECT_TRUE(waitForLog("boot delay unit 1 finished: 2 ok, 0 fail (mode=sequential, ipd=1)"));
}

TEST_F(SchedulerTest, withoutThreadsOrHistoryPortsComeBackRunsFailAndTheServerGoesOn) {
  const BootDelayConfig config{600, EXECUTION_SIMULTANEOUS, 0};
  ASSERT_EQ(bootDelayConfigSet(1, &config), 0);
  create(R"("restartTime":"12:00","ifNums":[24])");

  pthread_t server;
  ASSERT_EQ(pthread_create(&server, nullptr, ipcServerThread, nullptr), 0);
  ASSERT_TRUE(waitUntil([] { return SocketClient().connected(); }));
  SocketClient early;
  early.sendBytes(R"({"method":"manual.reset",)");
  ASSERT_TRUE(waitUntil([&] { return early.isHeard(); }));

  withoutThreads([&] {
    EXPECT_EQ(rpc("schedule.list", R"({"unit":1})"), "");
    early.sendBytes(R"("params":{"unit":1,"request":{"ifNums":[24],"offTimeSec":1}}})"
                    "\n");
    EXPECT_EQ(early.readAll(), "{\"ok\":false,\"error\":10000}\n");
    EXPECT_EQ(tickAt("2041-01-01 12:00"), "");
    const std::string failed = "restart failed spawn failed: 24 failed spawn failed";
    EXPECT_EQ(runs(), failed + "; " + failed);
    runBootDelay();
  });

  query("CREATE TRIGGER t BEFORE INSERT ON poe_history BEGIN SELECT RAISE(ABORT, ''); END");
  runBootDelay();
  EXPECT_EQ(switchsim::lastSeq(), 96U);
  EXPECT_EQ(countOf(acts(24), "+") - countOf(acts(48), "+") + countOf(acts(72), "+"), 48) << acts();
  EXPECT_EQ(countOf(runs(), "power_on failed spawn failed: 1 failed"), 1) << runs();
  EXPECT_EQ(rpc("schedule.list", R"({"unit":1})").substr(0, 10), R"({"ok":true)");
  EXPECT_EQ(logged("client worker create failed"), 1);
  EXPECT_EQ(logged("executor could not be started: Resource temporarily unavailable"), 2);

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
    ASSERT_TRUE(daemon_->startReady());
  }
  static void setTime(const std::string& time) {
    switchsim::setClock(ClockMode::frozen, "2028-02-28 " + time + ":00");
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
  ASSERT_TRUE(isSwitched("1- 2- 3-")) << acts();

  setTime("08:01");
  ASSERT_TRUE(isSwitched("1- 2- 3- 1+")) << acts();  // pausing before port 2
  std::promise<std::string> listed;
  std::thread waiting([&] { listed.set_value(rpc("schedule.list", R"({"unit":1})")); });
  std::future<std::string> answer = listed.get_future();
  EXPECT_EQ(rpc("history.list", R"({"unit":1})").substr(0, 10), R"({"ok":true)");
  EXPECT_EQ(acts(), "1- 2- 3- 1+") << "the sweep was over too early to tell";
  EXPECT_EQ(answer.wait_for(std::chrono::seconds(0)), std::future_status::timeout);

  SocketClient early;
  daemon_->signal(SIGTERM);
  EXPECT_TRUE(waitForLog("IPC server stopped"));
  early.sendBytes(
      R"({"method":"manual.reset","params":{"unit":1,"request":{"ifNums":[5],"offTimeSec":1}}})"
      "\n");
  EXPECT_EQ(countOf(early.readAll(), "true"), 0) << "its ports might stay dark";
  EXPECT_EQ(daemon_->wait(), 0);
  waiting.join();
  EXPECT_EQ(acts(), "1- 2- 3- 1+ 2+ 3+") << "no port is left undone";
  EXPECT_EQ(query("SELECT overall_result FROM poe_history;"), "success");
}

TEST_F(SchedulerDaemonTest, resetsAreBoundedAndTakeNothingFromSchedules) {
  constexpr int kResets = 256;
  startAt("07:00");
  const std::string reset = R"({"unit":1,"request":{"ifNums":[1],"offTimeSec":1000000}})";
  for (int i = 0; i < kResets; ++i) {
    rpcResult("manual.reset", reset);
  }
  EXPECT_EQ(rpc("manual.reset", reset), R"({"ok":false,"error":10000})");

  executeOn(kScheduleDbPath, R"sql(
      WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<500)
        INSERT INTO poe_schedule SELECT i, 1, i, 'restart', NULL, NULL, 'daily', NULL, NULL,
          '08:00', 1, 0, 0, 0, 1, 0 FROM n;
      INSERT INTO poe_schedule_ifs SELECT schedule_id, 2+schedule_id%23 FROM poe_schedule;)sql");

  setTime("08:00");
  EXPECT_TRUE(waitUntil([] {
    return runCount("schedule_id>0 AND status='completed' AND error_message IS NULL") >= 500;
  })) << "more fire again, once the next tick has come, for not all are remembered";
  EXPECT_EQ(runCount("error_message='spawn failed'"), 1);
}

TEST_F(SchedulerDaemonTest, portsHeldBackWhenItStopsStayOff) {
  startAt("07:00", 10);
  rpc("bootdelay.set", R"({"unit":1,"delaySec":600})");
  switchsim::setAdmin(24, false);
  for (const char* message : {"23 ports, runId=1", "no enabled PoE ports, skip"}) {
    EXPECT_EQ(daemon_->stop(), 0);
    startAt("07:01", 10);
    EXPECT_TRUE(waitForLog(message));
  }
  EXPECT_EQ(switchsim::lastSeq(), 24U) << acts();
  EXPECT_EQ(runs().substr(0, 50), "power_on failed Interrupted by unexpected reboot: ");
}
