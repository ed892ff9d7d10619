// Random schedules, minute by minute: what each minute does to ports, and what the history holds in
// the end, is compared with what must be, reckoned here without any of the daemon's code, and with
// what the client foretells. QUORIN_SOAK_DAYS makes it longer; the seed is printed and
// QUORIN_SOAK_SEED gives it.
#include <sched.h>

#include <set>

#include "client/upcoming.h"
#include "daemon/paths.h"
#include "tests/support/fixtures.h"

// Takes the place of the C library's: no time is slept away.
extern "C" int nanosleep(const timespec*, timespec*) {
  sched_yield();
  return 0;
}

namespace {

constexpr uint32_t kSchedules = 60;
constexpr uint32_t kPortsPerUnit = 16;  // so that every ifNum has a lock
constexpr int kMinutesPerDay = 1440;
constexpr time_t kDaySec = 86400;

std::string timeText(time_t seconds, const char* format) {
  char text[32] = "";
  tm calendar{};
  return std::string(text, strftime(text, sizeof text, format, gmtime_r(&seconds, &calendar)));
}

// A random schedule of two ports, and what has become of it so far.
class Reckoned {
 public:
  Reckoned(uint32_t number, time_t firstDay, int days, std::mt19937* random)
      : firstPort_(2 * number + 1),
        type_(pick(random, 0, 2)),
        recurrence_(pick(random, 0, 2)),
        start_(pick(random, 0, kMinutesPerDay - 1)),
        end_(pick(random, 0, 4) == 0 ? start_ : pick(random, 0, kMinutesPerDay - 1)),
        allDay_(type_ != kRestart && pick(random, 0, 5) == 0),
        enabled_(pick(random, 0, 9) != 0),
        first_(pick(random, 0, 3) == 0 ? firstDay + kDaySec * pick(random, -1, days) : 0),
        last_(pick(random, 0, 3) == 0 ? firstDay + kDaySec * pick(random, -1, days) : 0) {
    for (int i = recurrence_ == 1 ? pick(random, 2, 6) : pick(random, 8, 30);
         recurrence_ > 0 && i > 0; --i) {
      days_.insert(recurrence_ == 1 ? pick(random, 1, 7) : pick(random, 1, 31));
    }
    if (type_ == kPowerOn && start_ == end_) {
      end_ = (start_ + 1) % kMinutesPerDay;  // its start and its end would contend for the ports
    }
  }

  int32_t unit() const { return static_cast<int32_t>((firstPort_ - 1) / kPortsPerUnit + 1); }

  std::string members() const {
    constexpr const char* kTypes[] = {"power_off", "power_on", "restart"};
    constexpr const char* kRecurrences[] = {"daily", "weekly", "monthly"};
    const auto text = [](const char* key, const std::string& value) {
      return "\"" + (key + ("\":\"" + value)) + "\",";
    };
    const auto flag = [](const char* key, bool is) {
      return "\"" + (key + std::string(is ? "\":true," : "\":false,"));
    };
    std::ostringstream days;
    std::copy(days_.begin(), days_.end(), std::ostream_iterator<int>(days, ","));
    return text("scheduleType", kTypes[type_]) + text("recurrence", kRecurrences[recurrence_]) +
           text("startTime", timeText(start_ * 60, "%R")) +
           text("restartTime", timeText(start_ * 60, "%R")) +
           text("endTime", timeText(end_ * 60, "%R")) +
           text("startDate", first_ == 0 ? "" : timeText(first_, "%F")) +
           text("endDate", last_ == 0 ? "" : timeText(last_, "%F")) +
           (type_ == kRestart ? "" : flag("allDay", allDay_)) + flag("enabled", enabled_) +
           R"("recurrenceDays":[)" + replaced(days.str() + "]", ",]", "]") + R"(,"ifNums":[)" +
           std::to_string(firstPort_) + "," + std::to_string(firstPort_ + 1) + "]";
  }

  // What the minute does to each port, in the form of acts().
  std::string minute(time_t now) {
    const int minuteOfDay = static_cast<int>(now % kDaySec / 60);
    const std::string inside = type_ == kPowerOn ? "+" : "-";
    std::string done;
    if (!appliesOn(now)) {
      return done;
    }
    if (allDay_) {
      done = minuteOfDay == 0 ? begin(inside, "success") : "";
    } else if (type_ == kRestart) {
      done = minuteOfDay == start_ ? begin("-+", "success") : "";
    } else {
      done = minuteOfDay == start_ ? closed("failed"), begin(inside, "running") : "";
      done += minuteOfDay == end_ ? closed("success"), type_ == kPowerOn ? "-" : "+" : "";
    }
    std::string text;
    for (const uint32_t port : {firstPort_, firstPort_ + 1}) {
      for (const char act : done) {
        text += std::to_string(port) + act + " ";
      }
    }
    return text;
  }

