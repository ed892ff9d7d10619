// off --until, on --until: schedules of one day, watched until they have begun.
#include "client/commands/until.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <tuple>

#include "base/sleep.h"
#include "cli/interrupt.h"
#include "cli/lab_clock.h"
#include "cli/text.h"
#include "client/command.h"
#include "client/commands/schedule/changes.h"
#include "client/commands/schedule/schedule_options.h"
#include "client/commands/schedule/schedules.h"
#include "forecast/firings.h"
#include "forecast/twin.h"

namespace {

constexpr int64_t kSecPerMinute = 60;
constexpr int64_t kMsPerSec = 1000;
constexpr int64_t kNoticeSec = 15;       // for storing the schedule before its minute
constexpr int64_t kLookSec = 5;          // after which a tick of the daemon has begun
constexpr int64_t kClockSlackSec = 2;    // the switch tells whole seconds
constexpr int64_t kSwitchingMs = 10000;  // what executors may need for their ports
constexpr int32_t kPauseMs = 200;

// One unit's ports, held by a schedule, which a twin ends where the night is between.
struct Hold {
  Schedule schedule;
  std::optional<Schedule> twin;
  std::vector<PoePort> ports;
  std::optional<Run> run;  // once it has begun
};

const char* stateOf(ScheduleType type) {
  return type == ScheduleType::powerOn ? "on" : "off";
}

bool isAsWished(const SensorPort& port, ScheduleType type) {
  return type == ScheduleType::powerOn ? port.isOn() : port.isOff();
}

// The minute in which a schedule that is stored now can begin.
SwitchTime firstMinute(SwitchTime now, const Zone& zone) {
  const int64_t leftSec = kSecPerMinute - zone.tickAt(now).second;
  return SwitchTime(now + leftSec + (leftSec < kNoticeSec ? kSecPerMinute : 0));
}

std::string freeName(const std::string& wanted, Schedule schedule,
                     const std::vector<Schedule>& all) {
  const auto isTaken = [&](const Schedule& other) {
    return other.unit == schedule.unit &&
           (other.name.c_str() == std::string(schedule.name.c_str()) ||
            other.name.c_str() == twinName(schedule));
  };
  std::string name = wanted;
  for (int32_t number = 2;; ++number) {
    schedule.name.assign(name.c_str());
    if (std::none_of(all.begin(), all.end(), isTaken)) {
      return name;
    }
    name = wanted + " (" + std::to_string(number) + ")";
  }
}

// A window that powers on is not ended at 00:00 by a twin.
std::string endWord(ScheduleType type, const std::string& until, Session& session) {
  const std::string end = endTimeOf(until);
  if (type != ScheduleType::powerOn || timeOfDay(end.c_str()) != timeOfDay("00:00")) {
    return end;
  }
  session.output().say("until 00:01: nothing ends at 00:00 what it keeps on");
  return "00:01";
}

// The schedule of a unit yet to be chosen. ends: where its end is.
Schedule windowOf(ScheduleType type, SwitchTime start, const std::string& end, const Zone& zone,
                  SwitchTime* ends) {
  const TickTime first = zone.tickAt(start);
  char text[64];
  Schedule window;
  window.type = type;
  window.recurrence = Recurrence::daily;
  window.enabled = 1;
  snprintf(text, sizeof text, "%02d:%02d", first.hour, first.minute);
  window.startTime.assign(text);
  window.endTime.assign(end.c_str());
  if (end == text) {
    throw Failure(kExitUsage, "it can begin at " + end + " at the earliest: give a later time");
  }
  snprintf(text, sizeof text, "%04d-%02d-%02d", first.year, first.month, first.day);
  window.startDate.assign(text);
  window.endDate.assign(text);

  TickTime last = dayAfter(first, isOverMidnight(window) ? 1 : 0);
  std::tie(last.hour, last.minute) = *timeOfDay(end.c_str());
  last.second = 0;
  if (!zone.existingInstantOf(last)) {
    throw Failure(kExitUsage, "there is no " + end + " in that night: the clock goes forward");
  }
  *ends = SwitchTime(zone.instantNear(last, start));
  snprintf(text, sizeof text, "%s until %04d-%02d-%02d %s", stateOf(type), last.year, last.month,
           last.day, end.c_str());
  window.name.assign(text);
  return window;
}

std::vector<Hold> holdsOf(const Schedule& window, const std::vector<SensorPort>& ports,
                          Session& session) {
  std::map<int32_t, Hold> byUnit;
  for (const SensorPort& port : ports) {
    byUnit[port.unit].ports.push_back(port);
  }
  std::vector<Hold> holds;
  for (auto& [unit, hold] : byUnit) {
    hold.schedule = window;
    hold.schedule.unit = unit;
    hold.schedule.ifNums = ifNumsOf(hold.ports);
    const std::string name =
        freeName(window.name.c_str(), hold.schedule, askSchedules(session.daemon(), unit));
    hold.schedule.name.assign(name.c_str());
    holds.push_back(hold);
  }
  return holds;
}

void remove(const Hold& hold, Session& session) {
  deleteSchedule(session.daemon(), hold.schedule);
  if (hold.twin) {
    deleteSchedule(session.daemon(), *hold.twin);
  }
}

std::string deleteWords(const std::vector<Hold>& holds) {
  std::vector<std::string> ids;
  for (const Hold& hold : holds) {
    ids.push_back(std::to_string(hold.schedule.scheduleId));
  }
  return "quorin_poectl schedule delete " + joined(ids, " ");
}

// Either all are stored, or none is; where that fails, too, the failure says so.
void store(std::vector<Hold>* holds, Session& session) {
  std::vector<Hold> stored;
  try {
    for (Hold& hold : *holds) {
      hold.schedule = createSchedule(session.daemon(), hold.schedule);
      stored.push_back(hold);
      if (isOverMidnight(hold.schedule)) {
        hold.twin = createSchedule(session.daemon(), twinOf(hold.schedule));
        stored.back().twin = hold.twin;
      }
    }
  } catch (const Failure& failure) {
    try {
      std::for_each(stored.begin(), stored.end(), [&](const Hold& each) { remove(each, session); });
    } catch (const Failure&) {
      throw failure.retold(std::string(failure.what()) +
                           "\nSome of it is stored. To undo it: " + deleteWords(stored));
    }
    throw;
  }
}

// The daemon ticks in the minutes of its own clock, which need not be those of the switch's.
int64_t lookAtMs(SwitchTime start, SwitchTime now) {
  const int64_t beginsSec = systemMs() / kMsPerSec + (start - now);
  const int64_t minutes = (beginsSec - kClockSlackSec + kSecPerMinute - 1) / kSecPerMinute;
  return (std::max(beginsSec, minutes * kSecPerMinute) + kLookSec) * kMsPerSec;
}

// The daemon gives schedules out when no sweep is under way, and a sweep's run is recorded then.
std::optional<Run> runOf(const Hold& hold, SystemTime since, Session& session) {
  const int32_t unit = hold.schedule.unit;
  askSchedules(session.daemon(), unit);
  for (const Run& run : askRunsSince(session.daemon(), unit, since)) {
    if (run.scheduleId == hold.schedule.scheduleId) {
      return run;
    }
  }
  return std::nullopt;
}

bool areAsWished(const std::vector<SensorPort>& ports, ScheduleType type) {
  return std::all_of(ports.begin(), ports.end(),
                     [&](const SensorPort& port) { return isAsWished(port, type); });
}

// As they are when all are as wished, or when that takes too long.
std::vector<SensorPort> settledPorts(const Hold& hold, Session& session) {
  const int64_t giveUpMs = systemMonotonicMs() + kSwitchingMs;
  for (;;) {
    const std::vector<SensorPort> ports =
        chosenPorts(askSensors(session.daemon(), hold.schedule.unit), hold.ports);
    if (areAsWished(ports, hold.schedule.type) || systemMonotonicMs() >= giveUpMs) {
      return ports;
    }
    sleepMilliseconds(kPauseMs);
  }
}

void announce(const std::vector<Hold>& holds, SwitchTime start, Session& session) {
  const View view = session.view();
  sayWhenInterrupted("quorin_poectl", "it is stored, and begins at " + view.near(start) +
                                          ". To undo it: " + deleteWords(holds));
  std::vector<Schedule> added;
  for (const Hold& hold : holds) {
    session.output().say("added " + scheduleTitle(hold.schedule) + ": " +
                         view.names.ranges(hold.schedule.ifNums) + " " +
                         stateOf(hold.schedule.type) + " at " + view.near(start) + ", in " +
                         secondsText(start - view.now()));
    added.push_back(hold.schedule);
  }
  warnOfChanged(added, session);
}

void waitUntil(int64_t systemMsThen) {
  while (systemMs() < systemMsThen) {
    requireMovingClock();
    sleepMilliseconds(kPauseMs);
  }
}

// What came of it, for one unit.
struct Held {
  Hold hold;
  std::vector<SensorPort> ports;
};

// A schedule that did not begin is deleted.
Held seen(Hold hold, SystemTime since, Session& session) {
  hold.run = runOf(hold, since, session);
  if (!hold.run) {
    remove(hold, session);
    return {hold, {}};
  }
  return {hold, settledPorts(hold, session)};
}

std::string heldText(const Held& held, SwitchTime ends, const View& view) {
  const Schedule& schedule = held.hold.schedule;
  const std::string state = stateOf(schedule.type);
  if (!held.hold.run) {
    return scheduleTitle(schedule) +
           " did not begin: the daemon had no time for its minute. It is "
           "deleted, and its ports " +
           view.names.ranges(schedule.ifNums) + " are as they were.\n";
  }
  std::vector<uint32_t> good;
  std::string bad;
  for (const SensorPort& port : held.ports) {
    if (isAsWished(port, schedule.type)) {
      good.push_back(port.ifNum);
    } else {
      bad += view.names.name(port.ifNum) + " is not " + state + ". See: quorin_poectl history " +
             std::to_string(held.hold.run->runId) + "\n";
    }
  }
  return (good.empty()
              ? ""
              : view.names.ranges(good) + " " + state + " (run " +
                    std::to_string(held.hold.run->runId) + ") until " + view.near(ends) + "\n") +
         bad;
}

JsonPtr heldJson(const Held& held, const View& view) {
  const auto ofPort = [&](const SensorPort& port) {
    return jsonObject(portJson(port.unit, port.ifNum, view), {{"adminMode", port.adminMode.text}});
  };
  const std::optional<Schedule>& twin = held.hold.twin;
  return jsonObject({{"schedule", scheduleDocument(held.hold.schedule, view)},
                     {"twin", twin ? scheduleDocument(*twin, view) : JsonValue("")},
                     {"runId", held.hold.run ? JsonValue(held.hold.run->runId) : JsonValue("")},
                     {"ports", jsonArray(held.ports, ofPort)}});
}

int conclude(const std::vector<Held>& held, SwitchTime ends, Session& session) {
  const View view = session.view();
  const auto text = [&] {
    return joined(mapped(held, [&](const Held& each) { return heldText(each, ends, view); }), "");
  };
  const auto ofHeld = [&](const Held& each) { return heldJson(each, view); };
  session.print(text, [&] { return jsonObject({{"holds", jsonArray(held, ofHeld)}}); });
  const bool isDone = std::all_of(held.begin(), held.end(), [](const Held& each) {
    return each.hold.run && areAsWished(each.ports, each.hold.schedule.type);
  });
  return isDone ? kExitDone : kExitNotAsWished;
}

// Those that are not as wished yet; the others are named.
std::vector<SensorPort> portsToChange(ScheduleType type, const std::vector<std::string>& words,
                                      Session& session) {
  std::vector<SensorPort> wanted;
  std::vector<uint32_t> asWished;
  for (const SensorPort& port : chosenPorts(session.sensors(), session.portsNamed(words))) {
    if (isAsWished(port, type)) {
      asWished.push_back(port.ifNum);
    } else {
      wanted.push_back(port);
    }
  }
  sayLeftAlone(asWished, stateOf(type), session);
  return wanted;
}

}  // namespace

