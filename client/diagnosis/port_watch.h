// A port that is being restarted, seen through samples of it.
#ifndef QUORIN_CLIENT_DIAGNOSIS_PORT_WATCH_H
#define QUORIN_CLIENT_DIAGNOSIS_PORT_WATCH_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "api/records.h"

class PortWatch {
 public:
  // before: the port as it was. Times are milliseconds of any clock. A port that delivered before
  // may take waitPowerMs from its own switch-on until it delivers; a port that was off is given no
  // longer than it takes to find a device.
  PortWatch(const SensorPort& before, int64_t startMs, int64_t waitPowerMs);

  // One sample: whether the run is open, what it has recorded of the port, and the port itself.
  // Returns whether line() says something new, and not only a longer time.
  bool feed(int64_t nowMs, bool isRunOpen, const RunPort& outcome, const SensorPort& sensor);

  // Nobody waits for the port any more: it is back, or has not come back in time. No sample
  // follows.
  bool isOver() const { return !verdict_.empty(); }
  // Delivers, if it delivered before; else it is as before, or switched on where it was off.
  bool isBack() const { return isBack_; }
  // From when it was seen to go dark until it was back; none where its darkness was too short to
  // be seen.
  std::optional<int64_t> backAfterMs() const;
  // "dark", "on", "delivering", "searching", "denied", "fault".
  const std::string& stage() const { return stages_.back().name; }
  const SensorPort& sensor() const { return sensor_; }
  const RunPort& outcome() const { return outcome_; }
  // "back after 5 s", "not back after 90 s (denied: limit 30.0 W)"; empty while it is not over.
  const std::string& verdict() const { return verdict_; }
  // "12.9 W > dark 4 s > on > searching > 12.8 W  back after 5 s"; not escaped.
  std::string line(int64_t nowMs) const;

 private:
  struct Stage {
    std::string name;
    int64_t sinceMs = 0;
    int64_t powerMw = 0;
  };
  std::string stageNow() const;
  std::string stageText(size_t index, int64_t nowMs) const;
  void judge(int64_t nowMs, bool isRunOpen);
  void judgeOn(int64_t nowMs);
  void end(int64_t nowMs, bool isBack, const std::string& verdict);
  std::string says() const;

  SensorPort sensor_;
  RunPort outcome_;
  bool deliveredBefore_;
  bool searchedBefore_;
  bool wasOn_;
  int64_t startMs_;
  int64_t waitPowerMs_;
  std::optional<int64_t> darkMs_;      // since when it does not deliver, or is dark
  std::optional<int64_t> switchOnMs_;  // its own
  int64_t endMs_ = 0;
  bool isBack_ = false;
  std::string verdict_;
  std::vector<Stage> stages_;
};

#endif
