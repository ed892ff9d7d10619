#include "forecast/clashes.h"

#include <algorithm>
#include <map>

#include "cli/mapped.h"
#include "cli/text.h"
#include "forecast/firings.h"

namespace {

constexpr int32_t kDaysAhead = 62;
constexpr int64_t kSecPerMinute = 60;
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

// The days from which a schedule's firings are compared: the coming weeks, in which every day of a
// month comes, and those from its next firing on. A window or a restart of yesterday may go on.
std::vector<TickTime> daysOf(const Schedule& schedule, const View& view) {
  const TickTime today = view.zone.tickAt(view.now());
  std::vector<TickTime> days;
  for (int32_t i = -1; i < kDaysAhead; ++i) {
    days.push_back(dayAfter(today, i));
  }
  const std::optional<Firing> next = nextFiring(schedule, view.now(), view.zone);
  if (next && next->at - view.now() > kDaysAhead * kSecPerDay) {
    for (int32_t i = 0; i < kDaysAhead; ++i) {
      days.push_back(dayAfter(view.zone.tickAt(next->at), i));
    }
  }
  return days;
}

std::vector<ScheduleFirings> firingsOfAll(const CheckInput& input) {
  return mapped(input.schedules, [&](const Schedule& schedule) {
    ScheduleFirings own{&schedule, {}};
    for (const TickTime& day : daysOf(schedule, input.view)) {
      for (const Firing& each : firingsOn(schedule, day, input.view.zone)) {
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

// Of two schedules, one that begins something and what of the other comes too early for it.
struct Meeting {
  SwitchTime from;
  SwitchTime at;
};

// The first meeting, which is yet to come, of what begins and lasts for so long. lasts: of a firing
// of one; meets: whether a firing of the other is lost by it.
template <typename Lasts, typename Meets>
std::optional<Meeting> firstMeeting(const ScheduleFirings& one, const ScheduleFirings& other,
                                    SwitchTime now, const Lasts& lasts, const Meets& meets) {
  for (const WindowFiring& begin : one.firings) {
    const int64_t length = lasts(begin);
    if (length == 0 || begin.at + length < now) {
      continue;
    }
    auto each = std::lower_bound(
        other.firings.begin(), other.firings.end(), begin.at,
        [](const Firing& firing, SwitchTime instant) { return firing.at < instant; });
    for (; each != other.firings.end() && each->at <= begin.at + length; ++each) {
      if (each->at >= now && meets(begin, *each)) {
        return Meeting{begin.at, each->at};
      }
    }
  }
  return std::nullopt;
}

// What comes while a restart has the ports is skipped: they are busy. An "off" window's end is made
// good by the restart. Of two restarts in one minute either may be first.
std::optional<Meeting> firstOverlap(const ScheduleFirings& dark, const ScheduleFirings& skipped,
                                    SwitchTime now) {
  const int64_t length = restartSec(*dark.schedule);
  const bool isSelf = &dark == &skipped;
  return firstMeeting(
      dark, skipped, now,
      [&](const WindowFiring& begin) {
        const bool mayHaveBegun = !isSelf || begin.at >= now;  // a new one was not there before
        return begin.act == Act::restart && mayHaveBegun ? length : 0;
      },
      [&](const WindowFiring& begin, const WindowFiring& other) {
        return other.at == begin.at ? !isSelf && other.act == Act::restart
                                    : !other.isEnd || other.act == Act::off;
      });
}

// The daemon switches the ports of a window's end, and of the beginning of "off", in the thread
// that looks at schedules: a minute that it works through, no schedule fires in.
std::optional<Meeting> firstLost(const ScheduleFirings& slow, const ScheduleFirings& lost,
                                 SwitchTime now) {
  const int64_t length = isWindowType(slow.schedule->type) ? pausesSec(*slow.schedule) : 0;
  return firstMeeting(
      slow, lost, now,
      [&](const WindowFiring& begin) {
        return length >= kSecPerMinute && (begin.isEnd || begin.act == Act::off) ? length : 0;
      },
      [&](const WindowFiring& begin, const WindowFiring& other) {
        return other.at > begin.at && other.at + kSecPerMinute <= begin.at + length;
      });
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
  std::string text;  // of an overlap, and of what is lost
};

std::string overlapText(const ScheduleFirings& dark, const ScheduleFirings& skipped,
                        const Meeting& meeting, const std::string& ports, const View& view) {
  const std::string has = nameOf(*dark.schedule) + " has " + ports + " for " +
                          secondsText(restartSec(*dark.schedule)) + " from " +
                          view.near(meeting.from) + ": ";
  if (&dark == &skipped) {
    return has + "its own time at " + view.near(meeting.at) + " is skipped";
  }
  return has + nameOf(*skipped.schedule) + " comes " +
         (meeting.at == meeting.from ? "in the same minute, and one of the two is skipped"
                                     : "at " + view.near(meeting.at) + " and skips what is busy");
}

std::string lostText(const ScheduleFirings& slow, const ScheduleFirings& lost,
                     const Meeting& meeting, const View& view) {
  return nameOf(*slow.schedule) + " takes " + secondsText(pausesSec(*slow.schedule)) + " from " +
         view.near(meeting.from) +
         " for its ports, one after the other: " + nameOf(*lost.schedule) + " at " +
         view.near(meeting.at) + " does not happen";
}

std::optional<Clash> clashOfTimes(const ScheduleFirings& one, const ScheduleFirings& two,
                                  const std::vector<uint32_t>& shared, const View& view) {
  for (const auto& [first, second] : {std::pair(&one, &two), std::pair(&two, &one)}) {
    const auto overlap = shared.empty() ? std::nullopt : firstOverlap(*first, *second, view.now());
    if (overlap) {
      const std::string ports = view.names.ranges(shared);
      return Clash{"overlap", ports, overlap->at,
                   overlapText(*first, *second, *overlap, ports, view)};
    }
    if (const auto lost = firstLost(*first, *second, view.now())) {
      return Clash{"lost", "", lost->at, lostText(*first, *second, *lost, view)};
    }
  }
  return std::nullopt;
}

std::optional<Clash> clashOf(const ScheduleFirings& one, const ScheduleFirings& two,
                             const View& view) {
  const std::vector<uint32_t> shared = one.schedule->unit == two.schedule->unit
                                           ? sharedPorts(*one.schedule, *two.schedule)
                                           : std::vector<uint32_t>();
  std::optional<Clash> ofTimes = clashOfTimes(one, two, shared, view);
  if (ofTimes || &one == &two || shared.empty()) {
    return ofTimes;
  }
  const std::string ports = view.names.ranges(shared);
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
