// A client that sends random requests of all methods and knows what they must have done.
#ifndef QUORIN_TESTS_SUPPORT_CLIENT_LOAD_H
#define QUORIN_TESTS_SUPPORT_CLIENT_LOAD_H

#include <cjson/cJSON.h>

#include <set>

#include "ipc/request_reader.h"
#include "tests/support/fixtures.h"
#include "tests/support/socket_client.h"

// As large as a request may be, and of the largest tree that this can have; it is refused.
inline std::string largestRequest() {
  std::string request = R"({"method":"schedule.create","params":{"unit":1,"schedule":{"ifNums":[1)";
  while (request.size() < kMaxRequestBytes - 10) {
    request += ",1";
  }
  return request + "]}}}\n";
}

// Each client owns a few schedules and one unit's settings, so it knows what they must be after its
// last answer; of a request that got no answer either state will do. Until the daemon is ending
// every request must be answered rightly.
class LoadClient {
 public:
  LoadClient(int number, unsigned seed, const std::atomic<bool>* ending)
      : number_(number), random_(seed), ending_(ending) {}

  // Sends requests until one is not answered, or so many. Returns how many were.
  int work(int most = INT32_MAX) {
    int answered = 0;
    while (answered < most && doSomething()) {
      ++answered;
    }
    return answered;
  }

  // What the daemon shows must be what was acknowledged.
  void check() {
    const JsonPtr list = rpcResult("schedule.list", unit() + "}");
    std::map<std::string, const cJSON*> shown;
    const cJSON* schedule = nullptr;
    cJSON_ArrayForEach(schedule, jsonMember(list.get(), "schedules")) {
      shown[jsonMember(schedule, "name")->valuestring] = schedule;
    }
    for (size_t i = 0; i < std::size(schedules_); ++i) {
      const cJSON* own = shown[scheduleName(i)];
      settle(&schedules_[i], jsonInt32Member(own, "interPortDelaySec", kAbsent), scheduleName(i));
      schedules_[i].id = jsonInt64Member(own, "scheduleId", schedules_[i].id);
    }
    const JsonPtr settings = rpcResult("bootdelay.get", settingsUnit() + "}");
    settle(&settings_, jsonInt32Member(settings.get(), "delaySec", kAbsent), "settings");
  }

 private:
  static constexpr int kAbsent = -1;
  static constexpr int kManualPorts = 6;          // ifNums 1 to 6, of unit 1
  static constexpr int kFirstScheduledPort = 29;  // of unit 2
  static constexpr int kFirstSettingsUnit =
      3;  // units that this switch does not have: nothing is held back

  // What is known of one thing. Versions make each state of it distinct.
  struct Known {
    int version = kAbsent;
    std::set<int> possible = {};  // what a request without an answer may have made of it
    int64_t id = 0;
  };

  std::string unit() const { return R"({"unit":)" + std::to_string(number_ % 2 + 1); }
  std::string settingsUnit() const {
    return R"({"unit":)" + std::to_string(kFirstSettingsUnit + number_);
  }
  std::string scheduleName(size_t i) const {
    return "client " + std::to_string(number_) + " schedule " + std::to_string(i);
  }

  static void settle(Known* known, int shown, const std::string& what) {
    EXPECT_TRUE(shown == known->version || known->possible.count(shown) > 0)
        << what << ": " << shown << " instead of " << known->version;
    known->version = shown;
    known->possible.clear();
  }

  bool doSomething() {
    switch (pick(&random_, 0, 15)) {
      case 0:
        return restart();
      case 1:
        return isAnswered("sensors.all", R"({"unit":1})");
      case 2:
        return isAnswered("history.list", R"({"unit":2,"pageSize":5})");
      case 3:
        return changeSettings();
      case 4:
        return lastRun_ == 0 || showsLastRun();
      case 5:
        return isRefused();
      default:
        return useSchedule(static_cast<size_t>(pick(&random_, 0, 3)));
    }
  }

