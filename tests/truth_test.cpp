// What `quorin_poectl why --at` tells for certain of a port is what the switch did: lives of two
// weeks, of schedules that share ports and are made, changed, disabled and deleted in mid-window,
// of resets of all kinds, of a daemon that is killed and of boot delays, and then questions for
// instants of those weeks. The same of `week`; and `status` says of no port what `why` does not.
// QUORIN_TRUTH_SEED gives other lives than the usual ones, QUORIN_TRUTH_LIVES more of them.
#include <cjson/cJSON.h>

#include <regex>

#include "api/requests.h"
#include "cli/failure.h"
#include "tests/support/reckoned.h"
#include "tests/support/test_lab.h"

namespace {

constexpr time_t kFirstDay = 1961452800;  // 2032-02-27, before a leap day
constexpr int kDays = 14;
constexpr int kPorts = 10;     // of the first unit
constexpr int kQuestions = 8;  // to each of them
constexpr time_t kLongestSweepSec = 61;
constexpr time_t kUnclearSec = 2;  // records have whole seconds

struct Made {
  Reckoned schedule;
  int name;
  int offTimeSec;
  int delaySec;
  time_t changed;  // last
};

class Weeks {
 public:
  explicit Weeks(unsigned seed) : random_(seed), lab_("Europe/Berlin", now_, seed) {}

  void live() {
    while (now_ < kFirstDay + kDays * kDaySec && !testing::Test::HasFatalFailure()) {
      try {
        happen();
      } catch (
          const Failure&) {  // of a request that comes in the middle of a sweep, and is done then
        pass(3);
      }
      if (pick(&random_, 1, 20) == 1) {
        compareWithStatus();
      }
      pass(pick(&random_, 1, 300));
    }
    for (const switchsim::JournalEntry& act : lab_.newActs()) {
      moments_.push_back(static_cast<time_t>(act.timeMs / 1000));
      if (act.op != "openapiPoePsePortReset" && act.result == 0) {
        acts_[act.ifNum][static_cast<time_t>(act.timeMs / 1000)] = act.value != 0;
      }
    }
    markTraceless();
  }

  // How many answers of all are "perhaps".
  double ask() {
    compareWithWeek();
    int asked = 0, perhaps = 0;
    for (uint32_t port = 1; port <= kPorts; ++port) {
      for (int i = 0; i < kQuestions; ++i) {
        const time_t at = instant();
        const std::string state = stateAt(port, at);
        if (state.empty()) {
          continue;
        }
        const std::string told = why(port, at);
        ++asked;
        const bool isActedOn = acts_.count(port) > 0 && acts_.at(port).begin()->first < at;
        perhaps += told == "maybeOff" || (told == "unknown" && isActedOn) ? 1 : 0;
        if (told == "on" || told == "off") {
          EXPECT_EQ(told, state) << port << " " << instantText(at) << "\n"
                                 << lab_.client(fill("why 1/0/% --at %", port, instantText(at)));
        }
      }
    }
    return static_cast<double>(perhaps) / asked;
  }

 private:
  // Any, or one soon after something was done to some port.
  time_t instant() {
    const auto after =
        static_cast<size_t>(pick(&random_, 0, static_cast<int>(moments_.size()) - 1));
    return pick(&random_, 0, 1) == 0
               ? kFirstDay + pick(&random_, 0, kDays * static_cast<int>(kDaySec))
               : std::min(now_ - 1, moments_[after] + pick(&random_, 3, 120));
  }

  // To some second after a minute's work.
  void pass(int minutes) {
    now_ = now_ / 60 * 60 + minutes * 60 + pick(&random_, 40, 59);
    lab_.goTo(now_);
  }

  // By the switch; empty where a record's seconds cannot tell, or what was done left no trace.
  std::string stateAt(uint32_t port, time_t at) const {
    bool isOn = true;
    time_t since = 0;
    const auto own = acts_.find(port);
    if (own != acts_.end()) {
      for (const auto& [when, goesOn] : own->second) {
        if (std::abs(when - at) <= kUnclearSec) {
          return "";
        }
        if (when < at) {
          isOn = goesOn;
          since = when;
        }
      }
    }
    return traceless_.count({port, since}) > 0 ? "" : isOn ? "on" : "off";
  }

  std::string why(uint32_t port, time_t at) const {
    const std::string told = lab_.client(fill("why 1/0/% --json --at %", port, instantText(at)));
    return jsonText(jsonParse(told.c_str()), "state");
  }

