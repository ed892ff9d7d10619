// The simulated switch: what its clients get from it, and what its command does to it.
#include <sys/wait.h>
#include <unistd.h>

#include "cli/failure.h"
#include "switchos/openclt.h"
#include "switchsim/switch/shared_state.h"
#include "tests/support/fixtures.h"

using namespace switchsim;

class SwitchsimTest : public RootTest {
 protected:
  // Two units of eight ports, of which the first six have PoE.
  void SetUp() override {
    RootTest::SetUp();
    makeSwitch({2, 8, 6});
    ASSERT_EQ(openapiClientRegister("test", &handle_), 0);
  }
  void TearDown() override { openapiClientTearDown(&handle_); }

  int32_t set(uint32_t ifNum, uint32_t mode) {
    return rpcclt_openapiPoePsePortAdminEnableSet(&handle_, ifNum, mode);
  }
  int32_t reset(int32_t unit, uint32_t ifNum) {
    return rpcclt_openapiPoePsePortReset(&handle_, unit, ifNum);
  }

  OpenClientHandle handle_{};
};

TEST_F(SwitchsimTest, ReadingsOfAPortAgreeWithEachOther) {
  const std::tuple<bool, uint32_t, uint32_t, uint32_t, uint32_t> rows[] = {
      {false, 12000, 30000, kDisabled, 0},  {true, 0, 30000, kSearching, 0},
      {true, 3500, 30000, kDelivering, 1},  {true, 7000, 30000, kDelivering, 2},
      {true, 15400, 30000, kDelivering, 3}, {true, 15500, 30000, kDelivering, 4},
      {true, 90000, 90000, kDelivering, 8}, {true, 90000, 89999, kDenied, 8}};

  for (const auto& [on, deviceMw, limitMw, status, powerClass] : rows) {
    SCOPED_TRACE(fill("% mW, limit %, on: %", deviceMw, limitMw, on));
    const Device device = steadyDevice(deviceMw);
    setPortSettings(1, {1, limitMw});
    setDevice(1, device);
    setAdmin(1, on);
    EXPECT_TRUE(waitUntil([expected = status] { return portView(1).status == expected; }));
    const PortView port = portView(1);
    const bool delivers = status == kDelivering;
    EXPECT_EQ(port.powerMw, delivers ? deviceMw : 0);
    EXPECT_NEAR(port.voltageMv, delivers ? 53500 : 0, delivers ? 1000 : 0);
    EXPECT_NEAR(port.currentMa * (port.voltageMv / 1000.0), port.powerMw, 30);
    EXPECT_TRUE(port.temperature > 20 && port.temperature < 90) << port.temperature;
    EXPECT_EQ(port.powerClass, powerClass);
  }
}

TEST_F(SwitchsimTest, ADeviceChargesStartsAndThenWorksNowAndThen) {
  std::string drawn;
  for (const int64_t ms : {0, 49, 50, 39999, 40000, 50000, 100000}) {
    drawn += std::to_string(drawMw(*deviceOf("camera"), ms)) + " ";
  }
  EXPECT_EQ(drawn, "21600 21600 4010 12399 12400 10200 12400 ");
}

TEST_F(SwitchsimTest, OverTheBudgetTheLowestPriorityThenTheHighestIfNumIsDenied) {
  makeSwitch({1, 3, 3, NameForm::unitSlotPort, 25000});
  const std::pair<std::string, std::string> rows[] = {
      {"device 1 10 -> 0\ndevice 2 10 -> 0\ndevice 3 10 -> 0", "224"},
      {"priority 3 medium -> 0", "242"},
      {"set 1 off -> 0", "022"},
      {"device 2 5 -> 0\nset 1 on -> 0", "222"}};
  for (const auto& [commands, want] : rows) {
    expectCommands("switchsim", commands);
    EXPECT_TRUE(waitUntil([states = want] {
      return fill("%%%", portView(1).status, portView(2).status, portView(3).status) == states;
    })) << want;
  }
}

TEST_F(SwitchsimTest, MisuseIsRefusedAndCountedAndChangesNothing) {
  OpenClientHandle stranger{}, forged = handle_;
  forged.opaque[1] += 1;
  uint32_t value = 0;
  char text[] = "1/0/1";
  OpenBuffDesc unterminated{5, text};
  const std::function<int32_t()> misused[] = {
      [&] { return rpcclt_openapiPoePsePortAdminEnableSet(&stranger, 1, 0); },
      [&] { return rpcclt_openapiPoePsePortReset(&forged, 1, 1); },
      [] { return rpcclt_openapiConnectivityCheck(nullptr); },
      [&] { return set(1, 2); },
      [&] { return set(0, 0); },
      [&] { return set(17, 0); },   // past the last ifNum
      [&] { return reset(2, 1); },  // another unit's
      [&] { return rpcclt_openapiPoePsePortAdminEnableGet(&handle_, 1, nullptr); },
      [&] { return rpcclt_openapiIfNumGet(&handle_, &unterminated, &value); }};

  uint64_t misuses = 0;
  for (const std::function<int32_t()>& misuse : misused) {
    EXPECT_EQ(misuse(), OPENCLT_INVALID_ARGUMENT) << misuses;
    EXPECT_EQ(misuseCount(), ++misuses);
  }

  EXPECT_EQ(set(7, 0), OPENCLT_NOT_ALLOWED) << "a port without PoE";
  EXPECT_EQ(misuseCount(), misuses);
  EXPECT_EQ(portView(1).status, kDelivering);
}