  bool isAnswered(const std::string& method, const std::string& params,
                  JsonPtr* result = nullptr) const {
    const JsonPtr answer = jsonParse(rpc(method, params).c_str());
    const bool ok = cJSON_IsTrue(jsonMember(answer.get(), "ok")) != 0;
    EXPECT_TRUE(ok || *ending_) << method << params << " answered: " << printJson(answer.get());
    if (result != nullptr) {
      result->reset(cJSON_DetachItemFromObject(answer.get(), "result"));
    }
    return ok;
  }

  bool isRefused() {
    const std::string answer =
        exchange(pick(&random_, 0, 30) == 0 ? largestRequest() : "no JSON\n");
    EXPECT_TRUE(answer == "{\"ok\":false,\"error\":10003}\n" || *ending_) << answer;
    return !answer.empty();
  }

  bool restart() {
    const int port = pick(&random_, 1, kManualPorts);
    JsonPtr run;
    const bool ok =
        isAnswered("manual.reset",
                   R"({"unit":1,"request":{"offTimeSec":1,"ifNums":[)" + std::to_string(port) +
                       "," + std::to_string(port % kManualPorts + 1) + "]}}",
                   &run);
    lastRun_ = ok ? jsonInt64Member(run.get(), "runId", 0) : lastRun_;
    return ok;
  }

  bool showsLastRun() const {
    JsonPtr run;
    const bool ok = isAnswered("history.detail",
                               R"({"unit":1,"runId":)" + std::to_string(lastRun_) + "}", &run);
    EXPECT_TRUE(!ok || jsonText(run, "portCount") == "2") << printJson(run.get());
    return ok;
  }

  bool changeSettings() {
    const int version = pick(&random_, 0, 600);
    return change(&settings_, version, "bootdelay.set",
                  settingsUnit() + R"(,"delaySec":)" + std::to_string(version) + "}");
  }

  bool useSchedule(size_t i) {
    Known* known = &schedules_[i];
    const std::string which = unit() + R"(,"scheduleId":)" + std::to_string(known->id);
    const bool isThere = known->version != kAbsent;
    const int choice = pick(&random_, 0, 5);
    JsonPtr answer;
    if (isThere && choice < 2) {
      return change(known, kAbsent, "schedule.delete", which + "}");
    }
    if (isThere && choice == 2) {
      const bool ok = isAnswered("schedule.get", which + "}", &answer);
      EXPECT_TRUE(!ok || jsonText(answer, "interPortDelaySec") == std::to_string(known->version));
      return ok;
    }
    // An all-day schedule: it acts after every start.
    const std::string schedule =
        R"(,"schedule":)" +
        scheduleJson(R"("allDay":true,"scheduleType":"power_o)" +
                     std::string(i % 2 == 0 ? "ff" : "n") + R"(","name":")" + scheduleName(i) +
                     R"(","interPortDelaySec":)" + std::to_string(++versions_) + R"(,"ifNums":[)" +
                     std::to_string(kFirstScheduledPort + i) + "]") +
        "}";
    if (isThere) {
      return change(known, versions_, "schedule.update", which + schedule);
    }
    if (!change(known, versions_, "schedule.create", unit() + schedule, &answer)) {
      return false;
    }
    const int64_t lastId = std::exchange(known->id, jsonInt64Member(answer.get(), "scheduleId", 0));
    EXPECT_GT(known->id, lastId) << "an id is used again";
    return true;
  }

  bool change(Known* known, int version, const std::string& method, const std::string& params,
              JsonPtr* result = nullptr) const {
    known->possible.insert(version);
    if (!isAnswered(method, params, result)) {
      return false;
    }
    known->version = version;
    known->possible.clear();
    return true;
  }

  int number_;
  std::mt19937 random_;
  const std::atomic<bool>* ending_;
  Known settings_{0};
  Known schedules_[4];
  int versions_ = 0;
  int64_t lastRun_ = 0;
};

#endif
