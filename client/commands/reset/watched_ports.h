// Ports of runs that are under way, watched and shown until each is back.
#ifndef QUORIN_CLIENT_COMMANDS_RESET_WATCHED_PORTS_H
#define QUORIN_CLIENT_COMMANDS_RESET_WATCHED_PORTS_H

#include <vector>

#include "client/diagnosis/port_watch.h"
#include "client/session.h"

// A port of a run, watched.
struct WatchedPort {
  PoePort port;
  int64_t runId = 0;
  PortWatch watch;
};

// Those of the runs. before: the ports as they were; waitMs: as PortWatch has it.
std::vector<WatchedPort> watchedPorts(const std::vector<Run>& runs,
                                      const std::vector<SensorPort>& before, int64_t nowMs,
                                      int64_t waitMs);

// Asks for runs and ports, and shows the ports, until all are over and their runs have ended.
// Throws Failure, kExitTimedOut, after longestMs, and at once in a lab that stands; and what
// Daemon::ask throws.
void watchPorts(int64_t longestMs, std::vector<Run>* runs, std::vector<WatchedPort>* ports,
                const View& view, Session& session);

// {"event": "result", "time", "runs": [{"runId", "unit", "status"}], "ports": [as a "change" has
// it]}.
JsonPtr resultJson(const std::vector<Run>& runs, const std::vector<WatchedPort>& ports,
                   const View& view);

#endif
