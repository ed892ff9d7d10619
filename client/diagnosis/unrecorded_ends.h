// The daemon switches at a window's end whether the window has an open run or not, and without one
// it records nothing: after a restart of the daemon, and for a schedule that was made or enabled in
// mid-window. Such an end can be supposed from the schedule as it is now, never be known.
#ifndef QUORIN_CLIENT_DIAGNOSIS_UNRECORDED_ENDS_H
#define QUORIN_CLIENT_DIAGNOSIS_UNRECORDED_ENDS_H

#include <vector>

#include "cli/times.h"
#include "client/diagnosis/port_event.h"

// What there is to tell a port's past from.
struct PortRecords {
  std::vector<Run> runs;   // with all their ports, in any order: those that are told of
  std::vector<Run> begun;  // all runs of the same time and since, without ports
  std::vector<Schedule> schedules;
};

// Those of the port since the oldest of the runs that are told of (of the time that the daemon
// keeps runs, where there is none), all of them unclear.
std::vector<PortEvent> unrecordedEnds(const PoePort& port, const PortRecords& records,
                                      SystemTime now, const Zone& zone);

// When the schedule as it is now ends the window of a run that has had no end yet; none where it
// does not, or begins it anew before.
std::optional<SystemTime> endToCome(const Run& run, const PoePort& port, const PortRecords& records,
                                    SystemTime now, const Zone& zone);

#endif