  // The results of its runs, those of open ones as "running".
  std::string results() const { return results_.empty() ? "NULL" : results_; }

 private:
  static constexpr int kPowerOn = 1, kRestart = 2;

  bool appliesOn(time_t now) const {
    tm calendar{};
    gmtime_r(&now, &calendar);
    const time_t day = now - now % kDaySec;
    const int today = recurrence_ == 2        ? calendar.tm_mday
                      : calendar.tm_wday == 0 ? 7
                                              : calendar.tm_wday;
    return enabled_ && day >= first_ && (last_ == 0 || day <= last_) &&
           (recurrence_ == 0 || days_.count(today) > 0);
  }
  std::string begin(const std::string& acts, const std::string& result) {
    results_ += result + " ";
    return acts;
  }
  void closed(const std::string& result) { results_ = replaced(results_, "running", result); }

  uint32_t firstPort_;
  int type_, recurrence_, start_, end_;  // minutes of the day
  bool allDay_, enabled_;
  time_t first_, last_;  // days, inclusive; 0: open
  std::set<int> days_;
  std::string results_;
};

// By port, the acts of each in their order.
std::string byPort(const std::string& acts) {
  std::istringstream words(acts);
  std::vector<std::string> sorted{std::istream_iterator<std::string>(words), {}};
  std::stable_sort(sorted.begin(), sorted.end(), [](const std::string& a, const std::string& b) {
    return std::stoi(a) < std::stoi(b);
  });
  std::string text;
  for (const std::string& act : sorted) {
    text += act + " ";
  }
  return text;
}

// What the client expects of each minute, in the form of acts().
std::map<time_t, std::string> foretold(const std::vector<Schedule>& schedules, time_t from,
                                       time_t until) {
  const std::string done[] = {"-", "+", "-+"};  // by Act
  std::map<time_t, std::string> minutes;
  for (const auto& [firing, schedule] :
       firingsWithin(schedules, from - 1, until - 1, Zone("UTC"))) {
    for (const uint32_t port : schedule->ifNums) {
      for (const char act : done[static_cast<size_t>(firing.act)]) {
        minutes[firing.at] += std::to_string(port) + act + " ";
      }
    }
  }
  return minutes;
}

class SoakTest : public TickTest {
 protected:
  SoakTest() { options_ = {8, kPortsPerUnit, kPortsPerUnit}; }
};

}  // namespace

TEST_F(SoakTest, everyScheduleFiresExactlyWhenItMust) {
  constexpr time_t kFirstDays[] = {1835308800, 1803686400, 1798675200, 1777420800,
                                   1804291200};  // ends of months
  std::mt19937 random(environmentSeed("QUORIN_SOAK_SEED"));
  const int days = environmentNumber("QUORIN_SOAK_DAYS", 10);
  const time_t firstDay = kFirstDays[pick(&random, 0, 4)];
  std::vector<Reckoned> schedules;
  std::vector<int64_t> ids;
  std::vector<Schedule> asListed;
  for (uint32_t i = 0; i < kSchedules; ++i) {
    schedules.emplace_back(i, firstDay, days, &random);
    ids.push_back(create(schedules[i].members(), schedules[i].unit()));
    const std::string object = scheduleJson(schedules[i].members());
    asListed.push_back(readSchedule(jsonParse(object.c_str()).get(), schedules[i].unit()));
  }
  auto expectations = foretold(asListed, firstDay, firstDay + days * kDaySec);

  for (time_t now = firstDay; now < firstDay + days * kDaySec; now += 60) {
    std::string expected;
    for (Reckoned& schedule : schedules) {
      expected += schedule.minute(now);
    }
    ASSERT_EQ(byPort(tickAt(timeText(now, "%F %R"))), expected) << timeText(now, "%F %R");
  }

  for (size_t i = 0; i < kSchedules; ++i) {
    EXPECT_EQ(query("SELECT GROUP_CONCAT(result || ' ', '') FROM (SELECT COALESCE(overall_result, "
                    "status) AS result FROM "
                    "poe_history WHERE schedule_id=" +
                    std::to_string(ids[i]) + " ORDER BY run_id)"),
              schedules[i].results())
        << schedules[i].members();
  }
  EXPECT_EQ(switchsim::misuseCount(), 0U);
  std::cout << query("SELECT COUNT(*) FROM poe_history") << " runs in " << days << " day(s)"
            << std::endl;
}
