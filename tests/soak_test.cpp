// The whole daemon, days in a minute: random schedules run under a clock that is moved, and what the history and the
// simulated switch's journal hold is compared with what must have happened, reckoned here without any of the daemon's
// code.
//
// The daemon may miss a minute when this machine stalls, so one restart schedule for every minute of the day (each on a
// port of unit 8 that nothing else uses) leaves a run behind for every minute that was looked at. Only those minutes
// are expected to have fired anything.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "base/database.h"
#include "daemon/paths.h"
#include "tests/support/daemon_process.h"
#include "tests/support/fixtures.h"
#include "tests/support/socket_client.h"

namespace {

constexpr int kMinutesPerDay = 1440;
constexpr int kClockSpeed = 1440;  // a day in a minute
constexpr int kSchedules = 40;
constexpr int kPortsPerUnit = 16;  // so that every ifNum has a lock
constexpr int kPortsPerSchedule = 2;
constexpr int kHeartbeatUnit = 8;
constexpr int kFirstHeartbeatId = 100000;
// After midnight, where the daemon is stopped, and between a window's start and end: an executor of its own powers a
// window's ports on, and must have the time to, also on a machine that stalls for seconds.
constexpr int kQuietMinutes = 180;
constexpr int64_t kMinuteSec = 60;
constexpr int64_t kDaySec = 86400;
constexpr int64_t kReapAgeSec = 90000;
// How late a run may be recorded: one real second of stalling is 24 minutes on the daemon's clock.
constexpr int64_t kLatenessSec = 12 * 3600;

tm calendarOf(int64_t day) {
  const time_t seconds = static_cast<time_t>(day * kDaySec);
  tm calendar{};
  gmtime_r(&seconds, &calendar);
  return calendar;
}

// Days since 1970-01-01 as "2026-04-29"; empty for 0.
std::string dateText(int64_t day) {
  char text[32] = "";
  const tm calendar = calendarOf(day);
  return std::string(text, day != 0 ? strftime(text, sizeof text, "%Y-%m-%d", &calendar) : 0);
}

std::string timeText(int minute) {
  char text[16];
  snprintf(text, sizeof text, "%02d:%02d", minute / 60, minute % 60);
  return text;
}

template <typename Numbers>
std::string listText(const Numbers& numbers) {
  std::string text;
  for (const auto number : numbers) {
    text += (text.empty() ? "[" : ",") + std::to_string(number);
  }
  return text.empty() ? "[]" : text + "]";
}

struct Plan {
  std::string type;  // "power_on", "power_off", "restart"
  std::string recurrence;
  std::set<int> days;
  int start = 0;  // or the restart time; minutes of the day
  int end = 0;
  bool allDay = false;
  bool enabled = true;
  int64_t firstDay = 0;  // inclusive, days since 1970; 0: open
  int64_t lastDay = 0;
  std::vector<uint32_t> ifNums;

  bool appliesOn(int64_t day) const {
    if (!enabled || (firstDay != 0 && day < firstDay) || (lastDay != 0 && day > lastDay)) {
      return false;
    }
    const tm calendar = calendarOf(day);
    const int weekday = calendar.tm_wday == 0 ? 7 : calendar.tm_wday;
    return recurrence == "daily" || days.count(recurrence == "weekly" ? weekday : calendar.tm_mday) > 0;
  }

  std::string json(const std::string& name) const {
    const auto member = [](const char* key, const std::string& value) {
      return std::string(",\"") + key + "\":\"" + value + "\"";
    };
    return R"({"offTimeSec":30,"allDay":)" + std::string(allDay ? "true" : "false") + R"(,"enabled":)" +
           (enabled ? "true" : "false") + R"(,"recurrenceDays":)" + listText(days) + R"(,"ifNums":)" +
           listText(ifNums) + member("name", name) + member("scheduleType", type) + member("recurrence", recurrence) +
           member("startTime", timeText(start)) + member("endTime", timeText(end)) +
           member("restartTime", timeText(start)) + member("startDate", dateText(firstDay)) +
           member("endDate", dateText(lastDay)) + "}";
  }
};

// What must be found of one schedule.
struct ExpectedRun {
  int64_t startedAt;
  std::string status;  // as the history shows it
};

// The daemon remembers the last 256 firings only. The heartbeats use that up in a few hours, so that all-day schedules
// act several times a day.
class FiredMemory {
 public:
  void add(int64_t id, int64_t day) {
    fired_.emplace_back(id, day);
    if (fired_.size() > 256) {
      fired_.pop_front();
    }
  }
  bool has(int64_t id, int64_t day) const {
    return std::find(fired_.begin(), fired_.end(), std::make_pair(id, day)) != fired_.end();
  }

