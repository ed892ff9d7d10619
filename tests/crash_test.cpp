// The real daemon under random load, killed or stopped at a random moment, started again and checked; again and again.
//
// Each client owns a few schedules and one unit's settings, so it knows what they must be after its last answer; of a
// request that got no answer either state will do. QUORIN_CRASH_CYCLES makes it longer; the seed is printed and
// QUORIN_CRASH_SEED gives it.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <deque>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "base/sqlite_guard.h"
#include "daemon/paths.h"
#include "tests/support/daemon_process.h"
#include "tests/support/fixtures.h"
#include "tests/support/socket_client.h"

namespace {

constexpr int kClients = 4;
constexpr int kSchedulesPerClient = 4;
constexpr int kManualPorts = 6;          // ifNums 1 to 6, of unit 1
constexpr int kFirstScheduledPort = 29;  // of unit 2
constexpr int kFirstSettingsUnit = 3;    // units that this switch does not have: nothing is held back
constexpr int kClockSpeed = 20;
constexpr int kStopEvery = 6;
constexpr int kMaxLifeMs = 300;
constexpr size_t kSilentClients = 200;  // that a stop must not wait for
constexpr int kAbsent = -1;

// What a client knows of one thing that it alone changes. Versions make each state of it distinct.
struct Known {
  int version = kAbsent;
  std::set<int> possible;  // what a request without an answer may have made of it
  int64_t id = 0;
};

class Client {
 public:
  Client(int number, unsigned seed) : number_(number), random_(seed) { settings_.version = 0; }

  // Sends requests until one gets no answer. Returns how many were answered.
  int work() {
    int answered = 0;
    while (doSomething()) {
      ++answered;
    }
    return answered;
  }

  // What the daemon shows must be what was acknowledged.
  void check() {
    const JsonPtr list = rpcResult("schedule.list", R"({"unit":)" + std::to_string(unit()) + "}");
    std::map<std::string, const cJSON*> shown;
    const cJSON* schedule = nullptr;
    cJSON_ArrayForEach(schedule, jsonMember(list.get(), "schedules")) {
      shown[jsonMember(schedule, "name")->valuestring] = schedule;
    }
    for (int i = 0; i < kSchedulesPerClient; ++i) {
      settle(&schedules_[i], jsonInt32Member(shown[name(i)], "interPortDelaySec", kAbsent), name(i));
      schedules_[i].id = jsonInt64Member(shown[name(i)], "scheduleId", schedules_[i].id);
    }
    const JsonPtr settings = rpcResult("bootdelay.get", R"({"unit":)" + std::to_string(settingsUnit()) + "}");
    settle(&settings_, jsonInt32Member(settings.get(), "delaySec", kAbsent), "settings");
  }

 private:
  int pick(int from, int to) { return std::uniform_int_distribution<int>(from, to)(random_); }
  int unit() const { return number_ % 2 + 1; }
  int settingsUnit() const { return kFirstSettingsUnit + number_; }
  std::string name(int i) const { return "client " + std::to_string(number_) + " schedule " + std::to_string(i); }

  static void settle(Known* known, int shown, const std::string& what) {
    EXPECT_TRUE(shown == known->version || known->possible.count(shown) > 0)
        << what << ": " << shown << " instead of " << known->version;
    known->version = shown;
    known->possible.clear();
  }

  bool doSomething() {
    switch (pick(0, 11)) {
      case 0:
        return restart(pick(1, kManualPorts));
      case 1:
        return isAnswered("sensors.all", R"({"unit":1})");
      case 2:
        return isAnswered("history.list", R"({"unit":2,"pageSize":5})");
      case 3:
        return changeSettings();
      default:
        return changeSchedule(pick(0, kSchedulesPerClient - 1));
    }
  }

  static bool restart(int port) {
    return isAnswered("manual.reset", R"({"unit":1,"request":{"offTimeSec":1,"ifNums":[)" + std::to_string(port) + "," +
                                          std::to_string(port % kManualPorts + 1) + "]}}");
  }

