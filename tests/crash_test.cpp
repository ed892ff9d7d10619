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
#include <utility>
#include <vector>

#include "base/database.h"
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

std::atomic<bool> ending{false};  // the daemon; until then every request is answered with ok

// What a client knows of one thing that it alone changes. Versions make each state of it distinct.
struct Known {
  int version = kAbsent;
  std::set<int> possible;  // what a request without an answer may have made of it
  int64_t id = 0;
};

class Client {
 public:
  Client(int number, unsigned seed) : number_(number), random_(seed) { settings_.version = 0; }

  // Sends requests until one is not answered with ok. Returns how many were.
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
    const bool ok = cJSON_IsTrue(jsonMember(answer.get(), "ok")) != 0;
    EXPECT_TRUE(ok || ending) << method << params << " answered: " << printJson(answer.get());
    if (result != nullptr) {
      result->reset(cJSON_DetachItemFromObject(answer.get(), "result"));
    }
    return ok;
  }

  // Sends a request that makes a thing what version says.
  static bool change(Known* known, int version, const std::string& method, const std::string& params,
                     JsonPtr* result = nullptr) {
    known->possible.insert(version);
    if (!isAnswered(method, params, result)) {
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
    const std::string unitOnly = R"({"unit":)" + std::to_string(unit());
    const std::string which = unitOnly + R"(,"scheduleId":)" + std::to_string(known->id);
    if (known->version != kAbsent && pick(0, 2) == 0) {
      return change(known, kAbsent, "schedule.delete", which + "}");
    }
    ++versions_;
    const std::string schedule = R"(,"schedule":)" + content(i) + "}";
    if (known->version != kAbsent) {
      return change(known, versions_, "schedule.update", which + schedule);
    }
    JsonPtr created;
    if (!change(known, versions_, "schedule.create", unitOnly + schedule, &created)) {
      return false;
    }
    const int64_t lastId = std::exchange(known->id, jsonInt64Member(created.get(), "scheduleId", 0));
    EXPECT_GT(known->id, lastId) << "an id is used again";
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

// How often a port was switched off (false) and on (true).
using Switchings = std::map<std::pair<uint32_t, bool>, int>;

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
    ending = false;
    std::vector<std::thread> threads;
    for (Client& client : clients_) {
      threads.emplace_back([&] { answered_ += client.work(); });
    }
    const std::vector<SocketClient> silent(stopped ? kSilentClients : 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(random_() % kMaxLifeMs));  // the random moment
    EXPECT_EQ(switchsim::misuseCount(), misuses_) << switchsim::viewSwitch()->lastMisuse;
    ending = true;
    daemon.signal(stopped ? SIGTERM : SIGKILL);
    EXPECT_EQ(daemon.wait(), stopped ? 0 : -SIGKILL) << logText();
    for (std::thread& thread : threads) {
      thread.join();
    }
    misuses_ = switchsim::misuseCount();  // after a stop, threads still call a switch that was left already
  }

  // lastRun: the newest run of before, or 0.
  void checkAfterStart(const std::string& lastRun) {
    for (const char* path : {kScheduleDbPath, kHistoryDbPath}) {
      EXPECT_EQ(queryValue(path, "PRAGMA integrity_check;"), "ok") << path;
      EXPECT_EQ(queryValue(path, "PRAGMA foreign_key_check;"), "") << path;
    }
    for (const std::string& left :
         {"WHERE h.status='running' AND (trigger_source='manual' OR run_id<=" + lastRun + ")",
          std::string("JOIN poe_history_port p USING (run_id) WHERE h.status<>'running' AND p.status='pending'")}) {
      EXPECT_EQ(queryValue(kHistoryDbPath, "SELECT COUNT(*) FROM poe_history h " + left), "0") << left;
    }
    for (Client& client : clients_) {
      client.check();
    }
    compareHistoryWithJournal();
  }

  // Every switching that the history calls done happened, and none happened without a run that had begun.
  void compareHistoryWithJournal() {
    readJournal();
    Switchings happened = happened_;
    DatabasePtr db;
    openDatabase(kHistoryDbPath, &db);
    const StatementPtr rows =
        prepareStatement(db.get(),
                         "SELECT if_num, v.on_, SUM(p.status='success'), SUM(p.status<>'skipped') FROM poe_history h "
                         "JOIN poe_history_port p USING (run_id) JOIN (SELECT 0 AS on_ UNION SELECT 1) v ON "
                         "schedule_type<>iif(on_, 'power_off', 'power_on') GROUP BY if_num, v.on_;");
    ASSERT_NE(rows, nullptr) << sqlite3_errmsg(db.get());
    const auto number = [&](int column) { return sqlite3_column_int(rows.get(), column); };
    Switchings recorded;
    while (sqlite3_step(rows.get()) == SQLITE_ROW) {
      const std::pair<uint32_t, bool> what{static_cast<uint32_t>(number(0)), number(1) != 0};
      recorded[what] = number(2);
      EXPECT_LE(happened[what], number(3)) << "port " << what.first << " was switched without a run";
      happened.erase(what);
    }
    EXPECT_TRUE(happened.empty()) << "a port was switched without any run";
    readJournal();
    for (const auto& [what, times] : recorded) {
      EXPECT_GE(happened_[what], times) << "port " << what.first << (what.second ? " on" : " off");
    }
  }

  // Adds what was journalled since the last time.
  void readJournal() {
    for (const switchsim::JournalEntry& entry : switchsim::journalSince(lastSeq_)) {
      EXPECT_EQ(entry.seq, lastSeq_ + 1) << "the journal was not read in time";
      lastSeq_ = entry.seq;
      happened_[{entry.ifNum, entry.value != 0}] += 1;
    }
  }

  unsigned seed_ = 0;
  std::mt19937 random_;
  std::deque<Client> clients_;
  Switchings happened_;
  uint64_t lastSeq_ = 0;
  uint64_t misuses_ = 0;
  std::atomic<int> answered_{0};
};

}  // namespace

TEST_F(CrashTest, nothingAcknowledgedIsLostHoweverItEnds) {
  const int cycles = environmentNumber("QUORIN_CRASH_CYCLES", 18);
  for (int cycle = 0; cycle < cycles && !HasFailure(); ++cycle) {
    DaemonProcess daemon(TEST_DAEMON, kClockSpeed);
    // Every other time only: reading the database repairs it, which the daemon must be able to do by itself.
    const std::string lastRun =
        cycle % 2 == 0 ? "0" : queryValue(kHistoryDbPath, "SELECT MAX(run_id) FROM poe_history;");
    ASSERT_TRUE(daemon.startReady()) << "cycle " << cycle << logText();
    checkAfterStart(lastRun);
    loadUntilItEnds(daemon, cycle % kStopEvery == kStopEvery - 1);
  }
  std::cout << cycles - cycles / kStopEvery << " kills, " << cycles / kStopEvery << " stops, " << answered_
            << " requests answered, " << lastSeq_ << " switchings" << std::endl;
}
