// Work on PoE ports: their locks, single ports, whole jobs, the walk over a unit's ports and their sensors.
#include <cjson/cJSON.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <sstream>
#include <tuple>
#include <vector>

#include "daemon/daemon_context.h"
#include "daemon/paths.h"
#include "history/run_lifecycle.h"
#include "poe/executor.h"
#include "poe/port_actions.h"
#include "poe/port_enumeration.h"
#include "poe/port_locks.h"
#include "poe/sensors.h"
#include "switchos/session.h"
#include "switchsim/shared_state.h"
#include "tests/support/fixtures.h"

using namespace switchsim;
using PortList = std::vector<uint32_t>;

namespace {

constexpr int32_t ON = POE_ACTION_POWER_ON, RESTART = POE_ACTION_RESTART, OFF = POE_ACTION_POWER_OFF, OTHER = 9;
constexpr auto kOnAnotherThread = std::launch::async;

void failPort(Operation operation, uint32_t ifNum, int32_t result = -1) {
  ASSERT_EQ(addFault({operation, ifNum, result, 0, 0}), "");
}

std::string replaced(std::string text, const std::string& part, const std::string& with) {
  for (size_t at = 0; (at = text.find(part)) != std::string::npos;) text.replace(at, part.size(), with);
  return text;
}

// What was done to ports: "5+ 5- 5r 6+!" is port 5 on, off and reset, and port 6 refusing to go on.
std::string acts(uint64_t since = 0) {
  std::string text;
  for (const JournalEntry& entry : journalSince(since)) {
    const char* act = entry.op == operationName(Operation::portReset) ? "r" : entry.value != 0 ? "+" : "-";
    text += (text.empty() ? "" : " ") + std::to_string(entry.ifNum) + act + (entry.result != 0 ? "!" : "");
  }
  return text;
}

bool lockIsFree(int32_t unit, int32_t ifNum) {
  const bool isFree = portLockTry(unit, ifNum) == 0;
  if (isFree) portLockRelease(unit, ifNum);
  return isFree;
}

std::string portsText(uint32_t unit) {
  JsonPtr document;
  EXPECT_EQ(sensorsAll(unit, &document), 0);
  return printJson(cJSON_GetObjectItem(document.get(), "ports"));
}

std::string firstPortText(const char* key) {
  const JsonPtr ports = jsonParse(portsText(1).c_str());
  return jsonText(JsonPtr(cJSON_DetachItemFromArray(ports.get(), 0)), key);
}

// In units 1 (ifNums 1 to 28) and 2 (29 to 56) the first 24 ports have PoE.
class PoeTest : public StoreTest {
 protected:
  void TearDown() override {
    EXPECT_EQ(misuseCount(), 0U) << viewSwitch()->lastMisuse;
    StoreTest::TearDown();
  }
  // A job over ports, which must outlive it, with a run begun for it.
  static PoeActionJob makeJob(int32_t unit, int32_t action, const PortList& ports, int32_t offTimeSec = 0) {
    const auto count = static_cast<int32_t>(ports.size());
    const RunBeginRequest begin{unit, RUN_TRIGGER_MANUAL, 0, nullptr, action, 0, 0, 0, ports.data(), count};
    const int64_t runId = historyRunBegin(&begin);
    return {RUN_TRIGGER_MANUAL, unit, runId, nullptr, action, 0, 0, offTimeSec, 0, 0, ports.data(), count};
  }
  // A run as "partial: 5 success, 6 failed (reset failed), 7 foreign, 8 busy"; one that is not completed as "running".
  static std::string runText(int64_t runId) {
    const std::string sql = replaced(R"(
        WITH port AS (SELECT if_num||' '||status||coalesce(' ('||error_msg||')','') AS step FROM poe_history_port
        WHERE run_id=$ ORDER BY if_num)
        SELECT iif(status='completed', overall_result, status)||coalesce(' ('||error_message||')','')
        ||coalesce(': '||(SELECT group_concat(step, ', ') FROM port),'') FROM poe_history WHERE run_id=$)",
                                     "$", std::to_string(runId));
    return replaced(replaced(query(sql), "skipped (ifNum not in unit's PoE port range)", "foreign"),
                    "skipped (port busy (another run in progress))", "busy");
  }
};

