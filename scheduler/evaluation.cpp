#include "scheduler/evaluation.h"

#include <sqlite3.h>

#include <cstdio>

#include "base/database.h"
#include "base/result_codes.h"
#include "config/schedule_store.h"
#include "daemon/daemon_context.h"
#include "history/run_lifecycle.h"
#include "log/log.h"
#include "scheduler/fired_keys.h"
#include "scheduler/triggers.h"
#include "scheduler/window_run.h"

namespace {

constexpr size_t kKeyBytes = 64;

// One pass over all schedules.
struct EvaluationPass {
  sqlite3* db;
  TickTime now;
  StatementPtr dayLookup;  // prepared when first needed
};

OccurrenceKey minuteKey(const TickTime& now, char suffix) {
  char text[kKeyBytes];
  snprintf(text, sizeof text, "%04d%02d%02dT%02d%02d%c", now.year, now.month, now.day, now.hour, now.minute, suffix);
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
  if (day == 0) {
    return true;
  }
  if (pass.dayLookup == nullptr) {
    pass.dayLookup =
        prepareStatement(pass.db, "SELECT 1 FROM poe_schedule_days WHERE schedule_id=? AND day=? LIMIT 1;");
  }
  sqlite3_stmt* lookup = pass.dayLookup.get();
  if (lookup == nullptr) {
    return false;
  }
  sqlite3_bind_int64(lookup, 1, schedule.scheduleId);
  sqlite3_bind_int(lookup, 2, day);
  const bool found = sqlite3_step(lookup) == SQLITE_ROW;
  sqlite3_reset(lookup);
  return found;
}

// Closes the run of an earlier occurrence that never ended.
void closeStaleRun(const PoeSchedule& schedule) {
  int64_t runId = 0;
  if (historyFindOpenRun(schedule.unit, schedule.scheduleId, &runId) != RESULT_OK) {
    LOG_HERE(LOG_ERR, "schedule %lld unit %d: stale-run lookup failed; proceeding with startTime fire",
             static_cast<long long>(schedule.scheduleId), schedule.unit);
    return;
  }
  if (runId <= 0) {
    return;
  }
  LOG_HERE(LOG_WARNING, "schedule %lld: stale open run %lld at startTime; closing it as failed",
           static_cast<long long>(schedule.scheduleId), static_cast<long long>(runId));
  windowRunFailRetrying(runId, "Superseded by a new occurrence");
}

// Switches a power_on or power_off schedule's ports as its window asks for.
void firePower(sqlite3* db, const PoeSchedule& schedule, bool window) {
  if (schedule.type == ScheduleType::powerOn) {
    triggerSchedule(db, schedule, POE_ACTION_POWER_ON, window);
  } else {
    fireInlineAdminSweep(db, schedule, window);
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
    firePower(pass.db, schedule, false);
  }
  if (due.windowStart && firesNow(schedule, minuteKey(pass.now, 'S'))) {
    closeStaleRun(schedule);
    firePower(pass.db, schedule, true);
  }
  if (due.windowEnd && firesNow(schedule, minuteKey(pass.now, 'E'))) {
    fireWindowEndSweep(pass.db, schedule);
  }
  if (due.restart && firesNow(schedule, minuteKey(pass.now, 'R'))) {
    triggerSchedule(pass.db, schedule, POE_ACTION_RESTART, false);
  }
}

}  // namespace

void evaluateSchedules(sqlite3* db, const TickTime& now) {
  const StatementPtr rows = prepareStatement(db, "SELECT " SCHEDULE_COLUMNS " FROM poe_schedule;");
  if (rows == nullptr) {
    return;
  }
  EvaluationPass pass{db, now, nullptr};
  PoeSchedule schedule;
  int step = SQLITE_ROW;
  while ((step = sqlite3_step(rows.get())) == SQLITE_ROW) {
    scheduleRowRead(rows.get(), &schedule);
    evaluateOne(pass, schedule);
  }
  if (step != SQLITE_DONE) {
    LOG_HERE(LOG_ERR, "schedules could not be read to the end: %s", sqlite3_errmsg(db));
  }
}