 private:
  std::deque<std::pair<int64_t, int64_t>> fired_;
};

// Reckons minute by minute what must be found of one schedule.
struct Reckoner {
  int64_t id;
  Plan plan;
  std::vector<ExpectedRun> runs;
  std::vector<int> values;  // what is set on each of its ports, in order
  bool open = false;        // the last run is a window that has not ended

  void minute(int64_t unixTime, FiredMemory& memory) {
    if (open && unixTime - runs.back().startedAt > kReapAgeSec) {
      close("failed");
    }
    const int64_t day = unixTime / kDaySec;
    if (!plan.appliesOn(day)) {
      return;
    }
    const int64_t minuteOfDay = unixTime / kMinuteSec % kMinutesPerDay;
    const int inside = plan.type == "power_on" ? 1 : 0;
    if (plan.type == "restart") {
      if (minuteOfDay == plan.start) {
        memory.add(id, -1);
        begin(unixTime, "success", {0, 1});
      }
    } else if (plan.allDay) {
      if (!memory.has(id, day)) {
        memory.add(id, day);
        begin(unixTime, "success", {inside});
      }
    } else {
      window(unixTime, minuteOfDay, inside, memory);
    }
  }

 private:
  void window(int64_t unixTime, int64_t minuteOfDay, int inside, FiredMemory& memory) {
    if (minuteOfDay == plan.start) {
      close("failed");
      memory.add(id, -1);
      begin(unixTime, "running", {inside});
      open = true;
    }
    if (minuteOfDay == plan.end) {
      close("success");
      memory.add(id, -1);
      values.push_back(1 - inside);
    }
  }
  void begin(int64_t unixTime, const char* status, std::initializer_list<int> set) {
    runs.push_back({unixTime, status});
    values.insert(values.end(), set);
  }
  void close(const char* status) {
    if (open) {
      runs.back().status = status;
    }
    open = false;
  }
};

using RunsBySchedule = std::map<int64_t, std::vector<ExpectedRun>>;

RunsBySchedule readRuns() {
  RunsBySchedule runs;
  DatabasePtr db;
  openDatabase(kHistoryDbPath, &db);
  const StatementPtr rows = prepareStatement(
      db.get(), "SELECT schedule_id, started_at, COALESCE(overall_result, status) FROM poe_history ORDER BY run_id;");
  while (rows != nullptr && sqlite3_step(rows.get()) == SQLITE_ROW) {
    runs[sqlite3_column_int64(rows.get(), 0)].push_back(
        {sqlite3_column_int64(rows.get(), 1), columnText(rows.get(), 2)});
  }
  return runs;
}

// The minutes that the daemon has looked at, by their heartbeats. A late record still belongs to its schedule's minute.
std::set<int64_t> tickedMinutes(const RunsBySchedule& runs) {
  std::set<int64_t> minutes;
  for (auto heartbeat = runs.lower_bound(kFirstHeartbeatId); heartbeat != runs.end(); ++heartbeat) {
    for (const ExpectedRun& run : heartbeat->second) {
      const int64_t minute = heartbeat->first - kFirstHeartbeatId;
      minutes.insert(run.startedAt - (run.startedAt - minute * kMinuteSec) % kDaySec);
    }
  }
  return minutes;
}

std::map<uint32_t, std::vector<int>> readPortValues() {
  std::map<uint32_t, std::vector<int>> values;
  for (const switchsim::JournalEntry& entry : switchsim::journalSince(0)) {
    EXPECT_EQ(entry.result, 0) << entry.op << " " << entry.ifNum;
    values[entry.ifNum].push_back(static_cast<int>(entry.value));
  }
  return values;
}

void compareRuns(const std::string& what, const std::vector<ExpectedRun>& expected,
                 const std::vector<ExpectedRun>& actual) {
  ASSERT_EQ(actual.size(), expected.size()) << what;
  for (size_t i = 0; i < expected.size(); ++i) {
    const int64_t late = actual[i].startedAt - expected[i].startedAt;
    EXPECT_TRUE(late >= 0 && late < kLatenessSec) << what << ", run " << i << " is late by " << late << " s";
    EXPECT_EQ(actual[i].status, expected[i].status) << what << ", run " << i;
  }
}

class SoakTest : public RootTest {
 protected:
  void SetUp() override {
    setenv("TZ", "UTC0", 1);
    RootTest::SetUp();
    makeSwitch({8, kPortsPerUnit, kPortsPerUnit});
    seed_ =
        static_cast<unsigned>(environmentNumber("QUORIN_SOAK_SEED", static_cast<int>(std::random_device{}() >> 1U)));
    days_ = environmentNumber("QUORIN_SOAK_DAYS", 1);
    std::cout << "seed " << seed_ << ", " << days_ << " day(s)" << std::endl;
    random_.seed(seed_);
  }

