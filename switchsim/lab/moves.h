// Moving the clock of a lab that runs, to times as people write them: for the commands and for the
// page. Each lets no other program move it meanwhile (Lab::claim).
#ifndef QUORIN_SWITCHSIM_LAB_MOVES_H
#define QUORIN_SWITCHSIM_LAB_MOVES_H

#include <cstdint>
#include <functional>
#include <string>

#include "cli/times.h"
#include "switchsim/lab/lab.h"

namespace switchsim {

// The lab's zone: that of its daemon, whatever TZ is here.
Zone zoneOf(const Lab& lab);

// Seconds since 1970 UTC; a day or a time of day alone is to come. Throws Failure, kExitUsage.
int64_t momentOf(const std::string& text, int64_t nowMs, const Zone& zone);

// With its zone where a local time comes twice, in the night in which the clock goes back.
std::string unmistakable(int64_t instant, const Zone& zone);

// As Lab::travelTo; a moment that has gone by is a Failure, kExitUsage.
void goTo(Lab& lab, const std::string& moment, const std::function<void()>& check);
// As Lab::jumpTo, Lab::setSpeed.
void jumpTo(Lab& lab, const std::string& moment);
void setSpeed(Lab& lab, int32_t speed);

}  // namespace switchsim

#endif
