#include "scheduler/triggers.h"

#include "base/result_codes.h"
#include "config/schedule_reader.h"
#include "history/run_lifecycle.h"
#include "log/log.h"
#include "poe/executor.h"
#include "rules/run_words.h"
#include "scheduler/admin_sweep.h"
#include "scheduler/open_run_stamps.h"
#include "scheduler/window_run.h"
#include "switchos/openclt.h"

namespace {

constexpr const char* kNotRestored = "endTime sweep could not load ports - window NOT restored";

long long loggedId(const PoeSchedule& schedule) {
  return schedule.scheduleId;
}

// What the run of a firing is begun with. Borrows the schedule's name and the ports.
RunBeginRequest requestOf(const PoeSchedule& schedule, PoeActionType action,
                          const std::vector<uint32_t>& ifNums) {
  RunBeginRequest request;
  request.unit = schedule.unit;
  request.trigger = RUN_TRIGGER_SCHEDULED;
  request.scheduleId = schedule.scheduleId;
  request.scheduleName = schedule.name.c_str();
  request.action = action;
  request.executionMode = schedule.executionMode;
  request.interPortDelaySec = schedule.interPortDelaySec;
  request.allDay = schedule.allDay;
  request.ifNums = ifNums.data();
  request.ifCount = static_cast<int32_t>(ifNums.size());
  return request;
}

// Begins the run and, for a window, stamps it. Returns its id, less than 1 when it can't be begun.
int64_t beginScheduledRun(const RunBeginRequest& request, bool window) {
  const int64_t runId = historyRunBegin(&request);
  if (runId >= 1 && window) {
    openRunStampAdd(runId);
  }
  return runId;
}

// The run that the end of the schedule's window closes, or 0 (logged) when there is none.
int64_t findWindowRun(const PoeSchedule& schedule) {
  int64_t runId = 0;
  if (historyFindOpenRun(schedule.unit, schedule.scheduleId, &runId) != RESULT_OK) {
    LOG_HERE(LOG_ERR,
             "schedule %lld unit %d endTime: open-run lookup failed; sweeping without recording",
             loggedId(schedule), schedule.unit);
    return 0;
  }
  if (runId < 1) {
    LOG_HERE(LOG_INFO,
             "schedule %lld unit %d endTime: no open run for this occurrence; sweeping without "
             "recording",
             loggedId(schedule), schedule.unit);
    return 0;
  }
  return runId;
}

void giveUpRestore(const PoeSchedule& schedule, int64_t runId) {
  LOG_HERE(LOG_ERR, "schedule %lld unit %d: %s", loggedId(schedule), schedule.unit, kNotRestored);
  if (runId > 0) {
    windowRunFail(runId, kNotRestored);
  }
}

AdminSweepRequest restoreSweep(const PoeSchedule& schedule, int64_t runId,
                               std::vector<uint32_t> ifNums) {
  const bool powersOn = schedule.type == ScheduleType::powerOff;
  AdminSweepRequest sweep;
  sweep.unit = schedule.unit;
  sweep.ifNums = std::move(ifNums);
  sweep.interPortDelaySec =
      powersOn && schedule.executionMode == EXECUTION_SEQUENTIAL ? schedule.interPortDelaySec : 0;
  sweep.runId = runId;
  sweep.adminMode = powersOn ? OPENCLT_ADMIN_ENABLE : OPENCLT_ADMIN_DISABLE;
  sweep.sweepMode = runId > 0 ? SweepMode::restore : SweepMode::unrecorded;
  return sweep;
}

}  // namespace

void triggerSchedule(const ScheduleAccess& schedules, const PoeSchedule& schedule,
                     PoeActionType action, bool window) {
  const std::vector<uint32_t> ifNums = scheduleLoadIfNums(schedules, schedule.scheduleId);
  if (ifNums.empty()) {
    LOG_HERE(LOG_ERR, "schedule %lld: could not load ifNums; fire skipped", loggedId(schedule));
    return;
  }

  const RunBeginRequest request = requestOf(schedule, action, ifNums);
  const int64_t runId = beginScheduledRun(request, window);
  if (runId < 1) {
    LOG_HERE(LOG_ERR, "schedule %lld: history run begin failed; fire skipped", loggedId(schedule));
    return;
  }

  PoeActionJob job = poeActionJobOf(request, runId);
  job.offTimeSec = schedule.offTimeSec;
  job.keepRunOpen = window ? 1 : 0;
  if (poeActionSpawn(&job) != 0) {
    windowRunFail(runId, kRunNotSpawned);
  }
}

void fireInlineAdminSweep(const ScheduleAccess& schedules, const PoeSchedule& schedule,
                          bool window) {
  AdminSweepRequest sweep;
  sweep.unit = schedule.unit;
  sweep.ifNums = scheduleLoadIfNums(schedules, schedule.scheduleId);
  if (sweep.ifNums.empty()) {
    LOG_HERE(LOG_ERR, "schedule %lld: could not load ifNums; sweep skipped", loggedId(schedule));
    return;
  }

  sweep.runId = beginScheduledRun(requestOf(schedule, POE_ACTION_POWER_OFF, sweep.ifNums), window);
  if (sweep.runId < 1) {
    LOG_HERE(LOG_ERR, "schedule %lld: history run begin failed; sweep skipped", loggedId(schedule));
    return;
  }

  sweep.adminMode = OPENCLT_ADMIN_DISABLE;
  // No pauses: ports that go dark draw no inrush.
  sweep.sweepMode = window ? SweepMode::recordOpen : SweepMode::recordFinish;
  executorAdminSweep(sweep);
}

void fireWindowEndSweep(const ScheduleAccess& schedules, const PoeSchedule& schedule) {
  const int64_t runId = findWindowRun(schedule);
  std::vector<uint32_t> ifNums = scheduleLoadIfNums(schedules, schedule.scheduleId);
  if (ifNums.empty()) {
    giveUpRestore(schedule, runId);
    return;
  }
  if (runId > 0 && historyPortsResetSuccessToPending(runId) != RESULT_OK) {
    LOG_HERE(LOG_ERR, "run %lld: success->pending reset failed; proceeding with the restore sweep",
             static_cast<long long>(runId));
  }
  executorAdminSweep(restoreSweep(schedule, runId, std::move(ifNums)));
}
