// Running a lab to a time: minutes in which no schedule can act are leapt over.
#ifndef QUORIN_SWITCHSIM_LAB_LAB_TRAVEL_H
#define QUORIN_SWITCHSIM_LAB_LAB_TRAVEL_H

#include <cstdint>
#include <functional>

#include "cli/times.h"
#include "switchsim/lab/lab.h"

namespace switchsim {

// Returns when the lab shows this instant (seconds since 1970 UTC) and the daemon is done with all
// that was due by then; where ports were held off then, by a restart, a reset or a boot delay, the
// lab shows the later time of its end. One that holds them off now is waited for first: it takes as
// long here as the speed it began at makes it. Every minute at which a schedule names a time is
// lived through on every day, whatever days the schedule is for: whether it acts is the daemon's
// doing. In the end the lab has its speed of before again. check is called every few milliseconds;
// what it throws ends the travel. Throws Failure; also when this machine was too busy for the
// daemon to see a minute.
void travelTo(Lab& lab, int64_t instant, const Zone& zone, const std::function<void()>& check);

}  // namespace switchsim

#endif
