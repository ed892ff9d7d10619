// What many schedules are going to do, in one order.
#ifndef QUORIN_FORECAST_UPCOMING_H
#define QUORIN_FORECAST_UPCOMING_H

#include <cstdint>
#include <vector>

#include "api/records.h"
#include "forecast/firings.h"

struct Upcoming {
  Firing firing;
  const Schedule* schedule = nullptr;  // one of those that were given
};

bool actsOn(const Schedule& schedule, const SensorPort& port);

// How far back to look for what last acted: the day of a month comes within 62 days.
constexpr int64_t kFiringMemorySec = int64_t{62} * 86400;

// All firings in minutes that begin after one instant and not after another, in the order in which
// the daemon carries them out: by time, then schedule by schedule.
std::vector<Upcoming> firingsWithin(const std::vector<Schedule>& schedules, int64_t after,
                                    int64_t last, const Zone& zone);

// The first so many after the instant; fewer when no more come within kFiringYears.
std::vector<Upcoming> nextFirings(const std::vector<Schedule>& schedules, int64_t after,
                                  size_t count, const Zone& zone);

// "night", escaped and in quotes, with its id in front: 3 "night".
std::string idAndName(const Schedule& schedule);

#endif
