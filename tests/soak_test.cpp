// Random schedules, minute by minute: what each minute does to ports, and what the history holds in
// the end, is compared with what must be, reckoned here without any of the daemon's code, and with
// what the client expects. QUORIN_SOAK_DAYS makes it longer; the seed is printed and
// QUORIN_SOAK_SEED gives it.
#include <sched.h>

#include <regex>
#include <set>

#include "forecast/firings.h"
#include "tests/support/daemon_process.h"
#include "tests/support/reckoned.h"

// Takes the place of the C library's: no time is slept away.
extern "C" int nanosleep(const timespec*, timespec*) {
  sched_yield();
  return 0;
}

namespace {

constexpr uint32_t kSchedules = 60;
constexpr uint32_t kPortsPerUnit = 16;  // so that every ifNum has a lock

// What the client expects of each minute, in the form of tickAt().
std::map<time_t, std::string> plannedBy(const std::vector<Schedule>& schedules, time_t from,
                                        time_t until, const Zone& zone) {
  const std::string done[] = {"-", "+", "-+"};  // by Act
  std::map<std::pair<time_t, uint32_t>, std::string> acts;
  for (const Firing& firing :
       firingsWithin(schedules, SwitchTime(from - 1), SwitchTime(until - 1), zone)) {
    for (const uint32_t port : firing.schedule->ifNums) {
      acts[{firing.at, port}] += done[static_cast<size_t>(firing.act)];
    }
  }

  std::map<time_t, std::string> minutes;
  for (const auto& [where, signs] : acts) {
    for (const char sign : signs) {
      std::string& minute = minutes[where.first];
      minute += fill(minute.empty() ? "%%" : " %%", where.second, sign);
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
  // Ends of months.
  constexpr time_t kFirstDays[] = {1835308800, 1803686400, 1798675200, 1777420800, 1804291200};
  std::mt19937 random(environmentSeed("QUORIN_SOAK_SEED"));
  const int days = environmentNumber("QUORIN_SOAK_DAYS", 10);
  const time_t firstDay = kFirstDays[pick(&random, 0, 4)];
  std::map<int64_t, Reckoned> schedules;  // by id
  std::vector<Schedule> asListed;

  for (uint32_t port = 1; port < 2 * kSchedules; port += 2) {
    const Reckoned schedule = randomSchedule(port, firstDay, days, &random);
    const auto unit = static_cast<int32_t>((port - 1) / kPortsPerUnit + 1);
    schedules.emplace(create(membersOf(schedule), unit), schedule);
    asListed.push_back(
        readSchedule(jsonParse(scheduleJson(membersOf(schedule)).c_str()).get(), unit));
  }
  auto expectations = plannedBy(asListed, firstDay, firstDay + days * kDaySec, Zone("UTC"));

  for (time_t now = firstDay; now < firstDay + days * kDaySec; now += 60) {
    std::string expected;
    for (auto& [id, schedule] : schedules) {
      expected += passMinute(&schedule, now, now % kDaySec == 0);
    }
    const std::string time = timeText(now, "%F %R");
    const std::string done = tickAt(time);
    ASSERT_EQ(done, expected.substr(expected.empty() ? 0 : 1)) << time;
    ASSERT_EQ(done, expectations[now]) << "the client, " << time;
  }

  for (const auto& [id, schedule] : schedules) {
    EXPECT_EQ(query(fill("SELECT IFNULL(GROUP_CONCAT(result || ' ', ''), '') FROM (SELECT "
                         "COALESCE(overall_result, status) AS result FROM poe_history WHERE "
                         "schedule_id=% ORDER BY run_id)",
                         id)),
              schedule.results)
        << membersOf(schedule);
  }

  std::cout << runCount("1") << " runs in " << days << " day(s)" << std::endl;
}

using RehearsalTest = RunningDaemonTest;

// Three days, and in the night of the second, if at all, the zone's clock is changed.
constexpr struct {
  const char* zone;
  const char* from;
} kRehearsals[] = {
    {"UTC", "2032-02-27"},
    {"Asia/Kathmandu", "2032-02-27"},
    {"Europe/Berlin", "2032-03-27"},
    {"Europe/Berlin", "2032-10-30"},
    {"America/Havana", "2032-03-13"},  // the next day has no midnight
    {"Africa/Cairo", "2032-10-27"},    // the next day has its last hour twice
    {"Australia/Lord_Howe", "2032-04-03"},
    {"Europe/Dublin", "2032-03-27"},  // whose summer time is the usual one
    {"Europe/Dublin", "2032-10-30"},
    {"Africa/Casablanca", "2032-01-17"},  // and in Ramadan the other
    {"Africa/Casablanca", "2032-11-27"},
    {"America/New_York", "2032-11-06"},
};

// The minutes of whole days in the process's zone, as if it were UTC, and when they first come.
static std::map<time_t, time_t> minutesFrom(time_t firstDay, int days) {
  std::map<time_t, time_t> minutes;
  for (time_t at = firstDay - kDaySec; at < firstDay + (days + 1) * kDaySec; at += 60) {
    tm calendar{};
    localtime_r(&at, &calendar);
    minutes.emplace(timegm(&calendar), at);
  }
  minutes.erase(minutes.begin(), minutes.lower_bound(firstDay));
  minutes.erase(minutes.lower_bound(firstDay + days * kDaySec), minutes.end());
  return minutes;
}

// Not always midnight.
static bool isFirstOfDay(const std::map<time_t, time_t>& minutes, time_t now) {
  return minutes.lower_bound(now - now % kDaySec)->first == now;
}

// Whether one is open at the instant, and ends.
static bool isInWindow(const Reckoned& schedule, time_t at) {
  const time_t length = (schedule.end - schedule.start + kMinutesPerDay) % kMinutesPerDay * 60;
  for (time_t start = at - length + 60; schedule.isWindow() && start < at; start += 60) {
    if (start % kDaySec / 60 == schedule.start && appliesOn(schedule, start)) {
      return appliesOn(schedule, start + length);
    }
  }
  return false;
}

static time_t localDay(const char* date) {
  return *switchsim::localSeconds(fill("% 00:00:00", date));
}

TEST(ForecastTest, whatIsPlannedIsWhatMustHappenInEveryZone) {
  std::mt19937 random(environmentSeed("QUORIN_SOAK_SEED"));
  for (const auto& [zone, fromText] : kRehearsals) {
    setenv("TZ", zone, 1);
    tzset();
    const std::map<time_t, time_t> minutes = minutesFrom(localDay(fromText), 3);
    for (int i = 0; i < 200; ++i) {
      Reckoned schedule = randomSchedule(1, localDay(fromText), 3, &random);
      const std::vector<Schedule> asListed{
          readSchedule(jsonParse(scheduleJson(membersOf(schedule)).c_str()).get(), 1)};
      std::map<time_t, std::string> wanted;
      for (const auto& [now, at] : minutes) {
        const std::string done = passMinute(&schedule, now, isFirstOfDay(minutes, now));
        if (!done.empty()) {
          wanted[at] = done.substr(1);
        }
      }
      EXPECT_EQ(
          plannedBy(asListed, minutes.begin()->second, minutes.rbegin()->second + 60, Zone(zone)),
          wanted)
          << zone << " " << fromText << "\n"
          << membersOf(schedule);
    }
  }
  unsetenv("TZ");
  tzset();
}

TEST_F(RehearsalTest, aRehearsalShowsWhatMustHappenAndWhatDeservesALook) {
  std::mt19937 random(environmentSeed("QUORIN_SOAK_SEED"));
  const auto& [zone, fromText] = kRehearsals[pick(&random, 0, std::size(kRehearsals) - 1)];
  const time_t from = localDay(fromText);
  setenv("TZ", zone, 1);
  tzset();
  const std::map<time_t, time_t> minutes = minutesFrom(from - kDaySec, 4);
  rpc("schedule.create", scheduleParams(R"("ifNums":[29])"));  // of the other unit
  std::set<std::string> shown, wanted{"29 run"};
  for (uint32_t port = 1; port < 24; port += 2) {
    Reckoned schedule = randomSchedule(port, from, 3, &random);
    schedule.first = std::max(schedule.first, from - kDaySec);
    rpc("schedule.create", scheduleParams(fill(R"("name":"%",)", port) + membersOf(schedule)));
    time_t offSince = 0, offBefore = 0;
    const auto lookForDark = [&](time_t at) {
      if (offSince > 0 && at - std::max(offSince, minutes.at(from)) > kDaySec) {
        wanted.insert(fill("% dark", port));
      }
    };
    for (const auto& [now, at] : minutes) {
      lookForDark(at);
      const std::string done = passMinute(&schedule, now, isFirstOfDay(minutes, now));
      for (const char sign : done.substr(0, done.size() / 2)) {  // of the first port
        if (sign == (offSince > 0 ? '+' : '-')) {
          offSince = offSince > 0 ? 0 : at;
          const char* act = schedule.type == "restart" ? "restart" : offSince > 0 ? "off" : "on";
          wanted.insert(now < from ? "29 run" : fill("% % %", port, act, timeText(now, "%FT%R")));
        }
      }
      offBefore = now < from ? offSince : offBefore;
    }
    lookForDark(minutes.rbegin()->second + 60);
    const bool isSurprise = (offSince > 0) != (offBefore > 0) && !isInWindow(schedule, from) &&
                            !isInWindow(schedule, from + 3 * kDaySec);
    wanted.insert(isSurprise ? fill("% otherEnd", port) : "29 run");
  }

  std::string output;
  runCommand(fill("% --socket % rehearse --from % --days 3 --json 2>&1",
                  programPath("quorin_poectl"), kSocketPath, fromText),
             &output);
  const std::regex form(R"x(\{"(?:kind|at":"(.{16})[^"]*","act)":"(\w+)")x"
                        R"x((?![^}]*(?:Window end never fired|: Superseded))[^[]*\[(\d+))x");
  for (std::sregex_iterator each(output.begin(), output.end(), form), end; each != end; ++each) {
    shown.insert(each->format(each->str(1).empty() ? "$3 $2" : "$3 $2 $1"));
  }
  EXPECT_EQ(shown, wanted) << zone << "\n"
                           << output;  // without runs that would end after the last day
  unsetenv("TZ");
  tzset();
}
