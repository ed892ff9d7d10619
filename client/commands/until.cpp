// off --until, on --until: schedules of one day, watched until they have begun.
#include "client/commands/until.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "base/result_codes.h"
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
constexpr int64_t kHalfDaySec = int64_t{12} * 3600;
constexpr int64_t kMsPerSec = 1000;
constexpr int64_t kNoticeSec = 15;  // for storing the schedule before its minute
constexpr int64_t kMinuteMs = kSecPerMinute * kMsPerSec;
constexpr int64_t kLookMs = 5000;  // after which a tick of the daemon has begun
// The switch tells whole seconds, and the daemon looks at its clock once a second.
constexpr int64_t kClockSlackMs = 3000;
constexpr int64_t kSwitchingMs = 10000;      // what executors may need for their ports
constexpr int64_t kLongestSweepMs = 600000;  // during which the daemon tells no schedules
constexpr int32_t kPauseMs = 200;
constexpr int32_t kMaxNames = 100;
constexpr size_t kDateInMoment = 4;  // "Tue 2026-03-03 14:07:12"
constexpr size_t kDateBytes = 10;
constexpr size_t kTimeInMoment = 15;
constexpr size_t kTimeBytes = 5;

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
  std::string end = endTimeOf(until);
  if (type != ScheduleType::powerOn || timeOfDay(end.c_str()) != timeOfDay("00:00")) {
    return end;
  }
  session.output().say("until 00:01: nothing ends at 00:00 what it keeps on");
  return "00:01";
}

// What is to be held, the same for each unit.
struct Plan {
  Schedule window;  // of no unit yet
  SwitchTime start;
  SwitchTime end;
  bool hasTwin = false;  // the end is on the day after its dates
  int64_t startMs = 0;   // of the start, by this system's clock
};

TickTime atTime(TickTime day, const std::string& time) {
  std::tie(day.hour, day.minute) = *timeOfDay(time.c_str());
  day.second = 0;
  return day;
}

// The first end after the start. In the night in which an hour comes twice it may be on the same
// day although its time is the earlier one.
SwitchTime endAfter(SwitchTime start, const std::string& end, const Zone& zone) {
  const TickTime first = zone.tickAt(start);
  const TickTime sameDay = atTime(first, end);
  for (const int64_t at :
       {zone.instantOf(sameDay), zone.instantNear(sameDay, start + kHalfDaySec)}) {
    if (at > int64_t{start} && zone.existingInstantOf(sameDay)) {
      return SwitchTime(at);
    }
  }
  const TickTime last = atTime(dayAfter(first, 1), end);
  const bool isLater = *timeOfDay(end.c_str()) > std::pair(first.hour, first.minute);
  if (isLater || !zone.existingInstantOf(last)) {
    throw Failure(kExitUsage, "there is no " + end + " in that night: the clock goes forward");
  }
  return SwitchTime(zone.instantOf(last));
}

// What lies between now and the first minute would be tomorrow's.
void refuseTooSoon(SwitchTime now, SwitchTime start, const std::string& end, const Zone& zone) {
  for (const SwitchTime day : {now, start}) {
    const std::optional<int64_t> at = zone.existingInstantOf(atTime(zone.tickAt(day), end));
    if (at && *at > int64_t{now} && *at <= int64_t{start}) {
      throw Failure(kExitUsage, "it can begin at " +
                                    momentText(start, zone).substr(kTimeInMoment, kTimeBytes) +
                                    " at the earliest: give a later time");
    }
  }
}

Plan planOf(ScheduleType type, SwitchTime now, const std::string& end, const Zone& zone) {
  Plan plan;
  plan.start = firstMinute(now, zone);
  plan.startMs = systemMs() + (plan.start - now) * kMsPerSec;
  refuseTooSoon(now, plan.start, end, zone);
  plan.end = endAfter(plan.start, end, zone);

  const std::string first = momentText(plan.start, zone);  // "Tue 2026-03-03 14:07:12"
  const std::string last = momentText(plan.end, zone);
  const std::string firstDay = first.substr(kDateInMoment, kDateBytes);
  const std::string lastDay = last.substr(kDateInMoment, kDateBytes);
  plan.hasTwin = firstDay != lastDay;
  Schedule& window = plan.window;
  window.type = type;
  window.recurrence = Recurrence::daily;
  window.enabled = 1;
  window.startDate.assign(firstDay.c_str());
  window.endDate.assign(firstDay.c_str());
  window.startTime.assign(first.substr(kTimeInMoment, kTimeBytes).c_str());
  window.endTime.assign(end.c_str());
  window.name.assign((std::string(stateOf(type)) + " until " + lastDay + " " + end).c_str());
  return plan;
}