TEST_F(PoeTest, portLockHasOneHolderUntilGivenBack) {
  const std::tuple<int32_t, int32_t, int32_t> rows[] = {{1, 1, 0},      {8, 128, 0},    {1, 128, 0},   {8, 1, 0},
                                                        {0, 1, 10003},  {9, 1, 10003},  {1, 0, 10003}, {-1, 1, 10003},
                                                        {1, -1, 10003}, {1, 129, 10003}};
  for (const auto& [unit, ifNum, want] : rows) {
    portLockRelease(unit, ifNum);  // not held: must not make room for two
    EXPECT_EQ(portLockTry(unit, ifNum), want) << unit << " " << ifNum;
    EXPECT_EQ(std::async(kOnAnotherThread, portLockTry, unit, ifNum).get(), want == 0 ? 10000 : want);
  }
  EXPECT_TRUE(lockIsFree(1, 2) && lockIsFree(2, 1)) << "neighbours are free";
  for (const auto& [unit, ifNum, want] : rows) {
    portLockRelease(unit, ifNum);
    EXPECT_EQ(lockIsFree(unit, ifNum), want == 0) << unit << " " << ifNum;
  }
}

TEST_F(PoeTest, portLockHasOneHolderAmongManyThreads) {
  std::atomic<int> holders{0};
  std::vector<std::future<void>> threads(8);
  for (auto& thread : threads) {
    thread = std::async(kOnAnotherThread, [&holders] {
      for (int taken = 0; taken < 200; std::this_thread::yield()) {
        if (portLockTry(3, 7) != 0) continue;
        EXPECT_EQ(++holders, 1);
        std::this_thread::yield();
        --holders;
        portLockRelease(3, 7);
        ++taken;
      }
    });
  }
}

TEST_F(PoeTest, switchingOnePortTellsWhyItFailed) {
  const std::tuple<int32_t, int32_t, int32_t, const char*> rows[] = {
      {0, 0, 0, "5-"},        {1, 0, 0, "5+"},       {-7, 0, 0, "5+"},       {1, -22, 10003, "5+!"},
      {0, -29, 10023, "5-!"}, {1, -1, 10000, "5+!"}, {1, -30, 10000, "5+!"}, {1, 29, 10000, "5+!"}};
  for (const auto& [enable, refusal, want, act] : rows) {
    const uint64_t before = lastSeq();
    clearFaults();
    addFault({Operation::adminEnableSet, 5, refusal, 0, 0});
    EXPECT_EQ(poePortAdminSet(5, enable), want) << "refused with " << refusal;
    EXPECT_EQ(acts(before), act);
  }
}

TEST_F(PoeTest, enabledPortsComeInTableOrderUpToTheCapacity) {
  setAdmin(30, false);
  failPort(Operation::adminEnableGet, 31);
  failPort(Operation::ifNumGet, 32);
  failPort(Operation::sensorsGet, 33);
  const PortList all{29, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44, 45, 46, 47, 48, 49, 50, 51, 52};
  const std::tuple<int32_t, int32_t, PortList> rows[] = {{2, 128, all}, {2, 2, {29, 34}}, {2, 0, {}},  {2, -1, {}},
                                                         {0, 128, {}},  {-1, 128, {}},    {3, 128, {}}};
  for (const auto& [unit, capacity, want] : rows) {
    EXPECT_EQ(poeUnitEnabledPortsGet(unit, capacity), want) << "unit " << unit << " capacity " << capacity;
    EXPECT_NE(access(kShowPortOutputPath, F_OK), 0);
  }
  makeSwitch({1, 28, 2, NameForm::slotPort});
  EXPECT_EQ(poeUnitEnabledPortsGet(1, 128), (PortList{1, 2})) << "0/1 is a port of unit 1";
  EXPECT_EQ(poeUnitEnabledPortsGet(2, 128), PortList{});
}

