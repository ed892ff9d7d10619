#include <cjson/cJSON.h>

#include "base/database.h"
#include "daemon/daemon_context.h"
#include "history/cleanup_thread.h"
#include "history/history_queries.h"
#include "history/history_store.h"
#include "history/run_lifecycle.h"
#include "tests/support/daemon_process.h"

namespace {

constexpr int64_t k30DaysSec = int64_t{30} * 86400;

int64_t beginRun(const std::vector<uint32_t>& ifNums, RunBeginRequest request = {1}) {
  request.ifNums = ifNums.data();
  request.ifCount = static_cast<int32_t>(ifNums.size());
  return historyRunBegin(&request);
}

// One step of a script on a run, with its number as its time and "m" and its number as its message.
int32_t playStep(int64_t run, const std::string& step, int64_t number) {
  const std::string message = "m" + std::to_string(number);
  if (step == "reset") return historyPortsResetSuccessToPending(run);
  if (step == "force") return historyRunForceFail(run, message.c_str());
  if (step == "derive") return historyRunFinishDerived(run, message.c_str(), number);
  if (step == "derive-") return historyRunFinishDerived(run, nullptr, number);
  if (step == "reconcile") return historyReconcileInterruptedRuns() - 1;
  const int32_t argument = std::stoi(step.substr(1));
  if (step[0] == '=') return historyRunFinish(run, argument, message.c_str(), number);
  const size_t outcome = std::string("SFKNXsfknx").find(step[0]) % 5;
  const auto record = isupper(step[0]) != 0 ? historyPortRecord : historyPortRecordWorst;
  return record(run, static_cast<uint32_t>(argument), static_cast<int32_t>(outcome),
                message.c_str(), number);
}

}  // namespace

class HistoryTest : public StoreTest {
 protected:
  static std::string ofRun(int64_t run, const std::string& what,
                           const char* table = "poe_history") {
    return query(fill("SELECT % FROM % WHERE run_id=%", what, table, run));
  }
  static void updateRuns(const std::string& change) {
    ASSERT_EQ(query("UPDATE poe_history SET " + change), "");
  }

  // A run, then its ports: state (two letters), time (* is later than any script's) and message if
  // it is not that of the step of that time. - is NULL.
  static std::string show(int64_t run) {
    return ofRun(run, R"sql(
        status || ' ' || ifnull(overall_result, '-') || ' ' || ifnull(error_message, '-') || ' ' ||
        ifnull(iif(completed_at>1000000, '*', completed_at), '-'))sql") +
           " | " +
           ofRun(run, R"sql(
        group_concat(if_num || substr(status, 1, 2) || iif(executed_at<1000000, executed_at, '*') ||
          ifnull(replace('"'||error_msg||'"', '"m'||executed_at||'"', ''), '-'), ' '))sql",
                 "(SELECT * FROM poe_history_port ORDER BY if_num)");
  }

  // Plays a script on a new run and shows the run and the codes other than 0. P1 stands for port 1
  // in the run from its begin; S1 F1 K1 N1 X1 record a success, failure, skip, not-applicable and
  // an unknown outcome on port 1, in lower case if worse; =3 finishes with result 3.
  static std::string play(const std::string& script, const RunBeginRequest& request = {1}) {
    std::istringstream steps(script);
    std::vector<size_t> ports;
    std::string step;
    while (steps >> step && step[0] == 'P') ports.push_back(std::stoul(step.substr(1)));
    const int64_t run = beginRun({ports.begin(), ports.end()}, request);
    std::string codes;
    for (int64_t number = 1; steps; steps >> step, ++number) {
      const int32_t code = playStep(run, step, number);
      codes += code != 0 ? " " + std::to_string(code) : "";
    }
    return show(run) + codes;
  }
};

TEST_F(HistoryTest, aPortTakesOutcomesAsItsStateAllows) {
  // From each state: ports 1 to 5 get every outcome recorded, 6 to 10 only if it is worse.
  const std::pair<char, const char*> cases[] = {
      {'-', "1su1 2fa2 3sk3 4no4 5fa5 6su6 7fa7 8sk8 9no9 10fa10"},
      {'P', "1su1 2fa2 3sk3 4no4 5fa5 6su6 7fa7 8sk8 9no9 10fa10"},
      {'S', "1su11 2fa12 3sk13 4no14 5fa15 6su6 7fa17 8sk18 9su9 10fa20"},
      {'N', "1su11 2fa12 3sk13 4no14 5fa15 6no6 7fa17 8sk18 9no9 10fa20"},
      {'K', "1su11 2fa12 3sk13 4no14 5fa15 6sk6 7fa17 8sk8 9sk9 10fa20"},
      {'F', "1su11 2fa12 3sk13 4no14 5fa15 6fa6 7fa7 8fa8 9fa9 10fa10"}};
  for (const auto& [from, ports] : cases) {
    std::string script;
    for (int port = 1; from != '-' && port <= 10; ++port) script += fill("%% ", from, port);
    EXPECT_EQ(play(script + "S1 F2 K3 N4 X5 s6 f7 k8 n9 x10"), fill("running - - - | %", ports));
  }
}