  // Of the last days. A port that no schedule has is not told of.
  void compareWithWeek() {
    const std::string told = lab_.client("week --json --from=-6d");
    const JsonPtr week = jsonParse(told.c_str());
    int certain = 0;
    const cJSON* port = nullptr;
    cJSON_ArrayForEach(port, cJSON_GetObjectItem(week.get(), "ports")) {
      for (int i = 0; i < kQuestions; ++i) {
        const time_t at = now_ - pick(&random_, 1, 6 * static_cast<int>(kDaySec));
        const cJSON* isOn = cJSON_GetObjectItem(port, "isOnAtStart");
        const cJSON* change = nullptr;
        cJSON_ArrayForEach(change, cJSON_GetObjectItem(port, "past")) {
          std::string since = cJSON_GetObjectItem(change, "at")->valuestring;
          since.replace(10, 1, " ");
          isOn = localInstant(since) <= at ? cJSON_GetObjectItem(change, "isOn") : isOn;
        }
        const auto ifNum = static_cast<uint32_t>(cJSON_GetObjectItem(port, "ifNum")->valueint);
        const std::string state = stateAt(ifNum, at);
        certain += cJSON_IsBool(isOn) && !state.empty() ? 1 : 0;
        EXPECT_TRUE(!cJSON_IsBool(isOn) || state.empty() ||
                    state == (cJSON_IsTrue(isOn) ? "on" : "off"))
            << ifNum << " " << instantText(at) << " " << state << "\n"
            << told;
      }
    }
    EXPECT_GT(certain, kQuestions);
  }

  void compareWithStatus() const {
    const JsonPtr status = jsonParse(lab_.client("status --json").c_str());
    std::set<std::string> unexplained;
    const cJSON* each = nullptr;
    cJSON_ArrayForEach(each, cJSON_GetObjectItem(status.get(), "unexplained")) {
      if (cJSON_IsNull(cJSON_GetObjectItem(each, "runId")) != 0) {
        unexplained.insert(cJSON_GetObjectItem(each, "name")->valuestring);
      }
    }
    std::set<std::string> unknown;
    for (int port = 1; port <= kPorts; ++port) {
      const std::string name = fill("1/0/%", port);
      if (lab_.client("why " + name).find("No run that is known left it off") !=
          std::string::npos) {
        unknown.insert(name);
      }
    }
    EXPECT_EQ(unexplained, unknown) << instantText(now_);
  }

  void happen() {
    const int choice = pick(&random_, 0, 15);
    if (choice <= 4) {
      create();
    } else if (choice <= 6) {
      remove();
    } else if (choice <= 11) {
      change();
    } else if (choice <= 14) {
      reset();
    } else {
      killAndStart();
    }
  }

  static Schedule asStored(int64_t id, const Made& made) {
    const std::string members =
        fill(R"("executionMode":"%","interPortDelaySec":%,"offTimeSec":%,"name":"s%",)",
             made.delaySec > 0 ? "sequential" : "simultaneous", made.delaySec, made.offTimeSec,
             made.name) +
        membersOf(made.schedule);
    Schedule schedule = readSchedule(jsonParse(scheduleJson(members).c_str()).get(), 1);
    schedule.scheduleId = id;
    return schedule;
  }

  void create() {
    if (made_.size() == 8) {
      return;
    }
    const auto port = static_cast<uint32_t>(pick(&random_, 1, kPorts - 1));
    Made made{randomSchedule(port, kFirstDay, kDays, &random_), ++names_, pick(&random_, 1, 3600),
              std::max(0, pick(&random_, -20, 20)), now_};
    made.schedule.recurrence = pick(&random_, 0, 3) == 0 ? "weekly" : "daily";
    const int64_t id = createSchedule(lab_.daemon(), asStored(0, made)).scheduleId;
    made_.emplace(id, made);
    portsOf_[id] = {port, port + 1};
  }

  std::map<int64_t, Made>::iterator any() {
    const int count = static_cast<int>(made_.size());
    return count == 0 ? made_.end() : std::next(made_.begin(), pick(&random_, 0, count - 1));
  }

  void remove() {
    const auto made = any();
    if (made != made_.end()) {
      deleteSchedule(lab_.daemon(), asStored(made->first, made->second));
      made_.erase(made);
    }
  }

