#include "client/diagnosis/port_account.h"

#include <algorithm>

namespace {

using State = PortAccount::State;

// The switchings in a timeline: indices of the events that are no mere attempts.
std::vector<size_t> switchings(const std::vector<PortEvent>& timeline) {
  std::vector<size_t> all;
  for (size_t i = 0; i < timeline.size(); ++i) {
    if (timeline[i].mayHaveSwitched()) {
      all.push_back(i);
    }
  }
  return all;
}

// Fills in the dark time whose last switching before the moment is that at `last` among all.
void fillDark(const std::vector<PortEvent>& timeline, const std::vector<size_t>& all, size_t last,
              PortAccount* account) {
  size_t first = last;
  while (first > 0 && timeline[all[first - 1]].isToOff) {
    --first;
  }
  account->off = &timeline[all[first]];
  account->before = first > 0 ? &timeline[all[first - 1]] : nullptr;
  while (last < all.size() && timeline[all[last]].isToOff) {
    ++last;
  }
  account->on = last < all.size() ? &timeline[all[last]] : nullptr;

  const size_t end = last < all.size() ? all[last] : timeline.size();
  for (size_t i = all[first] + 1; i < end; ++i) {
    account->between.push_back(&timeline[i]);
  }
}

State stateOf(const MayBe& mayBe) {
  return mayBe.isUnknown() ? State::unknown
         : mayBe.isOn()    ? State::on
         : mayBe.isOff()   ? State::off
                           : State::maybeOff;
}

}  // namespace

std::vector<const PortEvent*> PortAccount::events() const {
  std::vector<const PortEvent*> all{before, off};
  all.insert(all.end(), between.begin(), between.end());
  all.push_back(on);
  all.push_back(moment);
  all.erase(std::remove(all.begin(), all.end(), nullptr), all.end());
  return all;
}

std::optional<int64_t> PortAccount::darkSec() const {
  return off != nullptr && on != nullptr ? std::make_optional(on->at - off->at) : std::nullopt;
}

bool PortAccount::isDarkCertain() const {
  return off != nullptr && on != nullptr && off->effect == PortEffect::off &&
         on->effect == PortEffect::on && !on->isPerhapsPlain && off->at == off->until &&
         on->at == on->until;
}

PortAccount accountOf(const std::vector<PortEvent>& timeline, SystemTime at,
                      const std::optional<SensorPort>& sensor) {
  PortAccount account;
  const std::vector<size_t> all = switchings(timeline);
  const auto later =
      std::find_if(all.begin(), all.end(), [&](size_t i) { return timeline[i].at > at; });
  auto last = static_cast<size_t>(later - all.begin());
  const bool isOn = last > 0 && !timeline[all[last - 1]].isToOff;
  while (last > 0 && !timeline[all[last - 1]].isToOff) {
    --last;
  }
  if (last > 0) {
    fillDark(timeline, all, last - 1, &account);
  } else if (isOn) {
    account.on = &timeline[all.front()];
  }
  for (const PortEvent& event : timeline) {
    const bool isDark = account.off != nullptr && account.on == nullptr;
    const bool isSince = account.on == nullptr || event.at >= account.on->at;
    if (event.cause == PortCause::plainReset && event.at <= at && isSince && !isDark) {
      account.moment = &event;
    }
  }

  account.state =
      sensor ? (sensor->isOff() ? State::off : State::on) : stateOf(stateAt(timeline, at));
  return account;
}