TEST_F(PoeTest, theFirstPortThatIsNoPoePortOfTheUnitIsNamed) {
  constexpr uint32_t kNone = 7777;
  const std::tuple<int32_t, PortList, uint32_t> rows[] = {
      {1, {1, 24, 5}, kNone}, {2, {29, 52}, kNone}, {1, {5, 29, 25}, 29}, {1, {5, 25, 29}, 25}, {2, {5}, 5},
      {1, {5, 0}, 0},         {1, {57}, 57},        {0, {29}, kNone},     {1, {}, kNone},       {1, {~0U}, ~0U}};
  for (const auto& [unit, ports, wantBad] : rows) {
    uint32_t bad = kNone;
    const auto count = static_cast<int32_t>(ports.size());
    EXPECT_EQ(poePortsCheckUnit(unit, ports.data(), count, &bad), wantBad == kNone ? 0 : -1);
    EXPECT_EQ(bad, wantBad) << testing::PrintToString(ports);
    EXPECT_EQ(poePortsCheckUnit(unit, ports.data(), -count, nullptr), 0);
  }
  EXPECT_EQ(poePortsCheckUnit(1, nullptr, 3, nullptr), 0);
  EXPECT_EQ(poePortsCheckUnit(2, PortList{5}.data(), 1, nullptr), -1);
}

TEST_F(PoeTest, jobsActInOrderWaitOnlyWhereTheyMustAndRecordEveryPort) {
  constexpr int32_t NEVER = 60;  // seconds that must not be waited
  // Acts: ~ a second or more goes by before the next or the end; ! the switch refuses what this port is told.
  const std::tuple<int32_t, int32_t, int32_t, int32_t, PortList, std::string, const char*> rows[] = {
      {ON, 0, 0, NEVER, {6, 5}, "6+ 5+", "success: 5 success, 6 success"},
      {ON, 0, 2, NEVER, {5, 6}, "5+! 6+!", "failed: 5 failed (hardware error), 6 failed (hardware error)"},
      {ON, 0, 1, 1, {5, 6}, "5+!~ 6+", "partial: 5 failed (hardware error), 6 success"},
      {ON, 0, 1, 1, {5, 29}, "5+~", "success: 5 success, 29 foreign"},
      {ON, 0, 1, NEVER, {29, 8, 25, 99, 5}, "5+", "success: 5 success, 8 busy, 25 foreign, 29 foreign, 99 foreign"},
      {ON, 0, 1, NEVER, {}, "", "success"},
      {OFF, NEVER, 1, NEVER, {5, 6, 7}, "5- 6-! 7-", "partial: 5 success, 6 failed (power_off failed), 7 success"},
      {RESTART, 0, 1, 1, {6, 5}, "6r~ 5r", "success: 5 success, 6 success"},
      {RESTART, -5, 0, NEVER, {5, 8}, "5r!", "failed: 5 failed (reset failed), 8 busy"},
      {RESTART, 0, 1, NEVER, {8, 29}, "", "failed: 8 busy, 29 foreign"},
      {RESTART, 1, 1, NEVER, {8, 29}, "~", "failed: 8 busy, 29 foreign"},
      {RESTART, 1, 0, NEVER, {7, 5, 6}, "7- 5- 6-~ 7+ 5+ 6+", "success: 5 success, 6 success, 7 success"},
      {RESTART, 1, 1, 1, {5, 6}, "5- 6-~ 5+~ 6+", "success: 5 success, 6 success"},
      {RESTART, 1, 1, NEVER, {6, 5}, "6-! 5-~ 5+", "partial: 5 success, 6 failed (power_off failed)"},
      {RESTART, 1, 1, NEVER, {5, 6}, "5- 6-!~ 5+", "partial: 5 success, 6 failed (power_off failed)"},
      {RESTART, 1, 0, NEVER, {8, 5, 5}, "5-~ 5+", "success: 5 success, 8 busy"},
      {RESTART, 1, 0, 0, {}, "~", "success"},
      {OTHER, 1, 1, 1, {5, 6}, "5-~ 5+~ 6-!", "partial: 5 success, 6 failed (power_off failed)"},
      {OTHER, 0, 0, NEVER, {5}, "5r", "success: 5 success"}};
  ASSERT_EQ(portLockTry(1, 8), 0);
  for (const auto& [action, offTimeSec, mode, delaySec, ports, wantActs, wantRun] : rows) {
    SCOPED_TRACE(testing::Message() << "action " << action << ", off " << offTimeSec << ": " << wantActs);
    clearFaults();
    PoeActionJob job = makeJob(1, action, ports, offTimeSec);
    job.executionMode = mode;
    job.interPortDelaySec = delaySec;
    std::istringstream words(wantActs);
    std::vector<std::string> act;
    for (std::string word; words >> word; act.push_back(word)) {
      if (word.find('!') == std::string::npos) continue;
      failPort(word[1] == 'r' ? Operation::portReset : Operation::adminEnableSet, static_cast<uint32_t>(word[0] - '0'));
    }
    const uint64_t before = lastSeq();
    const int64_t startMs = monotonicMs();
    std::async(kOnAnotherThread, poeActionRun, &job).get();  // not the thread that holds port 8
    const int64_t tookMs = monotonicMs() - startMs;
    EXPECT_GE(tookMs, 1000 * countOf(wantActs, "~"));
    EXPECT_LT(tookMs, 1000 * NEVER / 2);
    EXPECT_EQ(acts(before), replaced(wantActs, "~", ""));
    EXPECT_EQ(runText(job.runId), wantRun);
    const std::vector<JournalEntry> journal = journalSince(before);
    for (size_t i = 1; i < journal.size(); ++i) {
      EXPECT_GE(journal[i].monoMs - journal[i - 1].monoMs, 1000 * countOf(act.at(i - 1), "~")) << "before act " << i;
    }
    EXPECT_TRUE(lockIsFree(1, 5) && lockIsFree(1, 6) && lockIsFree(1, 7) && !lockIsFree(1, 8));
  }
}

