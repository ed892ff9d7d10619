// What the page asks of a lab, as a table of routes.
#ifndef QUORIN_SWITCHSIM_WEB_BENCH_H
#define QUORIN_SWITCHSIM_WEB_BENCH_H

#include "switchsim/lab/lab.h"
#include "switchsim/web/server.h"

namespace switchsim {

// Carries out a command of switchsim, given by its words. Throws Failure.
using Command = std::function<void(const std::vector<std::string>& words)>;

// The lab lives as long as the routes, and no other thread uses it. From now on TZ is the lab's
// zone: a thread that changed it would disturb the others. isStopping ends what takes long.
std::vector<Route> benchRoutes(Lab& lab, const Command& carryOut, bool (*isStopping)());

}  // namespace switchsim

#endif
