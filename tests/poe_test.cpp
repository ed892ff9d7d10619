// Work on PoE ports: their locks, single ports, whole jobs, the walk over a unit's ports and their
// sensors.
#include <cjson/cJSON.h>

#include <numeric>

#include "daemon/daemon_context.h"
#include "history/run_lifecycle.h"
#include "poe/executor.h"
#include "poe/port_actions.h"
#include "poe/port_enumeration.h"
#include "poe/port_locks.h"
#include "poe/sensors.h"
#include "switchsim/switch/shared_state.h"
#include "tests/support/fixtures.h"

using namespace switchsim;
using PortList = std::vector<uint32_t>;

namespace {

constexpr int32_t ON = POE_ACTION_POWER_ON, RESTART = POE_ACTION_RESTART,
                  OFF = POE_ACTION_POWER_OFF, OTHER = 9;
constexpr auto kOnAnotherThread = std::launch::async;

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

// A job over ports, which must outlive it, with a run begun for it.
PoeActionJob makeJob(int32_t action, const PortList& ports, int32_t offTimeSec) {
  const auto count = static_cast<int32_t>(ports.size());
  const RunBeginRequest begin{1, 1, 0, nullptr, action, {}, 0, 0, ports.data(), count};
  PoeActionJob job = poeActionJobOf(begin, historyRunBegin(&begin));
  job.offTimeSec = offTimeSec;
  return job;
}

// A run in short: "partial: 5 ok, 6 failed reset failed, 7 foreign, 8 busy".
std::string runText(int64_t runId) {
  std::string text = runs("run_id=" + std::to_string(runId), "''");
  for (const auto& [part, inShort] :
       {std::pair{"skipped ifNum not in unit's PoE port range", "foreign"},
        {"skipped port busy (another run in progress)", "busy"},
        {"failed power_off failed", "not off"},
        {"failed hardware error", "refused"},
        {" success", " ok"}}) {
    text = replaced(text, part, inShort);
  }
  return text;
}

// In units 1 (ifNums 1 to 28) and 2 (29 to 56) the first 24 ports have PoE.
using PoeTest = StoreTest;

TEST_F(PoeTest, portLockHasOneHolderUntilGivenBack) {
  const std::tuple<int32_t, int32_t, int32_t> rows[] = {
      {1, 1, 0}, {8, 128, 0}, {0, 1, 10003}, {9, 1, 10003}, {1, 0, 10003}, {1, 129, 10003}};
  for (const auto& [unit, ifNum, want] : rows) {
    portLockRelease(unit, ifNum);  // not held: must not make room for two
    EXPECT_EQ(portLockTry(unit, ifNum), want) << unit << " " << ifNum;
    auto other = std::async(kOnAnotherThread, portLockTry, unit, ifNum);
    EXPECT_EQ(other.get(), want == 0 ? 10000 : want);
  }
  EXPECT_TRUE(lockIsFree(1, 2) && lockIsFree(2, 1)) << "neighbours are free";
  for (const auto& [unit, ifNum, want] : rows) {
    portLockRelease(unit, ifNum);
    EXPECT_EQ(lockIsFree(unit, ifNum), want == 0) << unit << " " << ifNum;
  }
}

TEST_F(PoeTest, enabledPortsComeInTableOrderUpToTheCapacity) {
  setAdmin(30, false);
  failCalls(Operation::adminEnableGet, 31);
  failCalls(Operation::ifNumGet, 32);
  failCalls(Operation::sensorsGet, 33);

  PortList all(20, 29);
  std::iota(all.begin() + 1, all.end(), 34);
  const std::tuple<int32_t, int32_t, PortList> rows[] = {
      {2, 128, all}, {2, 2, {29, 34}}, {2, 0, {}}, {0, 128, {}}, {3, 128, {}}};
  for (const auto& [unit, capacity, want] : rows) {
    EXPECT_EQ(poeUnitEnabledPortsGet(unit, capacity), want) << unit << " " << capacity;
    EXPECT_FALSE(fs::exists(kShowPortOutputPath));
  }

  makeSwitch({1, 28, 2, NameForm::slotPort});
  EXPECT_EQ(poeUnitEnabledPortsGet(1, 128), (PortList{1, 2})) << "0/1 is a port of unit 1";
  EXPECT_EQ(poeUnitEnabledPortsGet(2, 128), PortList{});
}

TEST_F(PoeTest, jobsActInOrderWaitOnlyWhereTheyMustAndRecordEveryPort) {
  constexpr int32_t NEVER = 60;  // seconds that must not be waited
  // Off time, mode, delay, ports; acts: ~ a second or more goes by before the next or the end; !
  // the switch refuses what this port is told.
  const std::tuple<int32_t, int32_t, int32_t, int32_t, PortList, std::string, const char*> rows[] =
      {{ON, 0, 0, NEVER, {6, 5}, "6+ 5+", "success: 5 ok, 6 ok"},
       {ON, 0, 2, NEVER, {5, 6}, "5+! 6+!", "failed: 5 refused, 6 refused"},
       {ON, 0, 1, 1, {5, 6}, "5+!~ 6+", "partial: 5 refused, 6 ok"},
       {ON, 0, 1, 1, {5, 29}, "5+~", "success: 5 ok, 29 foreign"},
       {ON, 0, 1, NEVER, {29, 8, 25, 5}, "5+", "success: 5 ok, 8 busy, 25 foreign, 29 foreign"},
       {OFF, NEVER, 1, NEVER, {5, 6, 7}, "5- 6-! 7-", "partial: 5 ok, 6 not off, 7 ok"},
       {RESTART, 0, 1, 1, {6, 5}, "6r~ 5r", "success: 5 ok, 6 ok"},
       {RESTART, -5, 0, NEVER, {5, 8}, "5r!", "failed: 5 failed reset failed, 8 busy"},
       {RESTART, 1, 1, NEVER, {8, 99}, "~", "failed: 8 busy, 99 foreign"},
       {RESTART, 1, 0, NEVER, {7, 5, 6}, "7- 5- 6-~ 7+ 5+ 6+", "success: 5 ok, 6 ok, 7 ok"},
       {RESTART, 1, 1, 1, {5, 6}, "5- 6-~ 5+~ 6+", "success: 5 ok, 6 ok"},
       {RESTART, 1, 1, NEVER, {6, 5}, "6-! 5-~ 5+", "partial: 5 ok, 6 not off"},
       {RESTART, 1, 1, NEVER, {5, 6}, "5- 6-!~ 5+", "partial: 5 ok, 6 not off"},
       {RESTART, 1, 0, NEVER, {8, 5, 5}, "5-~ 5+", "success: 5 ok, 8 busy"},
       {OTHER, 1, 1, 1, {5, 6}, "5-~ 5+~ 6-!", "partial: 5 ok, 6 not off"}};

  ASSERT_EQ(portLockTry(1, 8), 0);

  for (const auto& [action, offTimeSec, mode, delaySec, ports, wantActs, wantRun] : rows) {
    SCOPED_TRACE(testing::Message() << action << ", off " << offTimeSec << ": " << wantActs);
    clearFaults();
    PoeActionJob job = makeJob(action, ports, offTimeSec);
    job.executionMode = ExecutionMode(mode);
    job.interPortDelaySec = delaySec;
    std::istringstream words(wantActs);
    const std::vector<std::string> act{std::istream_iterator<std::string>(words), {}};
    for (const std::string& word : act) {
      if (countOf(word, "!") > 0) {
        const auto told = word[1] == 'r' ? Operation::portReset : Operation::adminEnableSet;
        failCalls(told, static_cast<uint32_t>(word[0] - '0'));
      }
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
      EXPECT_GE(journal[i].monoMs - journal[i - 1].monoMs, 1000 * countOf(act.at(i - 1), "~")) << i;
    }
    EXPECT_TRUE(lockIsFree(1, 5) && lockIsFree(1, 6) && lockIsFree(1, 7) && !lockIsFree(1, 8));
  }
}

TEST_F(PoeTest, portThatDoesNotComeBackFailsAloneAndABatchKeepsItsPortsToItsEnd) {
  const PortList ports{5, 6, 7};
  const PoeActionJob job = makeJob(RESTART, ports, 1);
  std::future<void> executor;
  {
    const HistoryAccess history;  // holds the executor up between ports 5 and 6
    executor = std::async(kOnAnotherThread, poeActionRun, &job);
    EXPECT_TRUE(waitUntil([] { return acts() == "5- 6- 7- 5+"; })) << acts();
    addFault({Operation::adminEnableSet, 6, -1, 500, 0});
  }
  EXPECT_TRUE(waitUntil([] { return lockIsFree(1, 5) || countOf(acts(), "7+") > 0; }));
  EXPECT_EQ(acts(), "5- 6- 7- 5+ 6+! 7+") << "port 5 was given back too early";
  executor.get();
  EXPECT_EQ(runText(job.runId), "partial: 5 ok, 6 failed power_on failed, 7 ok");
}

TEST_F(PoeTest, walksAtTheSameTimeEachSeeTheirWholeUnit) {
  const auto walkOften = [](int32_t unit) {
    for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(poeUnitEnabledPortsGet(unit, 128).size(), 24U);
      EXPECT_EQ(countOf(portsText(static_cast<uint32_t>(unit)), "ifNum"), 24);
    }
  };
  std::vector<std::future<void>> threads;
  for (const int32_t unit : {1, 2, 1, 2, 1, 2})
    threads.push_back(std::async(kOnAnotherThread, walkOften, unit));
}