  static bool isAnswered(const std::string& method, const std::string& params, JsonPtr* result = nullptr) {
    const JsonPtr answer = jsonParse(rpc(method, params).c_str());
    const cJSON* ok = jsonMember(answer.get(), "ok");
    EXPECT_TRUE(ok == nullptr || cJSON_IsTrue(ok)) << method << params << printJson(answer.get());
    if (result != nullptr) {
      result->reset(cJSON_DetachItemFromObject(answer.get(), "result"));
    }
    return ok != nullptr;
  }

  // Sends a request that makes a thing what version says.
  bool change(Known* known, int version, const std::string& method, const std::string& params) {
    known->possible.insert(version);
    if (!isAnswered(method, params)) {
      return false;
    }
    known->version = version;
    known->possible.clear();
    return true;
  }

  bool changeSettings() {
    const int version = pick(0, 600);
    return change(&settings_, version, "bootdelay.set",
                  R"({"unit":)" + std::to_string(settingsUnit()) + R"(,"delaySec":)" + std::to_string(version) + "}");
  }

  bool changeSchedule(int i) {
    Known* known = &schedules_[i];
    const std::string where = R"({"unit":)" + std::to_string(unit());
    if (known->version == kAbsent) {
      return createSchedule(known, i, where);
    }
    const std::string which = where + R"(,"scheduleId":)" + std::to_string(known->id);
    if (pick(0, 2) == 0) {
      return change(known, kAbsent, "schedule.delete", which + "}");
    }
    ++versions_;
    return change(known, versions_, "schedule.update", which + R"(,"schedule":)" + content(i) + "}");
  }

  bool createSchedule(Known* known, int i, const std::string& where) {
    known->possible.insert(++versions_);
    JsonPtr created;
    if (!isAnswered("schedule.create", where + R"(,"schedule":)" + content(i) + "}", &created)) {
      return false;
    }
    const int64_t id = jsonInt64Member(created.get(), "scheduleId", 0);
    EXPECT_GT(id, known->id) << "an id is used again";
    *known = {versions_, {}, id};
    return true;
  }

  // An all-day schedule: it acts after every start.
  std::string content(int i) const {
    return R"({"name":")" + name(i) + R"(","scheduleType":")" + (i % 2 == 0 ? "power_off" : "power_on") +
           R"(","recurrence":"daily","allDay":true,"interPortDelaySec":)" + std::to_string(versions_) +
           R"(,"ifNums":[)" + std::to_string(kFirstScheduledPort + i) + "]}";
  }

  int number_;
  std::mt19937 random_;
  Known settings_;
  Known schedules_[kSchedulesPerClient];
  int versions_ = 0;
};

// How often a port was switched off and on.
struct Switchings {
  int offs = 0;
  int ons = 0;
};

class CrashTest : public RootTest {
 protected:
  void SetUp() override {
    RootTest::SetUp();
    seed_ =
        static_cast<unsigned>(environmentNumber("QUORIN_CRASH_SEED", static_cast<int>(std::random_device{}() >> 1U)));
    std::cout << "seed " << seed_ << std::endl;
    random_.seed(seed_);
    for (int i = 0; i < kClients; ++i) {
      clients_.emplace_back(i, seed_ + static_cast<unsigned>(i));
    }
  }

  // Lets all clients work until the daemon is gone. True when it went as it was told to.
  void loadUntilItEnds(DaemonProcess& daemon, bool stopped) {
    std::vector<std::thread> threads;
    for (Client& client : clients_) {
      threads.emplace_back([&] { answered_ += client.work(); });
    }
    const std::vector<SocketClient> silent(stopped ? kSilentClients : 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(random_() % kMaxLifeMs));  // the random moment
    daemon.signal(stopped ? SIGTERM : SIGKILL);
    EXPECT_EQ(daemon.wait(), stopped ? 0 : -SIGKILL) << logText();
    for (std::thread& thread : threads) {
      thread.join();
    }
  }

