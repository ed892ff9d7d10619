// What one run did to a port, read from its record.
#ifndef QUORIN_CLIENT_DIAGNOSIS_RUN_EVENTS_H
#define QUORIN_CLIENT_DIAGNOSIS_RUN_EVENTS_H

#include <vector>

#include "client/diagnosis/port_event.h"

// Its start, and where it has one its end, of a window or of a restart. run: with its ports, among
// them this one. runs: all that are known; some may have held the port when this one wanted it. An
// end that was never recorded is none of these events.
std::vector<PortEvent> eventsOfRun(const Run& run, uint32_t ifNum, const std::vector<Run>& runs);

// Whether it switched the port for certain, so that what was before explains nothing any more.
bool hasSwitched(const Run& run, uint32_t ifNum);

// Whether the daemon calls the run, which has its message, failed only because its window's last
// night was ended by a twin: one of the runs, with or without ports, is the twin's.
bool isEndedByTwin(const Run& run, const std::vector<Run>& runs,
                   const std::vector<Schedule>& schedules);

#endif