  int pick(int from, int to) { return std::uniform_int_distribution<int>(from, to)(random_); }

  Plan randomPlan(int index) {
    constexpr const char* kTypes[] = {"power_on", "power_off", "restart"};
    constexpr const char* kRecurrences[] = {"daily", "weekly", "monthly"};
    Plan plan;
    plan.type = kTypes[pick(0, 2)];
    plan.recurrence = kRecurrences[pick(0, 2)];
    plan.start = pick(kQuietMinutes, kMinutesPerDay - 1);
    plan.end = pick(kQuietMinutes, kMinutesPerDay - 1);
    if (plan.type == "power_off" && pick(0, 4) == 0) {
      plan.end = plan.start;
    } else if (std::abs(plan.end - plan.start) < kQuietMinutes) {
      plan.end = plan.start >= 2 * kQuietMinutes ? plan.start - kQuietMinutes : plan.start + kQuietMinutes;
    }
    plan.allDay = plan.type != "restart" && pick(0, 5) == 0;
    plan.enabled = pick(0, 9) != 0;
    plan.firstDay = pick(0, 3) == 0 ? begin_ + pick(-1, days_) : 0;
    plan.lastDay = pick(0, 3) == 0 ? begin_ + pick(-1, days_) : 0;
    for (int i = pick(2, 6); plan.recurrence == "weekly" && i > 0; --i) {
      plan.days.insert(pick(1, 7));
    }
    for (int i = pick(8, 30); plan.recurrence == "monthly" && i > 0; --i) {
      plan.days.insert(pick(1, 31));
    }
    for (int i = 0; i < kPortsPerSchedule; ++i) {
      plan.ifNums.push_back(static_cast<uint32_t>(index * kPortsPerSchedule + i + 1));
    }
    return plan;
  }

  void createSchedules() {
    constexpr const char* kStarts[] = {"2028-02-28", "2027-02-27", "2026-12-31", "2026-04-29", "2027-03-06"};
    tm first{};
    strptime(kStarts[pick(0, 4)], "%Y-%m-%d", &first);
    begin_ = timegm(&first) / kDaySec;
    DaemonProcess daemon(TEST_DAEMON, 20);
    ASSERT_TRUE(daemon.startReady()) << logText();
    for (int i = 0; i < kSchedules; ++i) {
      const Plan plan = randomPlan(i);
      const std::string unit = std::to_string((plan.ifNums[0] - 1) / kPortsPerUnit + 1);
      const JsonPtr answer = rpcResult(
          "schedule.create", R"({"unit":)" + unit + R"(,"schedule":)" + plan.json("s" + std::to_string(i)) + "}");
      ASSERT_NE(answer, nullptr);
      reckoners_.push_back({jsonInt64Member(answer.get(), "scheduleId", 0), plan, {}, {}});
    }
    ASSERT_EQ(daemon.stop(), 0);
    insertHeartbeats();
    ASSERT_EQ(switchsim::createSwitch(switchsim::viewSwitch()->options, true), "");  // an empty journal
    executeOn(kHistoryDbPath, "DELETE FROM poe_history;");
  }