TEST_F(SwitchsimTest, FaultsBefallTheCallsTheyAreSetForAndADelayHoldsUpNobodyElse) {
  constexpr uint32_t kDelayMs = 600;
  failCalls(Operation::adminEnableSet, 2, -29, 2);
  failCalls(Operation::adminEnableSet, 0, -7, 1);
  for (const auto& [ifNum, result] : {std::pair{2U, -29}, {3U, -7}, {2U, -29}, {2U, 0}}) {
    EXPECT_EQ(set(ifNum, 0), result);
  }
  EXPECT_TRUE(portView(3).adminOn && !portView(2).adminOn) << "a failed set changes nothing";
  addFault({Operation::portReset, 1, -3, kDelayMs, 1});
  const int64_t startMs = monotonicMs();
  auto slow = std::async(std::launch::async, [this] { return reset(1, 1); });
  EXPECT_TRUE(waitUntil([] { return viewSwitch().faults.empty(); }));
  EXPECT_EQ(reset(1, 2), 0);
  EXPECT_LT(monotonicMs() - startMs, kDelayMs);
  EXPECT_EQ(slow.get(), -3);
  EXPECT_GE(monotonicMs() - startMs, kDelayMs);
}

TEST_F(SwitchsimTest, AKilledOwnerOfTheLockWedgesNobody) {
  const pid_t child = fork();
  if (child == 0) {
    const LockedState state = lockState();
    raise(SIGKILL);
  }
  waitpid(child, nullptr, 0);
  alarm(20);  // a wedged lock would end the test here
  for (const uint32_t mode : {0U, 1U}) EXPECT_EQ(set(1, mode), 0);
  alarm(0);
}

TEST_F(SwitchsimTest, ASwitchThatVanishesReturnsOrIsReplacedIsFollowed) {
  const std::string path = statePath();
  std::atomic<bool> stop{false};
  const auto caller = std::async(std::launch::async, [&] {
    for (uint32_t mode = 0; !stop;) rpcclt_openapiPoePsePortAdminEnableGet(&handle_, 2, &mode);
  });

  for (int i = 0; i < 20; i++) {
    EXPECT_EQ(set(1, 0), 0);
    EXPECT_EQ(rename(path.c_str(), (path + ".away").c_str()), 0);
    EXPECT_LT(set(1, 1), 0);
    makeSwitch({1, 8, 6, NameForm::slotPort});
    EXPECT_TRUE(portView(1).adminOn && portView(1).name == "0/1") << "another switch";
    EXPECT_EQ(rename((path + ".away").c_str(), path.c_str()), 0);
    EXPECT_FALSE(portView(1).adminOn) << "the first switch is back";
  }

  stop = true;
  caller.wait();
  std::ofstream(path) << "precious";  // cuts the mapped file short
  EXPECT_THROW(createSwitch({}, true), Failure);
  EXPECT_EQ(readFile(path), "precious");
}

TEST_F(SwitchsimTest, TheCommandDoesWhatItIsToldAndSaysWhyItCannot) {
  const std::string file = fs::path(kLogFilePath).replace_filename("scenario");
  writeFile(file, R"(device 2/0/6 12.5
clock "2024-02-29 23:59:50" --run  # of a leap year
at 0:00 set 1/0/6 off
+1s expect 2/0/6 delivering
fault openapiPoePsePortReset --port 2/0/1 --result -22 --times 1
expect 1/0/6 delivering within 5s)");
  expectCommands("switchsim", replaced(R"(play FILE --speed 9999 -> 1 FILE:6: expected 1/0/6 \
delivering within 5 s, it is disabled
set 1/0/7 off -> 1 no PoE
device 1 nan -> 2
show -> 0 2/0/6        14  on
show --json -> 0 "deviceWatts":	12.5
journal -> 0 cliSet
journal --json -> 0 "op":	"cliSet"
create -> 1 --force)",
                                       "FILE", file));
  EXPECT_EQ(viewSwitch().clock.time.substr(0, 16), "2024-03-01 00:00");
  EXPECT_EQ(reset(2, 9), -22);

  for (const auto& each : fs::directory_iterator(SCENARIOS)) {
    expectCommands("switchsim", fill("play % --speed 99999 -> 0", each.path().string()));
  }
  writeFile(file, "set 1 off\nset 1 of\nat 24:00\n+1x\n\ncreate --force\nset \"1\nexpect 1 up");
  for (const int line : {2, 3, 4, 6, 7, 8}) {
    expectCommands("switchsim", fill("play % -> 2 scenario:%: ", file, line));
  }
  EXPECT_TRUE(portView(1).adminOn) << "nothing is done";
  writeFile(file, "clock '2024-02-29 23:59:50'\nat 23:59:51");
  expectCommands("switchsim", fill("play % -> 1 :2: the switch's clock stands at 2024", file));
}

