// What reset shows, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_RESET_H
#define QUORIN_CLIENT_COMMANDS_RESET_H

#include <string>
#include <vector>

#include "api/port_names.h"
#include "cli/table.h"
#include "client/diagnosis/port_watch.h"

// A port of a run, watched.
struct WatchedPort {
  PoePort port;
  int64_t runId = 0;
  PortWatch watch;
};

// A line a port, in their order, without line ends: "1/0/3  cam-lobby  12.9 W > dark 4 s ...".
std::vector<std::string> resetLines(const std::vector<WatchedPort>& ports, const PortNames& names,
                                    int64_t nowMs, const Screen& screen);
// A change of one port: {"event": "change", "runId", "unit", "ifNum", "name", ...}. "back" is null
// until the port is over; then false or true, with "backAfterMs" for true.
JsonPtr resetChangeJson(const WatchedPort& port, const PortNames& names, const std::string& time);
// {"event": "result", "time", "runs": [{"runId", "unit", "status"}], "ports": [as above]}.
JsonPtr resetResultJson(const std::vector<Run>& runs, const std::vector<WatchedPort>& ports,
                        const PortNames& names, const std::string& time);

#endif
