// What rehearse shows, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_REHEARSE_H
#define QUORIN_CLIENT_COMMANDS_REHEARSE_H

#include <string>

#include "client/commands/schedule/schedules.h"
#include "forecast/rehearsal.h"

// How it is shown. at.now is the rehearsal's beginning.
struct RehearsalShown {
  const PortNames& names;
  const ShownAt& at;
  bool isOfFile = false;  // its schedules are a file's, and their ids nobody's
};

// A line for each change, then what deserves a look.
std::string rehearsalText(const Rehearsal& rehearsal, const Rehearsed& rehearsed,
                          const RehearsalShown& shown, const Screen& screen);
// {"from", "until", "changes": [{"at", "act", "isEnd", "unit", "ifNums", "portNames", "scheduleId",
// "scheduleName", "bootDelay", "darkSec"}], "findings": [{"kind", "from", "until", "times", "act",
// "unit", "ifNums", "portNames", "scheduleId", "scheduleName", "undoerId", "undoerName", "text",
// "advice"}]}; what there is not is null. kind is "dark", "otherEnd", "run", "undone", "notDone" or
// "notForetold"; of "undone" the schedule is that of the window, and no undoer the boot delay.
JsonPtr rehearsalJson(const Rehearsal& rehearsal, const Rehearsed& rehearsed,
                      const RehearsalShown& shown);

// What a finding says and what to do about it, escaped.
std::string findingText(const Finding& finding, const Rehearsal& rehearsal,
                        const RehearsalShown& shown);
std::string findingAdvice(const Finding& finding, const Rehearsal& rehearsal,
                          const RehearsalShown& shown);

#endif
