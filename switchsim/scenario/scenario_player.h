// Carries a scenario out on the switch.
#ifndef QUORIN_SWITCHSIM_SCENARIO_SCENARIO_PLAYER_H
#define QUORIN_SWITCHSIM_SCENARIO_SCENARIO_PLAYER_H

#include <cstdint>
#include <optional>
#include <string>

#include "switchsim/scenario/scenario.h"

namespace switchsim {

// The time of a scenario goes `speed` times as fast as the host's. While it waits it takes along
// the switch's ports and a clock that runs, so that the switch is seen doing the same at any speed.
class ScenarioPlayer {
 public:
  // name: of the scenario, for what is told. speed: 1 or more.
  ScenarioPlayer(std::string name, double speed, bool isQuiet)
      : name_(std::move(name)), speed_(speed), isQuiet_(isQuiet) {}

  // Plays from the first event to the last, each echoed on stdout unless quiet. Throws Failure,
  // which begins with the line, at the first that fails: a command, an expectation, a time that
  // never comes.
  void play(const Scenario& scenario);

 private:
  void carryOut(const Event& event);
  void waitUntil(int64_t atSec);
  void waitFor(int64_t milliseconds);
  void await(const Expectation& expectation);

  int64_t nowMs() const;
  void passMost(int64_t milliseconds);

  std::string name_;
  double speed_;
  bool isQuiet_;
  int64_t skippedMs_ = 0;  // by which the scenario is ahead of the host's time
  // The time of the switch's clock, in local seconds, from which the next `at` is looked for: that
  // of the line before as it was meant, however late that was.
  std::optional<int64_t> reachedSec_;
};

}  // namespace switchsim

#endif