TEST_F(HistoryTest, aRunIsWrittenWhileItIsRunningAndClosedOnce) {
  const std::pair<const char*, const char*> cases[] = {
      {"P1 =1", "completed success m1 1 | 1pe*-"},
      {"P1 =2", "completed partial m1 1 | 1pe*-"},
      {"P1 =3", "completed failed m1 1 | 1pe*-"},
      {"P1 =4", "aborted aborted m1 1 | 1pe*-"},
      {"P5 S1 F2 K3 N4 reset", "running - - - | 1pe*- 2fa2 3sk3 4no4 5pe*-"},
      {"P5 S1 F2 K3 N4 force", "completed failed m5 * | 1su1 2fa2 3sk3 4no4 5fa*\"m5\""},
      {"P3 S1 S4 derive", "completed partial m3 3 | 1su1 3fa*\"no outcome recorded\" 4su2"},
      {"P1 derive-", "completed failed no port outcomes recorded 1 | 1fa*\"no outcome recorded\""},
      {"derive-", "completed failed no port outcomes recorded 1 | NULL"},
      {"S1 N2 derive-", "completed partial - 3 | 1su1 2no2"},
      {"S1 K2 derive", "completed success m3 3 | 1su1 2sk2"},
      {"P1 S4 K2 F3 reconcile",
       "completed failed Interrupted by unexpected reboot * | 1fa*\"Interrupted by unexpected "
       "reboot\" 2sk2 3fa3 4su1"},
      {"P1 S2 =1 =2 force derive F2 f2 s2 S9 reset",
       "completed success m2 2 | 1pe*- 2su1 10023 10023 10023 10000 10000 10000 10000"},
      {"S1 =4 reconcile", "aborted aborted m2 2 | 1su1 -1"}};

  for (const auto& [script, expected] : cases) {
    EXPECT_EQ(play(script), expected) << script;
    query("DELETE FROM poe_history");
  }

  const char* told = ": 1 port row(s) had no recorded outcome; failing them";
  EXPECT_EQ(logged(told), 3) << "not of a run that somebody else has closed";
  for (const char* step : {"=1", "force", "derive"}) EXPECT_EQ(playStep(99, step, 1), 10023);
}

