// Restarting ports by hand: requests over the socket of a daemon whose clock runs fast.
#include "tests/support/daemon_process.h"

using namespace switchsim;

namespace {

constexpr const char* kRefused = R"({"ok":false,"error":10003})";

std::string reset(const std::string& request, const std::string& unit = "1") {
  return rpc("manual.reset", fill(R"({"unit":%,"request":%})", unit, request));
}

// The answer to an accepted request.
std::string accepted(int runId, const std::string& ifNums, int offTimeSec = 0, int delaySec = 0,
                     const std::string& mode = "simultaneous", int unit = 1) {
  return fill(R"({"ok":true,"result":{"runId":%,"triggered":"manual","scheduleId":null,)"
              R"("scheduleName":"Manual Restart","scheduleType":"restart","unit":%,)"
              R"("executionMode":"%","offTimeSec":%,"interPortDelaySec":%,"resolvedIfNums":[%]}})",
              runId, unit, mode, offTimeSec, delaySec, ifNums);
}

// Its ports were all recorded then.
void waitForSuccess(int runId) {
  const std::string ended = fill("run_id=% AND overall_result='success'", runId);
  EXPECT_TRUE(waitUntil([&] { return runCount(ended) == 1; })) << runs();
}

// Units of 8 ports: PoE on ifNums 1 to 6 of unit 1 and on 9 to 14 of unit 2.
class ManualResetTest : public RunningDaemonTest {
 protected:
  ManualResetTest() { options_ = {2, 8, 6, NameForm::unitSlotPort}; }
};

TEST_F(ManualResetTest, badRequestsAreRefusedAndBeginNoRun) {
  for (const char* params : {"null", "[]", "{}", R"({"request":{}})", R"({"unit":1})"}) {
    EXPECT_EQ(rpc("manual.reset", params), kRefused) << params;
  }

  for (const char* unit :
       {"\"1\"", "true", "null", "[1]", "0", "-1", "0.9", "-1e300", "1e300", "3"}) {
    EXPECT_EQ(reset(R"({"offTimeSec":1e300,"interPortDelaySec":-1e300})", unit), kRefused) << unit;
  }

  const std::pair<const char*, const char*> foreign[] = {
      {"[9]", "9"}, {"[5,10,7]", "10"}, {"[5,7,9]", "7"},          {"[99]", "99"},
      {"[0]", "0"}, {"[-1]", "-1"},     {"[1e300]", "2147483647"}, {"[-1e300]", "-2147483648"}};

  for (const auto& [ifNums, bad] : foreign) {
    EXPECT_EQ(reset(fill(R"({"offTimeSec":1e300,"ifNums":%})", ifNums)), kRefused);
    EXPECT_EQ(logged(fill("ifNum % does not belong to unit 1 — rejecting", bad)), 1) << ifNums;
  }

  EXPECT_EQ(jsonText(rpcResult("history.list", R"({"unit":1})"), "total"), "0");
  EXPECT_EQ(acts(), "");
}

TEST_F(ManualResetTest, whatIsOfTheWrongTypeReadsAsAbsentAndWithoutPortsAllEnabledOnesRestart) {
  setAdmin(3, false);
  const std::string all = "1,2,4,5,6";
  std::string counted = "5", given = R"("a",5)";  // entries, the last of more than count
  for (int i = 2; i < 600; ++i) {
    given += i < 512 ? ",5" : ",9";  // another unit's, if they counted
    counted += i < 512 ? ",5" : "";
  }

  const std::tuple<std::string, std::string, int, int> rows[] = {
      {R"({"ifNums":[5]})", "5", 0, 0},
      {R"({"ifNums":[5],"offTimeSec":"9","interPortDelaySec":true,"executionMode":1})", "5", 0, 0},
      {R"({"ifNums":[5],"offTimeSec":null,"interPortDelaySec":[3],"executionMode":"SEQUENTIAL"})",
       "5", 0, 0},
      {R"({"ifNums":[5],"interPortDelaySec":2.9,"executionMode":"sequential"})", "5", 0, 2},
      {R"({"ifNums":["a",5,null,[6],{"6":6},true],"offTimeSec":-1e300})", "5", INT32_MIN, 0},
      {R"({"ifNums":[)" + given + "]}", counted, 0, 0},
      {R"({"ifNums":["a","b"]})", "", 0, 0},
      {R"({"ifNums":[]})", all, 0, 0},
      {R"({"ifNums":"5"})", all, 0, 0},
      {R"({"ifNums":5})", all, 0, 0},
      {"{}", all, 0, 0},
      {"7", all, 0, 0},
      {"null", all, 0, 0}};

  int runId = 0;
  for (const auto& [request, ports, offTimeSec, delaySec] : rows) {
    const uint64_t before = lastSeq();
    ASSERT_EQ(reset(request), accepted(++runId, ports, offTimeSec, delaySec,
                                       delaySec > 0 ? "sequential" : "simultaneous"));
    waitForSuccess(runId);
    EXPECT_EQ(acts(before), ports.empty() ? "" : replaced(ports, ",", "r ") + "r");
  }

  const uint64_t before = lastSeq();
  EXPECT_EQ(reset("{}", "2"), accepted(++runId, "9,10,11,12,13,14", 0, 0, "simultaneous", 2));
  EXPECT_TRUE(waitUntil([&] { return acts(before) == "9r 10r 11r 12r 13r 14r"; })) << acts();
  failCalls(Operation::cliShow);
  EXPECT_EQ(reset("{}"), kRefused) << "the ports cannot be listed";
}

TEST_F(ManualResetTest, portsGoDarkTogetherForTheOffTimeAndComeBackInOrder) {
  const char* request =
      R"({"ifNums":[6,4],"offTimeSec":20,"interPortDelaySec":5,"executionMode":"sequential"})";
  EXPECT_EQ(reset(request), accepted(1, "6,4", 20, 5, "sequential"));
  waitForSuccess(1);
  EXPECT_EQ(acts(), "6- 4- 6+ 4+");
  EXPECT_EQ(runCount("completed_at-started_at>=24"), 1) << "one second may be lost by rounding";
}

}  // namespace
