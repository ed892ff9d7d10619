#include "forecast/clashes.h"

#include <algorithm>
#include <map>

#include "cli/mapped.h"
#include "cli/text.h"
#include "forecast/firings.h"

namespace {

constexpr int32_t kDaysAhead = 35;
constexpr int64_t kSecPerDay = 86400;
constexpr const char* kFight = "fight";
constexpr const char* kTwice = "twice";

// A firing, and when the window that it begins ends.
struct WindowFiring : Firing {
  SwitchTime end;
};

// What a schedule does in the coming weeks, looked up once for the comparison with all others.
struct ScheduleFirings {
  const Schedule* schedule = nullptr;
  std::vector<WindowFiring> firings;
};

std::vector<ScheduleFirings> firingsOfAll(const CheckInput& input) {
  const TickTime today = input.view.zone.tickAt(input.view.now());
  return mapped(input.schedules, [&](const Schedule& schedule) {
    ScheduleFirings own{&schedule, {}};
    for (int32_t i = -1; i < kDaysAhead; ++i) {  // a window of yesterday may be open
      for (const Firing& each : firingsOn(schedule, dayAfter(today, i), input.view.zone)) {
        own.firings.push_back({each, windowEnd(schedule, each.at, input.view.zone)});
      }
    }
    return own;
  });
}

bool leavesOn(const Firing& firing) {
  return firing.act != Act::off;
}

// Whether the ports are left alone from then on.
bool isLast(const Firing& firing) {
  return firing.isEnd || firing.act == Act::restart;
}

// Of two firings in one minute, an end and the start of a later schedule come in this order; a
// power_on start and a restart work on threads of their own.
bool isSettled(const Schedule& starting, const Firing& start, const Schedule& ending,
               const Firing& end) {
  return !isLast(start) && end.isEnd && !leavesOn(start) && starting.scheduleId > ending.scheduleId;
}

// Whether the first schedule's firing undoes what the second one's firing wants.
bool undoes(const ScheduleFirings& first, const WindowFiring& act, const ScheduleFirings& second,
            const WindowFiring& wanted) {
  if (leavesOn(act) == leavesOn(wanted)) {
    return false;
  }
  if (act.at == wanted.at) {
    return !isSettled(*second.schedule, wanted, *first.schedule, act) &&
           !isSettled(*first.schedule, act, *second.schedule, wanted);
  }
  const bool outlasts = isLast(act) || act.end > wanted.end;
  return outlasts && !isLast(wanted) && wanted.at < act.at && act.at < wanted.end;
}

// When the first one's firings, from now on, first undo what the other wants.
std::optional<SwitchTime> firstUndoing(const ScheduleFirings& first, const ScheduleFirings& second,
                                       SwitchTime now) {
  for (const WindowFiring& act : first.firings) {
    if (act.at < now) {
      continue;
    }
    auto wanted =
        std::lower_bound(second.firings.begin(), second.firings.end(), act.at - kSecPerDay,
                         [](const Firing& firing, int64_t instant) { return firing.at < instant; });
    for (; wanted != second.firings.end() && wanted->at <= act.at; ++wanted) {
      if (undoes(first, act, second, *wanted)) {
        return act.at;
      }
    }
  }
  return std::nullopt;
}

std::vector<uint32_t> sharedPorts(const Schedule& a, const Schedule& b) {
  std::vector<uint32_t> shared;
  for (const uint32_t ifNum : a.ifNums) {
    if (std::find(b.ifNums.begin(), b.ifNums.end(), ifNum) != b.ifNums.end()) {
      shared.push_back(ifNum);
    }
  }
  return shared;
}

// How long a restart has its ports: until the last one is on again.
int64_t restartSec(const Schedule& schedule) {
  const int64_t pauseSec =
      schedule.executionMode == EXECUTION_SEQUENTIAL ? std::max(schedule.interPortDelaySec, 0) : 0;
  const auto ports = static_cast<int64_t>(schedule.ifNums.size());
  return std::max(schedule.offTimeSec, 0) + pauseSec * std::max<int64_t>(ports - 1, 0);
}

// A restart and what comes while it has the ports, which the daemon skips: they are busy. What is
// to switch them on is made good by the restart. Of two restarts in one minute either may be first.
struct Overlap {
  SwitchTime from;
  SwitchTime at;
};

std::optional<Overlap> firstOverlap(const ScheduleFirings& dark, const ScheduleFirings& skipped,
                                    SwitchTime now) {
  const int64_t length = restartSec(*dark.schedule);
  for (const WindowFiring& begin : dark.firings) {
    if (begin.act != Act::restart || begin.at < now) {
      continue;
    }
    const bool isSelf = &dark == &skipped;
    auto other = std::lower_bound(
        skipped.firings.begin(), skipped.firings.end(), begin.at,
        [](const Firing& firing, SwitchTime instant) { return firing.at < instant; });
    for (; other != skipped.firings.end() && other->at < begin.at + length; ++other) {
      const bool isLater = other->at > begin.at && other->act != Act::on;
      if (isLater || (!isSelf && other->act == Act::restart)) {
        return Overlap{begin.at, other->at};
      }
    }
  }
  return std::nullopt;
}

// The first window of one that is whole one of the other's, too.
bool hasSameWindow(const ScheduleFirings& a, const ScheduleFirings& b) {
  const auto isWindowOfB = [&](const WindowFiring& window) {
    return std::any_of(b.firings.begin(), b.firings.end(), [&](const WindowFiring& other) {
      return !other.isEnd && other.at == window.at && other.end == window.end;
    });
  };
  return isWindowType(a.schedule->type) && a.schedule->type == b.schedule->type &&
         std::any_of(a.firings.begin(), a.firings.end(), [&](const WindowFiring& window) {
           return !window.isEnd && isWindowOfB(window);
         });
}

std::string nameOf(const Schedule& schedule) {
  return std::to_string(schedule.scheduleId) + " " + inQuotes(schedule.name.c_str());
}

// Of two, on the ports that they share.
struct Clash {
  const char* kind;
  std::string ports;
  SwitchTime at;
  std::string text;  // of an overlap
};

// skipped: null for the restart itself.
std::string overlapText(const Schedule& dark, const Overlap& overlap, const std::string& ports,
                        const Schedule* skipped, const View& view) {
  return nameOf(dark) + " keeps " + ports + " dark from " + view.near(overlap.from) + " to " +
         view.near(SwitchTime(overlap.from + restartSec(dark))) + ": " +
         (skipped != nullptr
              ? nameOf(*skipped) + " comes at " + view.near(overlap.at) + " and skips what is busy"
              : "its own time at " + view.near(overlap.at) + " is skipped");
}

std::optional<Clash> clashOf(const ScheduleFirings& one, const ScheduleFirings& two,
                             const View& view) {
  const bool isSelf = &one == &two;
  const std::vector<uint32_t> shared = sharedPorts(*one.schedule, *two.schedule);
  if (one.schedule->unit != two.schedule->unit || shared.empty()) {
    return std::nullopt;
  }
  const std::string ports = view.names.ranges(shared);
  for (const auto& [dark, skipped] : {std::pair(&one, &two), std::pair(&two, &one)}) {
    if (const auto overlap = firstOverlap(*dark, *skipped, view.now())) {
      const Schedule* other = isSelf ? nullptr : skipped->schedule;
      return Clash{"overlap", ports, overlap->at,
                   overlapText(*dark->schedule, *overlap, ports, other, view)};
    }
  }
  if (isSelf) {
    return std::nullopt;
  }
  const std::optional<SwitchTime> first = firstUndoing(one, two, view.now());
  const std::optional<SwitchTime> second = firstUndoing(two, one, view.now());
  if (first || second) {
    return Clash{kFight, ports, !second || (first && *first < *second) ? *first : *second, ""};
  }
  return hasSameWindow(one, two) ? std::make_optional(Clash{kTwice, ports, SwitchTime(), ""})
                                 : std::nullopt;
}

// Those of one schedule: fights and repeated windows on the same ports are one warning.
class ClashList {
 public:
  void add(const Clash& clash, const Schedule& other) {
    if (!clash.text.empty()) {
      warnings_.push_back({clash.kind, clash.text, ""});
      return;
    }
    Group& group = groups_[{clash.kind, clash.ports}];
    group.at = group.others.empty() ? clash.at : std::min(group.at, clash.at);
    group.others.push_back(nameOf(other));
  }
  ScheduleWarnings warnings(const View& view) const {
    ScheduleWarnings all = warnings_;
    for (const auto& [key, group] : groups_) {
      const std::string others = joined(group.others, ", ");
      const bool isFight = key.first == kFight;
      all.push_back({isFight ? kFight : kTwice,
                     isFight ? "fights with " + others + " over " + key.second + ": at " +
                                   view.near(group.at) + " one wants off, the other on"
                             : "has the same window as " + others + " for " + key.second,
                     ""});
    }
    return all;
  }

 private:
  struct Group {
    std::vector<std::string> others;
    SwitchTime at;
  };
  ScheduleWarnings warnings_;
  std::map<std::pair<std::string, std::string>, Group> groups_;  // by kind and ports
};

}  // namespace

std::vector<ScheduleWarnings> clashesOf(const CheckInput& input) {
  const std::vector<ScheduleFirings> firings = firingsOfAll(input);
  std::vector<ClashList> lists(firings.size());
  for (size_t i = 0; i < firings.size(); ++i) {
    for (size_t j = i; j < firings.size(); ++j) {
      const std::optional<Clash> clash = clashOf(firings[i], firings[j], input.view);
      if (clash) {
        lists[i].add(*clash, *firings[j].schedule);
      }
      if (clash && input.tell == TellClashes::ofBoth && j > i) {
        lists[j].add(*clash, *firings[i].schedule);
      }
    }
  }
  return mapped(lists, [&](const ClashList& each) { return each.warnings(input.view); });
}