  void checkAfterStart() {
    for (const char* path : {kScheduleDbPath, kHistoryDbPath}) {
      EXPECT_EQ(queryValue(path, "PRAGMA integrity_check;"), "ok") << path;
      EXPECT_EQ(queryValue(path, "PRAGMA foreign_key_check;"), "") << path;
    }
    EXPECT_EQ(queryValue(kHistoryDbPath,
                         "SELECT COUNT(*) FROM poe_history WHERE status='running' AND "
                         "trigger_source='manual';"),
              "0");
    EXPECT_EQ(queryValue(kHistoryDbPath,
                         "SELECT COUNT(*) FROM poe_history_port WHERE status='pending' AND run_id NOT IN "
                         "(SELECT run_id FROM poe_history WHERE status='running');"),
              "0");
    for (Client& client : clients_) {
      client.check();
    }
    compareHistoryWithJournal();
  }

  // Every switching that the history calls done happened, and none happened without a run that had begun.
  void compareHistoryWithJournal() {
    readJournal();
    auto happened = happened_;
    DatabasePtr db;
    openDatabase(kHistoryDbPath, &db);
    const StatementPtr rows = prepareStatement(
        db.get(),
        "SELECT if_num, SUM(off AND done), SUM(on_ AND done), SUM(off AND begun), SUM(on_ AND begun) FROM (SELECT "
        "if_num, schedule_type<>'power_on' AS off, schedule_type<>'power_off' AS on_, p.status='success' AS done, "
        "p.status<>'skipped' AS begun FROM poe_history h JOIN poe_history_port p USING (run_id)) GROUP BY if_num;");
    ASSERT_NE(rows, nullptr) << sqlite3_errmsg(db.get());
    const auto count = [&](int column) { return sqlite3_column_int(rows.get(), column); };
    std::map<uint32_t, Switchings> recorded;
    while (sqlite3_step(rows.get()) == SQLITE_ROW) {
      const auto ifNum = static_cast<uint32_t>(count(0));
      recorded[ifNum] = {count(1), count(2)};
      EXPECT_LE(happened[ifNum].offs, count(3)) << "port " << ifNum << " went off without a run";
      EXPECT_LE(happened[ifNum].ons, count(4)) << "port " << ifNum << " went on without a run";
      happened.erase(ifNum);
    }
    EXPECT_TRUE(happened.empty()) << "a port was switched without any run";
    readJournal();
    for (const auto& [ifNum, done] : recorded) {
      EXPECT_GE(happened_[ifNum].offs, done.offs) << "port " << ifNum;
      EXPECT_GE(happened_[ifNum].ons, done.ons) << "port " << ifNum;
    }
  }

  // Adds what was journalled since the last time.
  void readJournal() {
    for (const switchsim::JournalEntry& entry : switchsim::journalSince(lastSeq_)) {
      EXPECT_EQ(entry.seq, lastSeq_ + 1) << "the journal was not read in time";
      lastSeq_ = entry.seq;
      (entry.value == 0 ? happened_[entry.ifNum].offs : happened_[entry.ifNum].ons) += 1;
    }
  }

  unsigned seed_ = 0;
  std::mt19937 random_;
  std::deque<Client> clients_;
  std::map<uint32_t, Switchings> happened_;
  uint64_t lastSeq_ = 0;
  std::atomic<int> answered_{0};
};

}  // namespace

TEST_F(CrashTest, nothingAcknowledgedIsLostHoweverItEnds) {
  const int cycles = environmentNumber("QUORIN_CRASH_CYCLES", 18);
  for (int cycle = 0; cycle < cycles && !HasFailure(); ++cycle) {
    DaemonProcess daemon(TEST_DAEMON, kClockSpeed);
    ASSERT_TRUE(daemon.startReady()) << "cycle " << cycle << logText();
    checkAfterStart();
    loadUntilItEnds(daemon, cycle % kStopEvery == kStopEvery - 1);
  }
  EXPECT_EQ(switchsim::misuseCount(), 0U);
  std::cout << cycles - cycles / kStopEvery << " kills, " << cycles / kStopEvery << " stops, " << answered_
            << " requests answered, " << lastSeq_ << " switchings" << std::endl;
}
