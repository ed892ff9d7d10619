#include "client/diagnosis/port_account.h"

#include <algorithm>

namespace {

using State = PortAccount::State;

// The switchings in a timeline: indices of the events that are no mere attempts.
std::vector<size_t> switchings(const std::vector<PortEvent>& timeline) {
  std::vector<size_t> all;
  for (size_t i = 0; i < timeline.size(); ++i) {
    if (timeline[i].effect != PortEffect::none) {
      all.push_back(i);
    }
  }
  return all;
}

// Fills in the dark time whose last switching before the moment is that at `last` among all.
void fillDark(const std::vector<PortEvent>& timeline, const std::vector<size_t>& all, size_t last,
              PortAccount* account) {
  size_t first = last;
  while (first > 0 && isToOff(timeline[all[first - 1]])) {
    --first;
  }
  account->off = &timeline[all[first]];
  account->before = first > 0 ? &timeline[all[first - 1]] : nullptr;
  while (last < all.size() && isToOff(timeline[all[last]])) {
    ++last;
  }
  account->on = last < all.size() ? &timeline[all[last]] : nullptr;

  const size_t end = last < all.size() ? all[last] : timeline.size();
  for (size_t i = all[first] + 1; i < end; ++i) {
    account->between.push_back(&timeline[i]);
  }
}

// Of the dark time up to the moment: certain as soon as one switching in it is.
State darkState(const PortAccount& account, SystemTime at) {
  const auto isCertain = [at](const PortEvent* event) {
    return event->effect == PortEffect::off && event->at <= at;
  };
  return isCertain(account.off) ||
                 std::any_of(account.between.begin(), account.between.end(), isCertain)
             ? State::off
             : State::maybeOff;
}

}  // namespace

std::vector<const PortEvent*> PortAccount::events() const {
  std::vector<const PortEvent*> all{before, off};
  all.insert(all.end(), between.begin(), between.end());
  all.push_back(on);
  all.erase(std::remove(all.begin(), all.end(), nullptr), all.end());
  return all;
}

std::optional<SystemTime> PortAccount::expectedEnd() const {
  std::optional<SystemTime> end;
  for (const PortEvent* event : events()) {
    end = event->endsAt && isToOff(*event) ? event->endsAt : end;
  }
  return on == nullptr ? end : std::nullopt;
}

PortAccount accountOf(const std::vector<PortEvent>& timeline, SystemTime at,
                      const std::optional<SensorPort>& sensor) {
  PortAccount account;
  const std::vector<size_t> all = switchings(timeline);
  const auto later =
      std::find_if(all.begin(), all.end(), [&](size_t i) { return timeline[i].at > at; });
  auto last = static_cast<size_t>(later - all.begin());
  const bool isOn = last > 0 && !isToOff(timeline[all[last - 1]]);
  const bool isSure = last > 0 && timeline[all[last - 1]].effect == PortEffect::on;
  while (last > 0 && !isToOff(timeline[all[last - 1]])) {
    --last;
  }
  if (last > 0) {
    fillDark(timeline, all, last - 1, &account);
  } else if (isOn) {
    account.on = &timeline[all.front()];
  }

  account.state = sensor     ? (sensor->isOff() ? State::off : State::on)
                  : isOn     ? (isSure ? State::on : State::maybeOff)
                  : last > 0 ? darkState(account, at)
                             : State::unknown;
  return account;
}