TEST_F(PoeTest, sensorsShowEachPortWithWhatTheSwitchGives) {
  makeSwitch({1, 2, 1, NameForm::slotPort});
  setPortSettings(1, {3, 31200, 2, 4, 1});
  const std::string whole =
      R"([{"ifNum":1,"powerMw":6400,"currentMa":119,"voltageMv":53936,"temperature":40,)"
      R"("adminMode":"enable","detectionStatus":"delivering","powerClass":"2","priority":"high",)"
      R"("powerLimitMw":31200,"detectionType":"4pt_dot3af","powerUpMode":"upoe",)"
      R"("violationType":"dot3af"}])";
  EXPECT_EQ(portsText(1), whole);

  const Operation getters[] = {Operation::adminEnableGet, Operation::detectionStatusGet,
                               Operation::classGet,       Operation::priorityGet,
                               Operation::limitGet,       Operation::detectionModeGet,
                               Operation::powerUpModeGet, Operation::violationTypeGet};
  int member = 5;  // "adminMode"
  for (const Operation getter : getters) {
    failCalls(getter, 1);
    const JsonPtr want = jsonParse(whole.c_str());
    cJSON_DeleteItemFromArray(cJSON_GetArrayItem(want.get(), 0), member++);
    EXPECT_EQ(portsText(1), printJson(want.get()));
    clearFaults();
  }

  failCalls(Operation::sensorsGet, 1);
  for (const uint32_t unit : {0U, 1U, 2U, ~0U}) {
    EXPECT_EQ(portsText(unit), "[]") << "unit " << unit;
  }
}

