// A client that sends random requests of all methods and knows what they must have done.
#ifndef QUORIN_TESTS_SUPPORT_CLIENT_LOAD_H
#define QUORIN_TESTS_SUPPORT_CLIENT_LOAD_H

#include <atomic>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "base/json.h"

// As large as a request may be, and of the largest tree that this can have; it is refused.
std::string largestRequest();

// Each client owns a few schedules and one unit's settings, so it knows what they must be after its last answer; of a
// request that got no answer either state will do. Until the daemon is ending every request must be answered rightly.
class LoadClient {
 public:
  LoadClient(int number, unsigned seed, const std::atomic<bool>* ending)
      : number_(number), random_(seed), ending_(ending) {}

  // Sends requests until one is not answered as it must be, or so many. Returns how many were.
  int work(int most = INT32_MAX);
  // What the daemon shows must be what was acknowledged.
  void check();

 private:
  static constexpr int kAbsent = -1;
  // What is known of one thing. Versions make each state of it distinct.
  struct Known {
    int version = kAbsent;
    std::set<int> possible = {};  // what a request without an answer may have made of it
    int64_t id = 0;
  };

  int unit() const { return number_ % 2 + 1; }
  std::string scheduleName(size_t i) const;
  std::string settingsUnit() const;
  static void settle(Known* known, int shown, const std::string& what);
  bool doSomething();
  bool isAnswered(const std::string& method, const std::string& params, JsonPtr* result = nullptr) const;
  bool isRefused();
  bool restart();
  bool showsLastRun() const;
  bool change(Known* known, int version, const std::string& method, const std::string& params,
              JsonPtr* result = nullptr) const;
  bool changeSettings();
  bool useSchedule(size_t i);

  int number_;
  std::mt19937 random_;
  const std::atomic<bool>* ending_;
  Known settings_{0};
  std::vector<Known> schedules_ = std::vector<Known>(4);
  int versions_ = 0;
  int64_t lastRun_ = 0;
};

#endif
