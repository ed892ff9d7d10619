#include "switchsim/scenario/scenario_player.h"

#include <algorithm>
#include <cstdio>

#include "base/sleep.h"
#include "cli/failure.h"
#include "cli/lab_clock.h"
#include "cli/output.h"
#include "cli/times.h"
#include "switchsim/switch/shared_state.h"
#include "switchsim/view/view.h"

namespace switchsim {
namespace {

constexpr int64_t kSecPerDay = 86400;
constexpr int64_t kMsPerSec = 1000;
constexpr int64_t kPollMs = 20;

// None while the switch's clock can't be read.
std::optional<int64_t> clockSeconds() {
  return localSeconds(viewSwitch().clock.time);
}

// From a time on, the first with this second of the day.
int64_t nextAt(int64_t fromSec, int64_t secondOfDay) {
  const int64_t sinceMidnight = (fromSec % kSecPerDay + kSecPerDay) % kSecPerDay;
  const int64_t at = fromSec - sinceMidnight + secondOfDay;
  return at >= fromSec ? at : at + kSecPerDay;
}

void echo(const Event& event) {
  char time[32];
  snprintf(time, sizeof time, "%-19s  ", viewSwitch().clock.time.c_str());
  printNow(time + event.text + "\n");
}

}  // namespace

void ScenarioPlayer::play(const Scenario& scenario) {
  for (const Event& event : scenario.events) {
    try {
      reachedSec_ = reachedSec_ ? reachedSec_ : clockSeconds();
      carryOut(event);
    } catch (const Failure& failure) {
      fail(name_ + ":" + std::to_string(event.line) + ": " + failure.what());
    }
  }
}

void ScenarioPlayer::carryOut(const Event& event) {
  waitFor(event.afterMs);
  if (event.atSec) {
    waitUntil(*event.atSec);
  }
  if (!isQuiet_) {
    echo(event);
  }
  if (event.afterMs > 0) {
    reachedSec_ = clockSeconds();
  }
  if (event.expectation) {
    await(*event.expectation);
  }
  if (event.action) {
    event.action();
  }
  if (event.setsClock) {
    reachedSec_ = clockSeconds();
  }
}

void ScenarioPlayer::waitUntil(int64_t atSec) {
  std::optional<int64_t> due;
  for (;;) {
    const ClockView clock = viewSwitch().clock;
    const std::optional<int64_t> now = localSeconds(clock.time);
    if (!now) {
      fail("the switch's clock can't be read");
    }
    due = due ? due : nextAt(reachedSec_.value_or(*now), atSec);
    if (*now >= *due) {
      reachedSec_ = due;
      return;
    }
    if (clock.mode == ClockMode::frozen) {
      fail("the switch's clock stands at " + clock.time + ": let it go on with clock \"" +
           clock.time + "\" --run");
    }
    if (clock.mode == ClockMode::follow && speed_ > 1) {
      fail(
          "the switch's clock follows the host's, which --speed does not move: set one with "
          "clock \"YYYY-MM-DD HH:MM:SS\" --run");
    }
    passMost(std::max((*due - *now - 1) * kMsPerSec, kPollMs));
  }
}

void ScenarioPlayer::waitFor(int64_t milliseconds) {
  const int64_t untilMs = nowMs() + milliseconds;
  while (nowMs() < untilMs) {
    passMost(untilMs - nowMs());
  }
}

void ScenarioPlayer::await(const Expectation& expectation) {
  const int64_t untilMs = nowMs() + expectation.withinMs;
  for (;;) {
    const PortView port = portView(findPort(expectation.port));
    if (isInState(port, expectation.state)) {
      return;
    }
    if (nowMs() >= untilMs) {
      const std::string within =
          expectation.withinMs > 0 ? " within " + durationText(expectation.withinMs) : "";
      fail("expected " + expectation.port + " " + expectation.state + within + ", it is " +
           stateName(port));
    }
    passMost(std::min(untilMs - nowMs(), kPollMs));
  }
}

int64_t ScenarioPlayer::nowMs() const {
  return monotonicMs() + skippedMs_;
}

// Lets a moment of the host's go by, of at most so many of the scenario's milliseconds. A lab that
// stands goes on by its own commands.
void ScenarioPlayer::passMost(int64_t milliseconds) {
  if (systemSpeed() == 0) {
    sleepMilliseconds(kPollMs);
    return;
  }
  const double faster = speed_ * systemSpeed();
  const double stepMs = std::min(static_cast<double>(milliseconds), kPollMs * faster);
  const int64_t untilMs = nowMs() + static_cast<int64_t>(stepMs);
  sleepMilliseconds(std::max(1, static_cast<int32_t>(stepMs / faster)));

  const int64_t missingMs = untilMs - nowMs();
  if (speed_ > 1 && missingMs > 0) {
    skippedMs_ += missingMs;
    passTime(missingMs);
  }
}

}  // namespace switchsim
