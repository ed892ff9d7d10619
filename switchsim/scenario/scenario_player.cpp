#include "switchsim/scenario/scenario_player.h"

#include <algorithm>
#include <cstdio>

#include "base/sleep.h"
#include "cli/lab_clock.h"
#include "cli/times.h"
#include "switchsim/switch/shared_state.h"
#include "switchsim/view/view.h"

namespace switchsim {
namespace {

constexpr int64_t kSecPerDay = 86400;
constexpr int64_t kMsPerSec = 1000;
constexpr int64_t kPollMs = 20;

std::optional<int64_t> clockSeconds() {
  const std::optional<SwitchView> view = viewSwitch();
  return view ? localSeconds(view->clock.time) : std::nullopt;
}

// From a time on, the first with this second of the day.
int64_t nextAt(int64_t fromSec, int64_t secondOfDay) {
  const int64_t sinceMidnight = (fromSec % kSecPerDay + kSecPerDay) % kSecPerDay;
  const int64_t at = fromSec - sinceMidnight + secondOfDay;
  return at >= fromSec ? at : at + kSecPerDay;
}

void echo(const Event& event) {
  const std::optional<SwitchView> view = viewSwitch();
  char time[32];
  snprintf(time, sizeof time, "%-19s  ", view ? view->clock.time.c_str() : "");
  printf("%s%s\n", time, event.text.c_str());
  fflush(stdout);
}

}  // namespace

bool ScenarioPlayer::play(const Scenario& scenario) {
  if (!reachedSec_) {
    reachedSec_ = clockSeconds();
  }
  for (const Event& event : scenario.events) {
    if (!carryOut(event)) {
      return false;
    }
  }
  return true;
}

bool ScenarioPlayer::carryOut(const Event& event) {
  waitFor(event.afterMs);
  const std::string never = event.atSec ? waitUntil(*event.atSec) : "";
  if (!never.empty()) {
    return failAt(event, never);
  }
  if (!isQuiet_) {
    echo(event);
  }

  if (event.afterMs > 0) {
    reachedSec_ = clockSeconds();
  }
  if (event.expectation) {
    const std::string missed = whatMissed(*event.expectation);
    return missed.empty() || failAt(event, missed);
  }
  if (event.action && !event.action()) {
    return failAt(event, "\"" + event.text + "\" failed");
  }
  if (event.setsClock) {
    reachedSec_ = clockSeconds();
  }
  return true;
}

std::string ScenarioPlayer::waitUntil(int64_t atSec) {
  std::optional<int64_t> due;
  for (;;) {
    std::string error;
    const std::optional<SwitchView> view = viewSwitch(&error);
    const std::optional<int64_t> now = view ? localSeconds(view->clock.time) : std::nullopt;
    if (!now) {
      return view ? "the switch's clock can't be read" : error;
    }
    due = due ? due : nextAt(reachedSec_.value_or(*now), atSec);
    if (*now >= *due) {
      reachedSec_ = due;
      return "";
    }
    if (view->clock.mode == ClockMode::frozen) {
      return "the switch's clock stands at " + view->clock.time + ": let it go on with clock \"" +
             view->clock.time + "\" --run";
    }
    if (view->clock.mode == ClockMode::follow && speed_ > 1) {
      return "the switch's clock follows the host's, which --speed does not move: set one with "
             "clock \"YYYY-MM-DD HH:MM:SS\" --run";
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

std::string ScenarioPlayer::whatMissed(const Expectation& expectation) {
  const int64_t untilMs = nowMs() + expectation.withinMs;
  for (;;) {
    std::string error;
    const std::optional<uint32_t> ifNum = findPort(expectation.port, &error);
    const std::optional<PortView> port = ifNum ? portView(*ifNum) : std::nullopt;
    if (!port) {
      return error.empty() ? "the switch is gone" : error;
    }
    if (isInState(*port, expectation.state)) {
      return "";
    }
    if (nowMs() >= untilMs) {
      const std::string within =
          expectation.withinMs > 0 ? " within " + durationText(expectation.withinMs) : "";
      return "expected " + expectation.port + " " + expectation.state + within + ", it is " +
             stateName(*port);
    }
    passMost(std::min(untilMs - nowMs(), kPollMs));
  }
}

bool ScenarioPlayer::failAt(const Event& event, const std::string& why) const {
  fprintf(stderr, "%s:%zu: %s\n", name_.c_str(), event.line, why.c_str());
  return false;
}

int64_t ScenarioPlayer::nowMs() const {
  return monotonicMs() + skippedMs_;
}

// Lets a moment of the host's go by, of at most so many of the scenario's milliseconds.
void ScenarioPlayer::passMost(int64_t milliseconds) {
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
