// A client that sends random requests of all methods and knows what they must have done.
#ifndef QUORIN_TESTS_SUPPORT_CLIENT_LOAD_H
#define QUORIN_TESTS_SUPPORT_CLIENT_LOAD_H

#include <cjson/cJSON.h>

#include <set>

#include "ipc/request_reader.h"
#include "tests/support/daemon_process.h"

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
  // All that is switched: in unit 1 by hand, in unit 2 by schedules.
  static constexpr uint32_t kPorts[] = {1, 2, 3, 4, 5, 6, 29, 30, 31, 32};

  LoadClient(int number, unsigned seed, const std::atomic<bool>* ending)
      : unit_(number % 2 + 1),
        settingsUnit_(kFirstSettingsUnit + number),
        random_(seed),
        ending_(ending) {
    for (int i = 0; i < kSchedules; ++i) {
      schedules_.push_back({fill("client % schedule %", number, i)});
    }
  }

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
    const JsonPtr list = rpcResult("schedule.list", fill(R"({"unit":%})", unit_));
    std::map<std::string, const cJSON*> shown;
    const cJSON* schedule = nullptr;
    cJSON_ArrayForEach(schedule, jsonMember(list.get(), "schedules")) {
      shown[jsonMember(schedule, "name")->valuestring] = schedule;
    }
    for (Known& known : schedules_) {
      const cJSON* own = shown[known.name];
      settle(&known, jsonInt32Member(own, "interPortDelaySec", kAbsent));
      known.id = jsonInt64Member(own, "scheduleId", known.id);
    }
    const JsonPtr settings = rpcResult("bootdelay.get", fill(R"({"unit":%})", settingsUnit_));
    settle(&settings_, jsonInt32Member(settings.get(), "delaySec", kAbsent));
  }

 private:
  static constexpr int kAbsent = -1;
  static constexpr int kSchedules = 4;
  static constexpr int kManualPorts = 6;
  // Of those that this switch does not have: nothing is held back.
  static constexpr int kFirstSettingsUnit = 3;

  // What is known of one thing. Versions make each state of it distinct.
  struct Known {
    std::string name;
    int version = kAbsent;
    std::set<int> possible = {};  // what a request without an answer may have made of it
    int64_t id = 0;
  };

  static void settle(Known* known, int shown) {
    EXPECT_TRUE(shown == known->version || known->possible.count(shown) > 0)
        << known->name << ": " << shown << " instead of " << known->version;
    known->version = shown;
    known->possible.clear();
  }

  bool doSomething() {
    switch (pick(&random_, 0, 15)) {
      case 0:
        return restart();
      case 1:
        return ask("sensors.all", R"({"unit":1})") != nullptr;
      case 2:
        return ask("history.list", R"({"unit":2,"pageSize":5})") != nullptr;
      case 3:
        return changeSettings();
      case 4:
        return lastRun_ == 0 || showsLastRun();
      case 5:
        return isRefused();
      default:
        return useSchedule(pick(&random_, 0, kSchedules - 1));
    }
  }

  // The answer; null when it is not ok, which only an ending daemon's may be.
  JsonPtr ask(const std::string& method, const std::string& params) const {
    JsonPtr answer = jsonParse(rpc(method, params).c_str());
    const bool ok = cJSON_IsTrue(jsonMember(answer.get(), "ok")) != 0;
    EXPECT_TRUE(ok || *ending_) << method << params << " answered: " << printJson(answer.get());
    return ok ? std::move(answer) : nullptr;
  }

  static int64_t resultIn(const JsonPtr& answer, const char* key) {
    return jsonInt64Member(jsonMember(answer.get(), "result"), key, kAbsent);
  }

  bool isRefused() {
    const bool isLarge = pick(&random_, 0, 30) == 0;
    const std::string answer = exchange(isLarge ? largestRequest() : "no JSON\n");
    EXPECT_TRUE(answer == "{\"ok\":false,\"error\":10003}\n" || *ending_) << answer;
    return !answer.empty();
  }

  bool restart() {
    const int port = pick(&random_, 1, kManualPorts);
    const JsonPtr run =
        ask("manual.reset", fill(R"({"unit":1,"request":{"offTimeSec":1,"ifNums":[%,%]}})", port,
                                 port % kManualPorts + 1));
    lastRun_ = run != nullptr ? resultIn(run, "runId") : lastRun_;
    return run != nullptr;
  }

  bool showsLastRun() const {
    const JsonPtr run = ask("history.detail", fill(R"({"unit":1,"runId":%})", lastRun_));
    EXPECT_TRUE(run == nullptr || resultIn(run, "portCount") == 2) << printJson(run.get());
    return run != nullptr;
  }

  bool changeSettings() {
    const int version = pick(&random_, 0, 600);
    const std::string params = fill(R"({"unit":%,"delaySec":%})", settingsUnit_, version);
    return change(&settings_, version, "bootdelay.set", params) != nullptr;
  }

  bool useSchedule(int i) {
    Known* known = &schedules_[i];
    const bool isNew = known->version == kAbsent;
    const std::string which = fill(R"("unit":%,"scheduleId":%)", unit_, known->id);
    const int choice = isNew ? 5 : pick(&random_, 0, 5);
    if (choice < 2) {
      return change(known, kAbsent, "schedule.delete", "{" + which + "}") != nullptr;
    }
    if (choice == 2) {
      const JsonPtr got = ask("schedule.get", "{" + which + "}");
      EXPECT_TRUE(got == nullptr || resultIn(got, "interPortDelaySec") == known->version);
      return got != nullptr;
    }

    // An all-day schedule: it acts after every start.
    const std::string members = fill(
        R"("name":"%","allDay":true,"scheduleType":"%","interPortDelaySec":%,"ifNums":[%])",
        known->name, i % 2 == 0 ? "power_off" : "power_on", ++versions_, kPorts[kManualPorts + i]);
    const JsonPtr set = change(known, versions_, isNew ? "schedule.create" : "schedule.update",
                               scheduleParams(members, which));
    if (isNew && set != nullptr) {
      const int64_t lastId = std::exchange(known->id, resultIn(set, "scheduleId"));
      EXPECT_GT(known->id, lastId) << "an id is used again";
    }
    return set != nullptr;
  }

  JsonPtr change(Known* known, int version, const std::string& method,
                 const std::string& params) const {
    known->possible.insert(version);
    JsonPtr answer = ask(method, params);
    if (answer != nullptr) {
      settle(known, version);
    }
    return answer;
  }

  int unit_;
  int settingsUnit_;
  std::mt19937 random_;
  const std::atomic<bool>* ending_;
  Known settings_{"settings", 0};
  std::vector<Known> schedules_;
  int versions_ = 0;
  int64_t lastRun_ = 0;
};

#endif