TEST_F(SwitchsimTest, ASwitchIsMadeOfThePortsOfAnotherInTheirState) {
  writeFile(statePath() + ".ports",
            R"({"ports":[{"unit":1,"ifNum":9,"adminMode":"disable"},{"unit":2,"ifNum":7,)"
            R"("name":"2/1/30","detectionStatus":"delivering","powerMw":6400}]})");
  expectCommands("switchsim", R"(create --force --from ${SWITCHSIM_STATE}.ports -> 0
show -> 0 1/0/1         9  off   disabled           -     2.0 W
show -> 0 2/1/30        7  on    delivering     6.4 W     6.4 W
create --force --from ${SWITCHSIM_STATE} -> 2 line 1, column 16: no JSON from here)");
}

// Over the change to daylight-saving time: on the 29th there is no 02:30.
TEST(LabTest, goesToAnyTimeExactlyAndDoesTheSameTwice) {
  setenv("TZ", "Europe/Berlin", 1);
  tzset();
  std::string acts[2];
  std::string told[2];
  for (int i = 0; i < 2; ++i) {
    const std::string folder = fill("/tmp/lab_test.%.%", getpid(), i);
    setenv("QUORIN_POED_LAB", folder.c_str(), 1);
    setenv("SWITCHSIM_STATE", (folder + "/switch.state").c_str(), 1);
    expectCommands("switchsim", R"(lab show -> 1 `switchsim lab up`
lab up --units 2 --at '2026-03-27 21:58:10' --speed 0 -> 0 it is Fri 2026-03-27 21:58:10
lab up -> 1 --dir)");
    expectCommands("quorin_poectl", R"(schedule add night --off 2/0/2 --from 22:00 --to 06:00 -> 0
schedule add gap --off 2/0/3 --from 02:30 --to 05:00 --daily -> 0
schedule add cycle --restart 1/0/4-6 --at 22:00 --off-time 40s --stagger 7s --weekly fri,sun -> 0
reset 1/0/5 --off-time 90s --no-wait -> 0)");
    expectCommands("switchsim", R"(lab at 22:00:39 -> 0 it is Fri 2026-03-27 22:00:39
lab at '2026-03-30 06:00' -> 0 it is Mon 2026-03-30 06:00:00
lab at '2026-03-29 22:00' -> 2 already)");
    expectCommands("quorin_poectl", "ports 2/0/2 2/0/3 -> 0 on");
    for (const JournalEntry& entry : journalSince(0)) {
      const time_t second = entry.timeMs / 1000;
      tm local{};
      char text[16];
      strftime(text, sizeof text, "%a%H:%M:%S", localtime_r(&second, &local));
      acts[i] += fill(" %%%", text, entry.value == 0 ? "-" : "+", entry.ifNum);
    }
    runCommand(programCommand("switchsim") + " journal; " + programCommand("quorin_poectl") +
                   " history --since -9d --json",
               &told[i]);
    expectCommands("switchsim", "lab down --clean -> 0\nlab at 23:00 -> 1 no lab");
    EXPECT_FALSE(fs::exists(folder));
  }
  EXPECT_EQ(acts[0],
            " Fri21:58:10-5 Fri21:59:40+5 Fri22:00:00-30 Fri22:00:00-4 Fri22:00:00-5 Fri22:00:00-6"
            " Fri22:00:40+4 Fri22:00:47+5 Fri22:00:54+6 Sat02:30:00-31 Sat05:00:00+31"
            " Sat06:00:00+30 Sat22:00:00-30 Sun05:00:00+31 Sun06:00:00+30 Sun22:00:00-30"
            " Sun22:00:00-4 Sun22:00:00-5 Sun22:00:00-6 Sun22:00:40+4 Sun22:00:47+5 Sun22:00:54+6"
            " Mon02:30:00-31 Mon05:00:00+31 Mon06:00:00+30");
  EXPECT_NE(told[0].find("\"scheduleName\":\"gap\""), std::string::npos) << told[0];
  EXPECT_EQ(told[0], told[1]);
  unsetenv("QUORIN_POED_LAB");
}
