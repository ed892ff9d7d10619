// A scenario: what happens to the switch and what is expected of it, one event a line.
#ifndef QUORIN_SWITCHSIM_SCENARIO_SCENARIO_H
#define QUORIN_SWITCHSIM_SCENARIO_SCENARIO_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "switchsim/switch/switch_state.h"

namespace switchsim {

constexpr const char* kScenarioGrammar =
    "A line is [at HH:MM[:SS] | +DURATION] EVENT; # begins a comment.\n"
    "  at    the switch's clock's next such time\n"
    "  +     so long after the line before, such as +5s, +500ms, +2m\n"
    "An event is set, device, priority, fault, server or clock with arguments, or\n"
    "  expect PORT STATE [within DURATION]\n"
    "with a state that show tells, or on, or off. A line without an event only waits.";

// That a port is in a state before some time is over.
struct Expectation {
  std::string port;   // as a person names it
  std::string state;  // as show names it, or on or off
  int64_t withinMs = 0;
};

// What an event does. Throws Failure.
using EventAction = std::function<void()>;
// Reads a command with its arguments. Throws Failure, which says what is wrong with it.
using CommandReader = std::function<EventAction(const std::vector<std::string>& words)>;

struct Event {
  size_t line = 0;
  std::string text;              // as it is written, without blanks around it and its comment
  std::optional<int64_t> atSec;  // seconds of the day, by the switch's clock
  int64_t afterMs = 0;           // since the line before
  std::optional<Expectation> expectation;  // or what is done:
  EventAction action;                      // may be empty, too
  bool setsClock = false;

  bool waits() const { return atSec || afterMs > 0; }
};

struct Mistake {
  size_t line = 0;
  std::string what;
};

struct Scenario {
  std::vector<Event> events;
  std::vector<Mistake> mistakes;  // a line with one is no event
};

// Reads every line; touches nothing.
Scenario readScenario(const std::string& text, const CommandReader& readCommand);

// Whether the port is in a state of an expectation.
bool isInState(const PortView& port, const std::string& state);

}  // namespace switchsim

#endif