std::vector<Hold> holdsOf(const Plan& plan, const std::vector<SensorPort>& ports) {
  std::map<int32_t, Hold> byUnit;
  for (const SensorPort& port : ports) {
    byUnit[port.unit].ports.push_back(port);
  }
  return mapped(byUnit, [&](const auto& each) {
    Hold hold = each.second;
    hold.schedule = plan.window;
    hold.schedule.unit = each.first;
    hold.schedule.ifNums = ifNumsOf(hold.ports);
    return hold;
  });
}

void remove(const Hold& hold, Session& session) {
  deleteSchedule(session.daemon(), hold.schedule);
  if (hold.twin) {
    deleteSchedule(session.daemon(), *hold.twin);
  }
}

// Without its schedule nothing switches on what it has switched off.
std::string undoWords(const std::vector<Hold>& holds, Session& session) {
  std::vector<std::string> ids;
  std::vector<uint32_t> ports;
  for (const Hold& hold : holds) {
    ids.push_back(std::to_string(hold.schedule.scheduleId));
    ports.insert(ports.end(), hold.schedule.ifNums.begin(), hold.schedule.ifNums.end());
  }
  const bool isOff = holds.front().schedule.type == ScheduleType::powerOff;
  return "To undo it: quorin_poectl schedule delete " + joined(ids, " ") +
         (isOff ? ", and if it has begun quorin_poectl on " + session.names().ranges(ports) : "");
}

// Under the first name that is free, which somebody else may take meanwhile.
void create(Schedule* schedule, Session& session) {
  const std::string wanted = schedule->name.c_str();
  for (int32_t i = 0; i < kMaxNames; ++i) {
    const std::vector<Schedule> all = askSchedules(session.daemon(), schedule->unit);
    schedule->name.assign(freeName(wanted, *schedule, all).c_str());
    try {
      *schedule = createSchedule(session.daemon(), *schedule);
      return;
    } catch (const DaemonError& error) {
      if (error.code() != ERR_EXISTS) {
        throw;
      }
    }
  }
  throw Failure(kExitDaemonError, "no name is free for " + inQuotes(wanted));
}

// Either all are stored, or none is; where that fails, too, the failure says so.
void store(const Plan& plan, std::vector<Hold>* holds, Session& session) {
  std::vector<Hold> stored;
  try {
    for (Hold& hold : *holds) {
      create(&hold.schedule, session);
      stored.push_back(hold);
      if (plan.hasTwin) {
        hold.twin = createSchedule(session.daemon(), twinOf(hold.schedule));
        stored.back().twin = hold.twin;
      }
    }
  } catch (const Failure& failure) {
    try {
      std::for_each(stored.begin(), stored.end(), [&](const Hold& each) { remove(each, session); });
    } catch (const Failure&) {
      throw failure.retold(std::string(failure.what()) + "\nSome of it is stored. " +
                           undoWords(stored, session));
    }
    throw;
  }
}

// When to look whether it has begun. The daemon ticks in the minutes of its own clock, which need
// not be those of the switch's; where the two are the same but for a moment, its tick may be this
// one or the next.
std::vector<int64_t> looksMs(const Plan& plan) {
  const auto tickAfter = [](int64_t ms) { return (ms + kMinuteMs - 1) / kMinuteMs * kMinuteMs; };
  const int64_t first = std::max(plan.startMs, tickAfter(plan.startMs - kClockSlackMs));
  const int64_t last = tickAfter(plan.startMs + kClockSlackMs);
  return {first + kLookMs, std::max(first, last) + kLookMs};
}

