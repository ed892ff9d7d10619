// What is told of a rehearsal.
#ifndef QUORIN_FORECAST_REHEARSAL_REPORT_H
#define QUORIN_FORECAST_REHEARSAL_REPORT_H

#include <string>

#include "api/view.h"
#include "forecast/rehearsal.h"

// Whose schedules were rehearsed: those of a file have ids that nobody knows.
enum class ScheduleSource { daemon, file };

// view.now() is the rehearsal's beginning. A line for each change, then what deserves a look.
std::string rehearsalText(const Rehearsal& rehearsal, const RehearsalReport& report,
                          ScheduleSource source, const View& view);
// {"from", "until", "changes": [{"at", "act", "isEnd", "unit", "ifNums", "portNames", "scheduleId",
// "scheduleName", "bootDelay", "darkSec"}], "findings": [{"kind", "from", "until", "times", "act",
// "unit", "ifNums", "portNames", "scheduleId", "scheduleName", "undoerId", "undoerName", "text",
// "advice"}]}; what there is not is null. kind is "dark", "otherEnd", "run", "undone", "notDone" or
// "notForetold"; of "undone" the schedule is that of the window, and no undoer the boot delay.
JsonPtr rehearsalJson(const Rehearsal& rehearsal, const RehearsalReport& report,
                      ScheduleSource source, const View& view);

// What a finding says and what to do about it, escaped.
std::string findingText(const Finding& finding, const Rehearsal& rehearsal, ScheduleSource source,
                        const View& view);
std::string findingAdvice(const Finding& finding, const Rehearsal& rehearsal, ScheduleSource source,
                          const View& view);

#endif