void sayLeftAlone(const std::vector<uint32_t>& ifNums, const char* state, Session& session) {
  if (!ifNums.empty()) {
    session.output().say(session.names().ranges(ifNums) + (ifNums.size() == 1 ? " is " : " are ") +
                         state + ": left alone");
  }
}

int holdUntil(ScheduleType type, const std::vector<std::string>& words, const std::string& until,
              Session& session) {
  requireMovingClock();
  const std::string end = endWord(type, until, session);
  const std::vector<SensorPort> ports = portsToChange(type, words, session);
  const SystemTime since = systemNow();
  const SwitchTime now = session.now();
  const SwitchTime start = firstMinute(now, session.zone());
  SwitchTime ends;
  const Schedule window = windowOf(type, start, end, session.zone(), &ends);
  std::vector<Hold> holds = holdsOf(window, ports, session);
  if (holds.empty()) {
    return conclude({}, ends, session);
  }

  store(&holds, session);
  try {
    announce(holds, start, session);
    waitUntil(lookAtMs(start, now));
    return conclude(mapped(holds, [&](const Hold& hold) { return seen(hold, since, session); }),
                    ends, session);
  } catch (const Failure& failure) {
    throw failure.retold(std::string(failure.what()) +
                         "\nWhether it began was not seen. To undo it: " + deleteWords(holds));
  }
}

SessionAction defineOff(Arguments& app, Options& options) {
  const auto ports = std::make_shared<std::vector<std::string>>();
  const auto until = std::make_shared<std::string>();
  app.add("PORT", *ports, "ports to switch off; those that are off are left alone").required();
  addUnit(app, options);
  app.add("--until", *until, "when they are on again").named("HH:MM").required();
  return [ports, until](Session& session) {
    return holdUntil(ScheduleType::powerOff, *ports, *until, session);
  };
}