// The daemon tells of schedules when no sweep is under way, and a sweep's run is recorded then.
void awaitSweep(int32_t unit, Session& session) {
  const int64_t giveUpMs = systemMonotonicMs() + kLongestSweepMs;
  for (;;) {
    try {
      askSchedules(session.daemon(), unit);
      return;
    } catch (const Failure& failure) {
      if (failure.status() != kExitTimedOut || systemMonotonicMs() >= giveUpMs) {
        throw;
      }
      requireMovingClock();
    }
  }
}

std::optional<Run> runOf(const Hold& hold, SystemTime since, Session& session) {
  const int32_t unit = hold.schedule.unit;
  awaitSweep(unit, session);
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
    std::vector<SensorPort> ports =
        chosenPorts(askSensors(session.daemon(), hold.schedule.unit), hold.ports);
    if (areAsWished(ports, hold.schedule.type) || systemMonotonicMs() >= giveUpMs) {
      return ports;
    }
    sleepMilliseconds(kPauseMs);
  }
}

void announce(const std::vector<Hold>& holds, SwitchTime start, Session& session) {
  const View view = session.view();
  sayWhenInterrupted("quorin_poectl", "it is stored, and begins at " + view.near(start) + ". " +
                                          undoWords(holds, session));
  const int64_t leftSec = start - view.now();
  for (const Hold& hold : holds) {
    session.output().say("added " + scheduleTitle(hold.schedule) + ": " +
                         view.names.ranges(hold.schedule.ifNums) + " " +
                         stateOf(hold.schedule.type) + " at " + view.near(start) +
                         (leftSec > 0 ? ", in " + secondsText(leftSec)
                                      : ", if the daemon, which was busy, still has time for it"));
  }
  warnOfChanged(mapped(holds, [](const Hold& hold) { return hold.schedule; }), session);
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
  bool isDeleted = false;
};

bool haveBegun(const std::vector<Hold>& holds) {
  return std::all_of(holds.begin(), holds.end(),
                     [](const Hold& hold) { return hold.run.has_value(); });
}

// Looks until all have begun, as often as there is a tick in which they may.
void awaitBeginning(const Plan& plan, SystemTime since, std::vector<Hold>* holds,
                    Session& session) {
  const int64_t storedMs = systemMs();
  for (const int64_t lookMs : looksMs(plan)) {
    waitUntil(std::max(lookMs, storedMs + kLookMs));
    for (Hold& hold : *holds) {
      hold.run = hold.run ? hold.run : runOf(hold, since, session);
    }
    if (haveBegun(*holds)) {
      return;
    }
  }
}

// A schedule that did not begin is deleted. One may begin while it is.
Held concluded(Hold hold, SystemTime since, Session& session) {
  const bool isDeleted = !hold.run;
  if (isDeleted) {
    remove(hold, session);
    hold.run = runOf(hold, since, session);
  }
  return {hold, hold.run ? settledPorts(hold, session) : std::vector<SensorPort>(), isDeleted};
}

std::string heldText(const Held& held, SwitchTime ends, const View& view) {
  const Schedule& schedule = held.hold.schedule;
  const std::string state = stateOf(schedule.type);
  const std::string ports = view.names.ranges(schedule.ifNums);
  if (!held.hold.run) {
    return scheduleTitle(schedule) +
           " did not begin: the daemon had no time for its minute. It is deleted, and its ports " +
           ports + " are as they were.\n";
  }
  if (held.isDeleted) {
    return scheduleTitle(schedule) + " began too late, while it was deleted: nothing ends it for " +
           ports + "\n";
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
    return each.hold.run && !each.isDeleted && areAsWished(each.ports, each.hold.schedule.type);
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
  const Plan plan = planOf(type, session.now(), end, session.zone());
  std::vector<Hold> holds = holdsOf(plan, ports);
  if (holds.empty()) {
    return conclude({}, plan.end, session);
  }

  store(plan, &holds, session);
  try {
    announce(holds, plan.start, session);
    awaitBeginning(plan, since, &holds, session);
    const auto conclusion = [&](const Hold& hold) { return concluded(hold, since, session); };
    return conclude(mapped(holds, conclusion), plan.end, session);
  } catch (const Failure& failure) {
    throw failure.retold(std::string(failure.what()) + "\nWhether it began was not seen. " +
                         undoWords(holds, session));
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