TEST_F(PoeTest, portsWithoutALockAreAlwaysBusy) {
  makeSwitch({8, 28, 24, NameForm::unitSlotPort});
  const PortList ports{128, 129};
  for (const int32_t offTimeSec : {0, 1}) {
    const PoeActionJob job = makeJob(5, RESTART, ports, offTimeSec);
    poeActionRun(&job);
    EXPECT_EQ(runText(job.runId), "success: 128 success, 129 busy");
  }
  EXPECT_EQ(acts(), "128r 128- 128+");
}

TEST_F(PoeTest, windowRunsStayOpenWithTheWorstOfEachPort) {
  const PortList ports{5, 6};
  PoeActionJob job = makeJob(1, ON, ports);
  job.keepRunOpen = 1;
  // A restart that makes ports dark together closes its run all the same, with what it did last.
  const std::tuple<int32_t, int32_t, uint32_t, const char*> rows[] = {
      {ON, 0, 6, "running: 5 success, 6 failed (hardware error)"},
      {OFF, 0, 5, "running: 5 failed (power_off failed), 6 failed (hardware error)"},
      {RESTART, 0, 5, "running: 5 failed (power_off failed), 6 failed (hardware error)"},
      {RESTART, 1, 7, "success: 5 success, 6 success"}};
  for (const auto& [action, offTimeSec, failing, run] : rows) {
    clearFaults();
    failPort(Operation::adminEnableSet, failing);
    job.action = action;
    job.offTimeSec = offTimeSec;
    poeActionRun(&job);
    EXPECT_EQ(runText(job.runId), run);
  }
}

TEST_F(PoeTest, portThatDoesNotComeBackFailsAlone) {
  const PortList ports{5, 6, 7};
  const PoeActionJob job = makeJob(1, RESTART, ports, 1);
  std::future<void> executor;
  {
    const HistoryAccess history;  // holds the executor up between ports 5 and 6
    executor = std::async(kOnAnotherThread, poeActionRun, &job);
    EXPECT_TRUE(waitUntil([] { return acts() == "5- 6- 7- 5+"; })) << acts();
    failPort(Operation::adminEnableSet, 6);
    EXPECT_FALSE(lockIsFree(1, 5)) << "a batch keeps its ports to its end";
  }
  executor.get();
  EXPECT_EQ(acts(), "5- 6- 7- 5+ 6+! 7+");
  EXPECT_EQ(runText(job.runId), "partial: 5 success, 6 failed (power_on failed), 7 success");
}

