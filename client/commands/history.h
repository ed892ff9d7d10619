// What history shows, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_HISTORY_H
#define QUORIN_CLIENT_COMMANDS_HISTORY_H

#include <string>
#include <vector>

#include "api/records.h"
#include "cli/table.h"
#include "cli/times.h"

// A line a run.
std::string runsText(const std::vector<Run>& runs, int64_t now, const Zone& shownZone,
                     const Screen& screen);
// A line for each port of each run.
std::string portRunsText(const std::vector<Run>& runs, const PortNames& names, int64_t now,
                         const Zone& shownZone, const Screen& screen);
// One run, port by port.
std::string runText(const Run& run, const PortNames& names, int64_t now, const Zone& shownZone,
                    const Screen& screen);
// The daemon's keys, all of them; those that history.list lacks are null where hasPorts is false.
JsonPtr runJson(const Run& run, bool hasPorts, const PortNames& names, const Zone& shownZone);

#endif