TEST_F(HistoryTest, aDerivedFinishWaitsForAnotherWriter) {
  const int64_t run = beginRun({1});
  DatabasePtr db;
  ASSERT_TRUE(openDatabase(kHistoryDbPath, &db) && executeSql(db.get(), "BEGIN IMMEDIATE;"));
  auto finished = std::async(std::launch::async, playStep, run, "derive", 1);
  EXPECT_EQ(finished.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
  ASSERT_TRUE(executeSql(db.get(), "COMMIT;"));
  EXPECT_EQ(finished.get(), 0);
}

TEST_F(HistoryTest, whatTheDatabaseRefusesIsReportedAndFailedAtTheNextStartThatCan) {
  play("P4 S5");
  const std::string before = show(1);

  executeOn(kHistoryDbPath, R"sql(
      CREATE TRIGGER a BEFORE UPDATE ON poe_history BEGIN SELECT RAISE(ABORT, ''); END;
      CREATE TRIGGER b BEFORE UPDATE ON poe_history_port BEGIN SELECT RAISE(ABORT, ''); END;
      CREATE TRIGGER c BEFORE INSERT ON poe_history_port BEGIN SELECT RAISE(ABORT, ''); END;)sql");

  std::string codes;
  for (const char* step : {"F4", "f5", "reset", "=1", "derive", "force", "reconcile"}) {
    codes += std::to_string(playStep(1, step, 9)) + " ";
  }

  EXPECT_EQ(codes, "10000 10000 10000 10000 10000 10000 -2 ");
  EXPECT_EQ(show(1), before);

  for (int start = 1; start <= 2; ++start) {
    DaemonProcess daemon(TEST_DAEMON, 50);
    EXPECT_TRUE(daemon.startReady());
    EXPECT_EQ(daemon.stop(), 0);
    for (const std::string trigger : {"a", "b", "c"}) query("DROP TRIGGER " + trigger);
  }

  const std::string error = "Interrupted by unexpected reboot";
  EXPECT_EQ(show(1), "completed failed " + error + " * | 4fa*\"" + error + "\" 5su1");
  EXPECT_EQ(logged("] history reconcile of interrupted runs failed"), 1);
  EXPECT_EQ(logged("] reconciled 1 interrupted PoE run(s) to failed on startup"), 1);
}

TEST_F(HistoryTest, aFileOfTheFirstLayoutIsUpgraded) {
  beginRun({});
  ASSERT_EQ(query("ALTER TABLE poe_history DROP COLUMN all_day_snapshot"), "");
  for (int start = 1; start <= 2; ++start) reopenHistory();
  EXPECT_EQ(ofRun(1, "all_day_snapshot"), "NULL");
  EXPECT_EQ(
      ofRun(beginRun({}, {1, 0, 7, "Night", POE_ACTION_POWER_ON, EXECUTION_SIMULTANEOUS, 0, 1}),
            "run_id||all_day_snapshot"),
      "21");
}

TEST_F(HistoryTest, answersHaveTheFormThatClientsRead) {
  // Of each run what its list shows and what only its details do, with ' for a quotation mark.
  const std::tuple<RunBeginRequest, const char*, const char*, const char*> cases[] = {
      {{2, 0, 5000000000, "N \"ä\"", 3, EXECUTION_SEQUENTIAL, 3, 0},
       "",
       "{'runId':1,'triggered':'scheduled','scheduleId':5000000000,'scheduleName':'N \\'ä\\'',"
       "'scheduleType':'power_off','unit':2,'status':'running','executionMode':'sequential',"
       "'startedAt':'2024-05-01T13:07:08Z','completedAt':null,'portCount':0,'successPortCount':0,"
       "'failedPortCount':0,'skippedPortCount':0",
       "'interPortDelaySec':3,'errorMessage':null,'allDay':false,'portSteps':[]"},
      {{2, 1, 0, "Reset", 1, EXECUTION_SIMULTANEOUS, 0, 1},
       "P9 P4294967295 P9 S1 F3 F2 =2",
       "{'runId':2,'triggered':'manual','scheduleId':null,'scheduleName':'Reset',"
       "'scheduleType':'power_on','unit':2,'status':'partial','executionMode':'simultaneous',"
       "'startedAt':'2024-05-01T13:07:09Z','completedAt':'1970-01-01T00:00:04Z','portCount':5,"
       "'successPortCount':1,'failedPortCount':2,'skippedPortCount':0",
       "'interPortDelaySec':0,'errorMessage':'m4','allDay':true,'portSteps':["
       "{'ifNum':1,'status':'success','errorMessage':'m1'},"
       "{'ifNum':2,'status':'failed','errorMessage':'m3'},"
       "{'ifNum':3,'status':'failed','errorMessage':'m2'},"
       "{'ifNum':9,'status':'pending','errorMessage':null},"
       "{'ifNum':4294967295,'status':'pending','errorMessage':null}]"},
      {{2, 2, -1, nullptr, 0, ExecutionMode(2), 0, 1},
       "K7 =4",
       "{'runId':3,'triggered':'boot-delay','scheduleId':null,'scheduleName':null,'unit':2,"
       "'status':'aborted','executionMode':'simultaneous','startedAt':'2024-05-01T13:07:10Z',"
       "'completedAt':'1970-01-01T00:00:02Z','portCount':1,'successPortCount':0,"
       "'failedPortCount':0,'skippedPortCount':1",
       "'interPortDelaySec':0,'errorMessage':'m2','allDay':null,'portSteps':["
       "{'ifNum':7,'status':'skipped','errorMessage':'m1'}]"}};

  const auto shown = [](const JsonPtr& tree) { return replaced(printJson(tree.get()), "\"", "'"); };
  int64_t run = 0;
  std::string runs;
  JsonPtr answer;
  for (const auto& [request, script, listed, onlyInDetail] : cases) {
    play(script, request);
    updateRuns("started_at=1714568827+run_id WHERE abs(started_at-strftime('%s'))<60");  // just now
    ASSERT_EQ(historyDetail(2, ++run, &answer), 0);
    EXPECT_EQ(shown(answer), std::string(listed) + "," + onlyInDetail + "}");
    EXPECT_EQ(historyDetail(1, run, &answer), 10023) << "it is another unit's";
    runs = std::string(listed) + "}" + (runs.empty() ? "" : ",") + runs;
  }

  ASSERT_EQ(historyList(2, 1, 50, &answer), 0);
  EXPECT_EQ(shown(answer), "{'runs':[" + runs + "],'page':1,'pageSize':50,'total':3}");
}

TEST_F(HistoryTest, aPageHoldsItsShareOfTheRuns) {
  for (int64_t run = 1; run <= 5; ++run) beginRun({});
  updateRuns("started_at=run_id");
  beginRun({}, {2});

  for (const auto& [page, expected] : rowsOf("1 2 -> 54; 2 2 -> 32; 3 2 -> 1; 4 2 -> ; 0 2 -> 54; "
                                             "-9 2 -> 54; 1 0 -> ; 1 -1 -> 54321; 0 -1 -> 4321; "
                                             "2147483647 1 -> ; 65537 65536 -> 54321")) {
    const size_t blank = page.find(' ');
    JsonPtr answer;
    ASSERT_EQ(historyList(1, std::stoi(page), std::stoi(page.substr(blank)), &answer), 0);
    std::string runs;
    const cJSON* run = nullptr;
    cJSON_ArrayForEach(run, jsonMember(answer.get(), "runs")) {
      runs += printJson(jsonMember(run, "runId"));
    }
    EXPECT_EQ(runs, expected) << page;
    EXPECT_EQ(jsonText(answer, "total"), "5");
  }
}

TEST_F(HistoryTest, openRunsOfSchedulesAreFound) {
  const RunBeginRequest requests[] = {
      {1, 0, 7, "n", 1}, {2, 0, 7, "n", 3},
      {1, 0, 7, "n", 1}, {1, 0, 9, "n", 1, EXECUTION_SIMULTANEOUS, 0, 1},
      {1, 0, 9, "n", 2}, {1, 0, 0, "n", 1},
      {1, 1, 9, "n", 1}, {1, 0, 7, "n", 1}};
  for (const RunBeginRequest& request : requests) beginRun({}, request);
  updateRuns("started_at=99-run_id, all_day_snapshot=iif(run_id=3, NULL, all_day_snapshot)");
  updateRuns("status='completed' WHERE run_id=8");

  std::array<OpenScheduledRun, 64> open;
  ASSERT_EQ(historyListOpenScheduledRuns(open.data(), 64), 3);
  std::string listed;
  for (size_t i = 0; i < 3; ++i) {
    const OpenScheduledRun& run = open[i];
    listed += fill("%/%/%/% ", run.runId, run.unit, run.scheduleId, run.startedAt);
  }
  EXPECT_EQ(listed, "3/1/7/96 2/2/7/97 1/1/7/98 ");
  EXPECT_EQ(historyListOpenScheduledRuns(open.data(), 1), 1);

  for (const auto& [unit, schedule, run] :
       {std::array{1, 7, 3}, {2, 7, 2}, {1, 8, 0}, {3, 7, 0}, {1, 0, 0}}) {
    int64_t found = -1;
    EXPECT_EQ(historyFindOpenRun(unit, schedule, &found), 0);
    EXPECT_EQ(found, run) << "unit " << unit << " schedule " << schedule << ": the newest";
  }
}

TEST_F(HistoryTest, oldRunsVanishWithTheirPortsAndTheirIdsForGood) {
  const int64_t limit = time(nullptr) - k30DaysSec;
  for (const int64_t started :
       {limit + 3600, int64_t{100}, int64_t{199}, int64_t{200}, limit - 1}) {
    updateRuns(fill("started_at=% WHERE run_id=%", started, beginRun({5})));
  }
  const std::string left = "SELECT group_concat(DISTINCT run_id) FROM poe_history_port";
  EXPECT_EQ(historyPurgeBefore(200), 2);
  EXPECT_EQ(query(left), "1,4,5");
  daemonContext()->stopRequested = 1;
  cleanupThread(nullptr);
  daemonContext()->stopRequested = 0;
  EXPECT_EQ(query(left), "1");
  reopenHistory();
  EXPECT_EQ(beginRun({}), 6);
}

TEST_F(HistoryTest, theNextPurgeIsAheadAlsoOnDaysOf23And25Hours) {
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  for (const int64_t day : {1792792800, 1806015600}) {  // 2026-10-24 and 2027-03-26, 00:00
    for (int64_t now = day; now < day + 4 * 86400; now += 600) {
      EXPECT_GT(localMidnight(now) + 86400, now);
      EXPECT_LE(localMidnight(now) + 86400, now + 86400 + 3600);
    }
  }
}

TEST_F(HistoryTest, theDaemonPurgesAgainAtLocalMidnight) {
  constexpr int64_t kExpiresAfterSec = 120;  // of the daemon's clock, halfway to midnight
  const int64_t now = time(nullptr);
  beginRun({});
  updateRuns("started_at=" + std::to_string(now - k30DaysSec + kExpiresAfterSec));
  const int64_t west = (now + 2 * kExpiresAfterSec) % 86400;  // of Greenwich, seconds
  const std::string zone = fill("TST+%:%:%", west / 3600, west / 60 % 60, west % 60);
  DaemonProcess daemon(TEST_DAEMON, 100);
  ASSERT_TRUE(daemon.startReady([&] { setenv("TZ", zone.c_str(), 1); }));
  EXPECT_TRUE(waitUntil([] { return runCount("1") == 0; })) << zone;
}
