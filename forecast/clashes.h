// What schedules do to each other: one undoes what another wants, a restart keeps ports from what
// comes in its dark time, a slow one keeps minutes from all, a window is there twice.
#ifndef QUORIN_FORECAST_CLASHES_H
#define QUORIN_FORECAST_CLASHES_H

#include <vector>

#include "forecast/check.h"

// Of each of the schedules, in their order, the warnings of the kinds "fight", "overlap", "lost"
// and "twice". The clash of two is told of the first of them, or of both. A disabled schedule
// clashes with none.
std::vector<ScheduleWarnings> clashesOf(const CheckInput& input);

#endif