  void letDaysPass() const {
    DaemonProcess daemon(TEST_DAEMON, "@" + dateText(begin_) + " 23:40:00 x" + std::to_string(kClockSpeed));
    ASSERT_TRUE(daemon.startReady()) << logText();
    const int64_t lastMinute = (begin_ + 1 + days_) * kDaySec + kQuietMinutes / 2 * kMinuteSec;
    const std::string reached = "SELECT MAX(started_at)>=" + std::to_string(lastMinute) + " FROM poe_history;";
    const std::chrono::seconds deadline(180 + 120 * days_);
    ASSERT_TRUE(waitUntil([&] { return queryValue(kHistoryDbPath, reached) == "1"; }, deadline)) << logText();
    ASSERT_EQ(daemon.stop(), 0) << logText();
  }

  void reckon(const std::set<int64_t>& minutes) {
    FiredMemory memory;
    for (const int64_t minute : minutes) {
      for (Reckoner& reckoner : reckoners_) {
        reckoner.minute(minute, memory);
      }
      memory.add(kFirstHeartbeatId, minute);
    }
  }

  // Writes straight into the database what would take 1,440 requests.
  static void insertHeartbeats() {
    const std::string minutes = "WITH RECURSIVE m(n) AS (SELECT 0 UNION ALL SELECT n+1 FROM m WHERE n<1439) ";
    const std::string id = std::to_string(kFirstHeartbeatId) + "+n,";
    const std::string sql = minutes + "INSERT INTO poe_schedule SELECT " + id + std::to_string(kHeartbeatUnit) +
                            ",'h'||n,'restart',NULL,NULL,'daily',NULL,NULL,printf('%02d:%02d',n/60,n%60)," +
                            "0,0,0,0,1,0 FROM m;" + minutes + "INSERT INTO poe_schedule_ifs SELECT " + id +
                            "128 FROM m;";
    executeOn(kScheduleDbPath, sql);
  }

  unsigned seed_ = 0;
  int days_ = 1;
  int64_t begin_ = 0;  // the day before whose end the daemon starts, since 1970
  std::mt19937 random_;
  std::vector<Reckoner> reckoners_;
};

}  // namespace

TEST_F(SoakTest, everyScheduleFiresExactlyWhenItMust) {
  ASSERT_NO_FATAL_FAILURE(createSchedules());
  ASSERT_NO_FATAL_FAILURE(letDaysPass());

  const RunsBySchedule runs = readRuns();
  const std::set<int64_t> minutes = tickedMinutes(runs);
  reckon(minutes);
  auto values = readPortValues();
  size_t firings = 0;
  for (const Reckoner& reckoner : reckoners_) {
    const std::string what = "schedule " + std::to_string(reckoner.id) + " " + reckoner.plan.json("");
    const auto recorded = runs.find(reckoner.id);
    compareRuns(what, reckoner.runs, recorded != runs.end() ? recorded->second : std::vector<ExpectedRun>{});
    for (const uint32_t ifNum : reckoner.plan.ifNums) {
      EXPECT_EQ(values[ifNum], reckoner.values) << what << ", port " << ifNum;
    }
    firings += reckoner.runs.size();
  }
  EXPECT_GT(firings, 0U);
  EXPECT_EQ(switchsim::misuseCount(), 0U);
  std::cout << firings << " runs as reckoned, " << minutes.size() << " of "
            << (*minutes.rbegin() - *minutes.begin()) / kMinuteSec + 1 << " minutes looked at" << std::endl;
}
