#include "client/diagnosis/port_watch.h"

#include <algorithm>

#include "cli/text.h"
#include "cli/times.h"

namespace {

constexpr int64_t kDetectionMs = 10000;  // in which a device that is there is found

// A switch may take the order of a reset before the port goes dark.
constexpr int64_t kSettleMs = 2000;
constexpr int64_t kShownStageMs = 2000;
constexpr int64_t kMsPerSec = 1000;

std::string wholeSeconds(int64_t ms) {
  return secondsText(ms / kMsPerSec);
}

std::string backText(int64_t ms) {
  return ms < kMsPerSec ? "back within a second" : "back after " + wholeSeconds(ms);
}

}  // namespace

PortWatch::PortWatch(const SensorPort& before, int64_t startMs, int64_t waitPowerMs)
    : sensor_(before),
      deliveredBefore_(before.delivers()),
      searchedBefore_(before.detectionStatus == Detection::searching),
      wasOn_(before.isOn()),
      startMs_(startMs),
      waitPowerMs_(waitPowerMs) {
  stages_.push_back({stageNow(), startMs, before.powerMw});
}

std::string PortWatch::stageNow() const {
  const Word<Detection>& status = sensor_.detectionStatus;
  if (sensor_.isOff()) {
    return "dark";
  }
  if (status == Detection::disabled || status == Detection::off) {
    return darkMs_ ? "on" : "dark";  // switched on, but not yet looking for a device
  }
  return status.text.empty() ? "unknown" : status.text;
}

bool PortWatch::feed(int64_t nowMs, bool isRunOpen, const RunPort& outcome,
                     const SensorPort& sensor) {
  sensor_ = sensor;
  outcome_ = outcome;
  const std::string now = stageNow();
  const bool isNew = now != stage();
  if (isNew) {
    stages_.push_back({now, nowMs, 0});
  }
  stages_.back().powerMw = sensor.powerMw;

  const bool isDark = now == "dark";
  if (!darkMs_ && (isDark || (deliveredBefore_ && !sensor.delivers()))) {
    darkMs_ = nowMs;
  }
  if (!switchOnMs_ && (outcome.status == PortStatus::success || (darkMs_ && !isDark))) {
    switchOnMs_ = nowMs;
  }
  judge(nowMs, isRunOpen);
  return isNew || isOver();
}

void PortWatch::judge(int64_t nowMs, bool isRunOpen) {
  if (outcome_.status == PortStatus::skipped || outcome_.status == PortStatus::notApplicable) {
    end(nowMs, false, "not reset: " + outcome_.errorMessage);
    return;
  }
  if (outcome_.status == PortStatus::failed) {
    end(nowMs, false, "failed: " + outcome_.errorMessage);
    return;
  }
  if (outcome_.status != PortStatus::success) {
    if (!isRunOpen) {  // of a record that the daemon could not write
      end(nowMs, false, "the run ended without an outcome for it");
    }
    return;
  }

  const bool isSettled = darkMs_ || nowMs - *switchOnMs_ >= kSettleMs;
  if (!deliveredBefore_ && sensor_.isOn()) {
    judgeOn(nowMs);
  } else if (!wasOn_) {
    end(nowMs, true, "as before (" + says() + ")");
  } else if (sensor_.delivers() && isSettled) {
    end(nowMs, true, backText(darkMs_ ? nowMs - *darkMs_ : 0));
  } else if (nowMs - *switchOnMs_ >= waitPowerMs_) {
    end(nowMs, false, "not back after " + wholeSeconds(waitPowerMs_) + " (" + says() + ")");
  }
}

// Of a port that did not deliver. Whether a device is there, and gets power, shows only after a
// while; a port without one, of which nobody knows, is as wished, too.
void PortWatch::judgeOn(int64_t nowMs) {
  const bool isSearching = sensor_.detectionStatus == Detection::searching;
  if (sensor_.delivers()) {
    end(nowMs, true, "on after " + wholeSeconds(nowMs - (wasOn_ ? *switchOnMs_ : startMs_)));
  } else if (wasOn_ && isSearching && searchedBefore_) {
    end(nowMs, true, "on as before (" + says() + ")");
  } else if (nowMs - *switchOnMs_ >= std::min(waitPowerMs_, kDetectionMs)) {
    const bool isRefused =
        sensor_.detectionStatus == Detection::denied || sensor_.detectionStatus == Detection::fault;
    const std::string how = wasOn_ ? "on" : "switched on";
    end(nowMs, !isRefused, how + (isRefused ? ", but without power (" : " (") + says() + ")");
  }
}

void PortWatch::end(int64_t nowMs, bool isBack, const std::string& verdict) {
  endMs_ = nowMs;
  isBack_ = isBack;
  verdict_ = verdict;
}

std::optional<int64_t> PortWatch::backAfterMs() const {
  return isBack_ && darkMs_ ? std::make_optional(endMs_ - *darkMs_) : std::nullopt;
}

std::string PortWatch::says() const {
  const bool hasLimit = sensor_.detectionStatus == Detection::denied && sensor_.powerLimitMw;
  return stage() + (hasLimit ? ": limit " + wattsText(*sensor_.powerLimitMw) : "");
}

std::string PortWatch::stageText(size_t index, int64_t nowMs) const {
  const Stage& stage = stages_[index];
  if (stage.name == "delivering") {
    return wattsText(stage.powerMw);
  }
  const bool isLast = index + 1 == stages_.size();
  const int64_t endMs = !isLast ? stages_[index + 1].sinceMs : isOver() ? endMs_ : nowMs;
  const int64_t ms = endMs - stage.sinceMs;
  const bool isTimed = index > 0 && ms >= (stage.name == "dark" ? kMsPerSec : kShownStageMs);
  return stage.name + (isTimed ? " " + wholeSeconds(ms) : "");
}

std::string PortWatch::line(int64_t nowMs) const {
  std::string text;
  for (size_t i = 0; i < stages_.size(); ++i) {
    text += (i > 0 ? " > " : "") + stageText(i, nowMs);
  }
  return text + (isOver() ? "  " + verdict_ : " ...");
}
