// What runs and schedules did to a port, told from what the daemon recorded. Who uses the switch's
// own CLI leaves no record.
#ifndef QUORIN_CLIENT_DIAGNOSIS_PORT_TIMELINE_H
#define QUORIN_CLIENT_DIAGNOSIS_PORT_TIMELINE_H

#include <vector>

#include "client/diagnosis/unrecorded_ends.h"

// What the records say of the port, oldest first.
std::vector<PortEvent> portTimeline(const PoePort& port, const PortRecords& records, SystemTime now,
                                    const Zone& zone);

// The port is on now: so where a manual reset was the last to switch it, it switched it on, with an
// off time or without.
void confirmOn(std::vector<PortEvent>* timeline);

// What the port may have been at the instant.
MayBe stateAt(const std::vector<PortEvent>& timeline, SystemTime at);

// What left a port off that is off now: the newest event that switched it off, for certain or
// perhaps, and was not followed by one that switched it on for certain; null when no run is known
// to have done it. A schedule wants the port off where isOffBySchedule; else nothing will switch it
// on again, as after a restart that wasCutOff.
const PortEvent* whatLeftOff(const std::vector<PortEvent>& timeline);

#endif