TEST_F(PoeTest, sensorsNameTheCodesFromTheFirstToTheLastAndLeaveOutOthers) {
  makeSwitch({1, 1, 1, NameForm::slotPort});
  const std::string key = R"("detectionStatus":)";
  const std::string off = R"("off","powerClass":"0","powerLimitMw":5}])";
  const std::tuple<uint32_t, PortSettings, std::string> rows[] = {
      {kSearching,
       {1, 5, 1, 0, 1},
       R"("searching","powerClass":"0","priority":"low","powerLimitMw":5,)"
       R"("detectionType":"legacy","powerUpMode":"802.3af","violationType":"dot3af"}])"},
      {kDenied,
       {4, 5, 8, 7, 3},
       R"("denied","powerClass":"2","priority":"critical","powerLimitMw":5,)"
       R"("detectionType":"dot3bt_leg","powerUpMode":"802.3bt","violationType":"none"}])"},
      {kOff, {0, 5, 0, ~0U, 0}, off},
      {9, {5, 5, 9, 8, 4}, off}};

  for (const auto& [status, settings, want] : rows) {
    holdStatus(1, status);
    setPortSettings(1, settings);
    const std::string ports = portsText(1);
    EXPECT_EQ(ports.substr(ports.find(key)), key + want) << ports;
  }

  setAdmin(1, false);
  EXPECT_EQ(countOf(portsText(1), R"("adminMode":"disable","detectionStatus":"disabled")"), 1)
      << portsText(1);
}

}  // namespace