TEST_F(PoeTest, jobWhoseRunWasClosedGoesOnWithoutRecording) {
  const PortList ports{5, 6};
  const PoeActionJob job = makeJob(1, OFF, ports);
  std::future<void> executor;
  {
    LockedState frozenSwitch;
    {
      const HistoryAccess history;  // holds the executor up until it can be held up at the next port
      executor = std::async(kOnAnotherThread, poeActionRun, &job);
      EXPECT_TRUE(waitUntil([] { return acts() == "5-"; })) << acts();
      frozenSwitch = lockState();
    }
    EXPECT_TRUE(waitUntil([&] { return runText(job.runId) == "running: 5 success, 6 pending"; }));
    // Not on this thread: it holds the switch's lock, under which nobody takes the history's.
    EXPECT_EQ(std::async(kOnAnotherThread, historyRunForceFail, job.runId, "stuck").get(), 0);
  }
  executor.get();
  EXPECT_EQ(acts(), "5- 6-");
  EXPECT_EQ(runText(job.runId), "failed (stuck): 5 success, 6 failed (stuck)");
  EXPECT_EQ(countOf(logText(), "is not running (ifNum=6)"), 1) << logText();
  EXPECT_TRUE(lockIsFree(1, 5) && lockIsFree(1, 6));
}

TEST_F(PoeTest, spawnedJobWorksOnItsOwnCopy) {
  EXPECT_EQ(poeActionSpawn(nullptr), -1);
  PortList ports{5, 6};
  PoeActionJob job = makeJob(1, OFF, ports);
  const int64_t runId = job.runId;
  {
    const LockedState frozenSwitch = lockState();
    ASSERT_EQ(poeActionSpawn(&job), 0);
    ports = {7, 7};
    job = PoeActionJob();
  }
  EXPECT_TRUE(waitUntil([&] { return runText(runId) == "success: 5 success, 6 success"; })) << runText(runId);
  EXPECT_EQ(acts(), "5- 6-");
  job = makeJob(1, OFF, {});
  job.ifNumCount = 3;
  job.ifNums = nullptr;
  ASSERT_EQ(poeActionSpawn(&job), 0);
  EXPECT_TRUE(waitUntil([&] { return runText(job.runId) == "success"; })) << runText(job.runId);
}

TEST_F(PoeTest, portWalkThatFailsIsLoggedAndTheNextOneWorks) {
  EXPECT_EQ(cliShowExecuteToFile(&openApiClient, nullptr, kShowPortOutputPath), 10003);
  EXPECT_EQ(cliShowExecuteToFile(&openApiClient, "show port status all", nullptr), 10003);
  ASSERT_EQ(cliShowExecuteToFile(&openApiClient, "show port status all", kShowPortOutputPath), 0);
  failPort(Operation::cliShow, 0, -5);
  EXPECT_EQ(portsText(1), "[]");
  EXPECT_NE(access(kShowPortOutputPath, F_OK), 0) << "the old table is still there";
  clearFaults();
  std::atomic<bool> cleaning{true};
  const std::future<void> cleaner = std::async(kOnAnotherThread, [&cleaning] {  // as whoever tidies folders might
    while (cleaning) unlink(kShowPortOutputPath);
  });
  const std::string cannotOpen = std::string("forEachPhysicalIntf: cannot open ") + kShowPortOutputPath;
  EXPECT_TRUE(waitUntil([&] { return portsText(1) == "[]" && countOf(logText(), cannotOpen) > 0; })) << logText();
  cleaning = false;
  cleaner.wait();
  EXPECT_EQ(countOf(portsText(1), "ifNum"), 24);
  EXPECT_EQ(countOf(logText(), "cliShowExecuteToFile: Invalid argument\r\n"), 2) << logText();
  EXPECT_EQ(countOf(logText(), "Execute show cmd faile, result:-5\r\n"), 1) << logText();
  EXPECT_EQ(countOf(logText(), "forEachPhysicalIntf: cliShowExecuteToFile failed"), 1) << logText();
}

