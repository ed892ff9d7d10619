#include "scheduler/evaluation.h"

#include <cstdio>

#include "base/result_codes.h"
#include "config/schedule_reader.h"
#include "daemon/daemon_context.h"
#include "history/run_lifecycle.h"
#include "log/log.h"
#include "rules/due_firings.h"
#include "rules/run_words.h"
#include "scheduler/fired_keys.h"
#include "scheduler/triggers.h"
#include "scheduler/window_run.h"

namespace {

constexpr size_t kKeyBytes = 64;

// One pass over all schedules.
struct EvaluationPass {
  const ScheduleAccess& schedules;
  TickTime now;
  ScheduleDays days;
};

OccurrenceKey minuteKey(const TickTime& now, char suffix) {
  char text[kKeyBytes];
  snprintf(text, sizeof text, "%04d%02d%02dT%02d%02d%c", now.year, now.month, now.day, now.hour,
           now.minute, suffix);
  OccurrenceKey key;
  key.assign(text);
  return key;
}

OccurrenceKey dayKey(const TickTime& now) {
  char text[kKeyBytes];
  snprintf(text, sizeof text, "%04d%02d%02dA", now.year, now.month, now.day);
  OccurrenceKey key;
  key.assign(text);
  return key;
}

// True the first time that an occurrence is asked for.
bool firesNow(const PoeSchedule& schedule, const OccurrenceKey& key) {
  if (firedKeyContains(schedule.scheduleId, key)) {
    return false;
  }
  firedKeyAdd(schedule.scheduleId, key);
  return true;
}

// Whether today is one of the schedule's days.
bool isOnItsDay(EvaluationPass& pass, const PoeSchedule& schedule) {
  const int32_t day = recurrenceDay(schedule.recurrence, pass.now);
  return day == 0 || pass.days.contain(schedule.scheduleId, day);
}

// Closes the run of an earlier occurrence that never ended.
void closeStaleRun(const PoeSchedule& schedule) {
  int64_t runId = 0;
  if (historyFindOpenRun(schedule.unit, schedule.scheduleId, &runId) != RESULT_OK) {
    LOG_HERE(LOG_ERR,
             "schedule %lld unit %d: stale-run lookup failed; proceeding with startTime fire",
             static_cast<long long>(schedule.scheduleId), schedule.unit);
    return;
  }
  if (runId <= 0) {
    return;
  }
  LOG_HERE(LOG_WARNING, "schedule %lld: stale open run %lld at startTime; closing it as failed",
           static_cast<long long>(schedule.scheduleId), static_cast<long long>(runId));
  windowRunFailRetrying(runId, kRunSuperseded);
}

// Switches a power_on or power_off schedule's ports as its window asks for.
void firePower(const ScheduleAccess& schedules, const PoeSchedule& schedule, bool window) {
  if (schedule.type == ScheduleType::powerOn) {
    triggerSchedule(schedules, schedule, POE_ACTION_POWER_ON, window);
  } else {
    fireInlineAdminSweep(schedules, schedule, window);
  }
}

void evaluateOne(EvaluationPass& pass, const PoeSchedule& schedule) {
  DueFirings due = scheduleDue(schedule, pass.now);
  // A restart that began now would end with the process, perhaps while its ports are dark.
  due.restart = due.restart && !stopRequested();

  if (!due.any() || !isOnItsDay(pass, schedule)) {
    return;
  }

  if (due.allDay && firesNow(schedule, dayKey(pass.now))) {
    firePower(pass.schedules, schedule, false);
  }
  if (due.windowStart && firesNow(schedule, minuteKey(pass.now, 'S'))) {
    closeStaleRun(schedule);
    firePower(pass.schedules, schedule, true);
  }
  if (due.windowEnd && firesNow(schedule, minuteKey(pass.now, 'E'))) {
    fireWindowEndSweep(pass.schedules, schedule);
  }
  if (due.restart && firesNow(schedule, minuteKey(pass.now, 'R'))) {
    triggerSchedule(pass.schedules, schedule, POE_ACTION_RESTART, false);
  }
}

}  // namespace

void evaluateSchedules(const ScheduleAccess& schedules, const TickTime& now) {
  ScheduleRows rows(schedules);
  if (!rows.isOpen()) {
    return;
  }
  EvaluationPass pass{schedules, now, ScheduleDays(schedules)};
  PoeSchedule schedule;
  while (rows.next(&schedule)) {
    evaluateOne(pass, schedule);
  }
  if (!rows.atEnd()) {
    LOG_HERE(LOG_ERR, "schedules could not be read to the end: %s", schedules.error());
  }
}
