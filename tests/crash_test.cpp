// The real daemon under random load, killed or stopped at a random moment, started again and
// checked; again and again.
//
// QUORIN_CRASH_CYCLES makes it longer; the seed is printed and QUORIN_CRASH_SEED gives it.
#include "tests/support/client_load.h"

namespace {

constexpr int kClients = 4;
constexpr int kClockSpeed = 20;
constexpr int kStopEvery = 6;
constexpr int kMaxLifeMs = 300;
constexpr size_t kSilentClients = 200;  // that a stop must not wait for
// How often a port was switched off (false) and on (true).
using Switchings = std::map<std::pair<uint32_t, bool>, int>;

class CrashTest : public RootTest {
 protected:
  void SetUp() override {
    RootTest::SetUp();
    const unsigned seed = environmentSeed("QUORIN_CRASH_SEED");
    random_.seed(seed);
    for (int i = 0; i < kClients; ++i) {
      clients_.emplace_back(i, seed + static_cast<unsigned>(i), &ending_);
    }
    for (const uint32_t port : LoadClient::kPorts) {
      happened_[{port, false}] = happened_[{port, true}] = 0;
    }
  }

  // Lets all clients work until the daemon is gone.
  void loadUntilItEnds(DaemonProcess& daemon, bool stopped) {
    ending_ = false;
    std::vector<std::future<void>> work;
    for (LoadClient& client : clients_) {
      work.push_back(std::async(std::launch::async, [&] { answered_ += client.work(); }));
    }
    const std::vector<SocketClient> silent(stopped ? kSilentClients : 0);
    // Until the random moment.
    std::this_thread::sleep_for(std::chrono::milliseconds(random_() % kMaxLifeMs));
    EXPECT_EQ(switchsim::misuseCount(), misuses_) << switchsim::viewSwitch().lastMisuse;
    ending_ = true;
    daemon.signal(stopped ? SIGTERM : SIGKILL);
    EXPECT_EQ(daemon.wait(), stopped ? 0 : -SIGKILL);
    work.clear();
    // After a stop, threads still call a switch that was left already.
    misuses_ = switchsim::misuseCount();
  }

  // lastRun: the newest run of before, or 0.
  void checkAfterStart(const std::string& lastRun) {
    for (const char* path : {kScheduleDbPath, kHistoryDbPath}) {
      EXPECT_EQ(queryValue(path, "PRAGMA integrity_check;"), "ok") << path;
      EXPECT_EQ(queryValue(path, "PRAGMA foreign_key_check;"), "") << path;
    }
    const char* left = "status='running' AND (trigger_source='manual' OR run_id<=%)";
    EXPECT_EQ(runCount(fill(left, lastRun)), 0);
    const char* pending = "SELECT run_id FROM poe_history_port WHERE status='pending'";
    EXPECT_EQ(runCount(fill("status<>'running' AND run_id IN (%)", pending)), 0);
    for (LoadClient& client : clients_) {
      client.check();
    }
    compareHistoryWithJournal();
  }

  // Every switching that the history calls done happened, and none happened without a run that had
  // begun.
  void compareHistoryWithJournal() {
    readJournal();
    const Switchings happened = happened_;
    EXPECT_EQ(happened.size(), 2 * std::size(LoadClient::kPorts)) << "others were switched";
    for (const auto& [what, times] : happened) {
      const auto& [port, on] = what;
      const std::string rows = fill(
          "SELECT COUNT(*) FROM poe_history JOIN poe_history_port p USING (run_id) "
          "WHERE if_num=% AND schedule_type<>'%' AND p.status",
          port, on ? "power_off" : "power_on");
      EXPECT_LE(times, std::stoi(query(rows + "<>'skipped'"))) << "port " << port << " " << on;
      const int recorded = std::stoi(query(rows + "='success'"));
      readJournal();
      EXPECT_GE(happened_[what], recorded) << "port " << port << " " << on;
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

  std::atomic<bool> ending_{false};  // the daemon; until then every request is answered
  std::mt19937 random_;
  std::deque<LoadClient> clients_;
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
    // Every other time only: reading the database repairs it, which the daemon must be able to do
    // by itself.
    const std::string lastRun = cycle % 2 == 0 ? "0" : query("SELECT MAX(run_id) FROM poe_history");
    ASSERT_TRUE(daemon.startReady()) << "cycle " << cycle;
    checkAfterStart(lastRun);
    loadUntilItEnds(daemon, cycle % kStopEvery == kStopEvery - 1);
  }
  std::cout << cycles - cycles / kStopEvery << " kills, " << cycles / kStopEvery << " stops, "
            << answered_ << " requests answered, " << lastSeq_ << " switchings" << std::endl;
}