TEST_F(PoeTest, walksAtTheSameTimeEachSeeTheirWholeUnit) {
  std::vector<std::future<void>> threads;
  for (uint32_t i = 0; i < 20; ++i) {
    threads.push_back(std::async(kOnAnotherThread, [unit = i % 2 + 1] {
      EXPECT_EQ(countOf(portsText(unit), "ifNum"), 24);
      EXPECT_EQ(poeUnitEnabledPortsGet(static_cast<int32_t>(unit), 128).size(), 24U);
    }));
  }
}

TEST_F(PoeTest, sensorsShowEachPortWithWhatTheSwitchGives) {
  makeSwitch({1, 2, 1, NameForm::slotPort});
  setPortSettings(1, {3, 31200, 2, 4, 1});
  const std::string whole =
      R"([{"ifNum":1,"powerMw":6400,"currentMa":119,"voltageMv":53936,"temperature":40,"adminMode":"enable",)"
      R"("detectionStatus":"delivering","powerClass":"2","priority":"high","powerLimitMw":31200,)"
      R"("detectionType":"4pt_dot3af","powerUpMode":"upoe","violationType":"dot3af"}])";
  EXPECT_EQ(portsText(1), whole);
  const std::pair<Operation, const char*> getters[] = {
      {Operation::adminEnableGet, "adminMode"},   {Operation::detectionStatusGet, "detectionStatus"},
      {Operation::classGet, "powerClass"},        {Operation::priorityGet, "priority"},
      {Operation::limitGet, "powerLimitMw"},      {Operation::detectionModeGet, "detectionType"},
      {Operation::powerUpModeGet, "powerUpMode"}, {Operation::violationTypeGet, "violationType"}};
  for (const auto& [operation, key] : getters) {
    failPort(operation, 1);
    const JsonPtr want = jsonParse(whole.c_str());
    cJSON_DeleteItemFromObject(cJSON_GetArrayItem(want.get(), 0), key);
    EXPECT_EQ(portsText(1), printJson(want.get())) << "without " << key;
    clearFaults();
  }
  failPort(Operation::sensorsGet, 1);
  for (const uint32_t unit : {0U, 1U, 2U, ~0U}) {
    EXPECT_EQ(portsText(unit), "[]") << "unit " << unit;
  }
  EXPECT_EQ(sensorsAll(1, nullptr), 10003);
}

TEST_F(PoeTest, sensorsNameTheCodesThatTheyKnow) {
  const std::tuple<const char*, uint32_t PortSettings::*, uint32_t, const char*> rows[] = {
      {"priority", &PortSettings::priority, 0, "- low medium high critical -"},
      {"detectionType", &PortSettings::detectionMode, 0,
       "- legacy 4pt_dot3af 4pt_dot3af_leg 2pt_dot3af 2pt_dot3af_leg none dot3bt dot3bt_leg -"},
      {"powerUpMode", &PortSettings::powerUpMode, ~0U,
       "- 802.3af high_inrush pre_802.3at 802.3at upoe pre_802.3bt type3 802.3bt -"},
      {"violationType", &PortSettings::violationType, 0, "- dot3af user none -"}};
  for (const auto& [key, field, firstCode, texts] : rows) {
    std::istringstream words(texts);
    PortSettings settings;
    settings.*field = firstCode;
    for (std::string text; words >> text; ++(settings.*field)) {
      setPortSettings(1, settings);
      EXPECT_EQ(firstPortText(key), text == "-" ? "" : text) << key << " " << settings.*field;
    }
  }
  const std::pair<uint32_t, const char*> statuses[] = {
      {0, "disabled"}, {1, "searching"}, {2, "delivering"}, {3, "fault"}, {4, "denied"}, {5, "off"}, {9, "off"}};
  for (const auto& [code, text] : statuses) {
    holdStatus(1, code);
    EXPECT_EQ(firstPortText("detectionStatus"), text) << code;
  }
  setAdmin(1, false);
  EXPECT_EQ(firstPortText("adminMode"), "disable");
}

}  // namespace