  void change() {
    const auto made = any();
    if (made == made_.end()) {
      return;
    }
    Reckoned& schedule = made->second.schedule;
    if (pick(&random_, 0, 2) > 0) {
      schedule.enabled = !schedule.enabled;
    } else {
      const int what = pick(&random_, 0, 3);  // the start or the end alone, too
      const int start = pick(&random_, 0, kMinutesPerDay - 1);
      schedule.start = what <= 2 ? start : schedule.start;
      schedule.end = what == 0 ? schedule.end : (start + pick(&random_, 10, 1430)) % kMinutesPerDay;
      if (schedule.start == schedule.end) {
        schedule.end = (schedule.end + 10) % kMinutesPerDay;
      }
    }
    made->second.changed = now_;
    updateSchedule(lab_.daemon(), asStored(made->first, made->second));
  }

  void reset() {
    const int first = pick(&random_, 1, kPorts);
    const int offTimeSec = std::max(0, pick(&random_, -3000, 3000));
    const int delaySec = std::max(0, pick(&random_, -20, 20));
    lab_.daemon().ask(
        "manual.reset",
        jsonParse(fill(R"({"unit":1,"request":{"ifNums":[%,%,%],"offTimeSec":%,)"
                       R"("executionMode":"%","interPortDelaySec":%}})",
                       first, first % kPorts + 1, (first + 1) % kPorts + 1, offTimeSec,
                       delaySec > 0 ? "sequential" : "simultaneous", delaySec)
                      .c_str()));
  }

  void killAndStart() {
    const int delaySec = std::max(0, pick(&random_, -600, 600));
    const int betweenSec = std::max(0, pick(&random_, -10, 10));
    setBootDelay(lab_.daemon(), {1, delaySec, betweenSec, betweenSec > 0});
    lab_.killDaemon();
    now_ += std::max(0, pick(&random_, -18000, 18000));  // without a daemon
    lab_.startDaemon(now_);
  }

  // The end of a window that has no run is known from the schedule alone, as it is now.
  void markTraceless() {
    const std::string log = lab_.log();
    const std::regex form(R"((\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)\.\d{3} [^[]*\[\w+:\d+\] )"
                          R"(schedule (\d+) unit 1 endTime: no open run)");
    for (std::sregex_iterator each(log.begin(), log.end(), form), end; each != end; ++each) {
      const time_t at = localInstant(each->str(1));
      const int64_t id = std::stoll(each->str(2));
      const auto made = made_.find(id);
      const bool isKnown =
          made != made_.end() && made->second.schedule.enabled && made->second.changed < at;
      const bool wasCut =
          lab_.history(fill("SELECT IFNULL(error_message, '') FROM poe_history "
                            "WHERE schedule_id=% AND started_at<=% AND "
                            "started_at>% ORDER BY run_id DESC LIMIT 1",
                            id, at, at - kDaySec)) == "Interrupted by unexpected reboot";
      for (const uint32_t port : isKnown || wasCut ? std::set<uint32_t>() : portsOf_[id]) {
        for (const auto& [when, isOn] : acts_[port]) {
          if (when >= at && when <= at + kLongestSweepSec) {
            traceless_.insert({port, when});
          }
        }
      }
    }
  }

  static time_t localInstant(const std::string& text) {
    tm calendar{};
    strptime(text.c_str(), "%F %T", &calendar);
    calendar.tm_isdst = -1;
    return mktime(&calendar);
  }

  std::mt19937 random_;
  time_t now_ = kFirstDay;
  TestLab lab_;
  int names_ = 0;
  std::map<int64_t, Made> made_;
  std::map<uint32_t, std::map<time_t, bool>> acts_;  // by port, whether they switched it on
  std::map<int64_t, std::set<uint32_t>> portsOf_;    // of all that were ever made
  std::vector<time_t> moments_;                      // at which something was asked of the switch
  std::set<std::pair<uint32_t, time_t>> traceless_;
};

}  // namespace

TEST(TruthTest, whatWhyTellsForCertainIsSo) {
  const int lives = environmentNumber("QUORIN_TRUTH_LIVES", 2);
  const auto seed = static_cast<unsigned>(environmentNumber("QUORIN_TRUTH_SEED", 6));
  double perhaps = 0;
  for (int i = 0; i < lives; ++i) {
    SCOPED_TRACE(fill("QUORIN_TRUTH_LIVES=1 QUORIN_TRUTH_SEED=%", seed + i));
    Weeks weeks(seed + i);
    weeks.live();
    perhaps += weeks.ask();
  }
  std::cout << "perhaps " << perhaps / lives << std::endl;
  EXPECT_LE(perhaps / lives, 0.1);
}
