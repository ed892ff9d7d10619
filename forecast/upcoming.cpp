#include "forecast/upcoming.h"

#include <algorithm>

#include "cli/text.h"

namespace {

constexpr int32_t kDaysAtFirst = 8;
constexpr int32_t kMaxDays = kFiringYears * 366;
constexpr int32_t kEndOfDayHour = 24;

bool isEarlier(const Upcoming& a, const Upcoming& b) {
  return a.firing.at < b.firing.at;
}

}  // namespace

bool actsOn(const Schedule& schedule, const SensorPort& port) {
  const std::vector<uint32_t>& ifNums = schedule.ifNums;
  return schedule.unit == port.unit &&
         std::find(ifNums.begin(), ifNums.end(), port.ifNum) != ifNums.end();
}

std::vector<Upcoming> firingsWithin(const std::vector<Schedule>& schedules, int64_t after,
                                    int64_t last, const Zone& zone) {
  std::vector<Upcoming> all;
  TickTime day = dayAfter(zone.tickAt(after), 0);
  for (; zone.instantOf(day) <= last; day = dayAfter(day, 1)) {
    for (const Schedule& schedule : schedules) {
      for (const Firing& firing : firingsOn(schedule, day, zone)) {
        if (firing.at > after && firing.at <= last) {
          all.push_back({firing, &schedule});
        }
      }
    }
  }
  std::stable_sort(all.begin(), all.end(), isEarlier);
  return all;
}

// Most want those of the next days; few schedules act once in years.
std::vector<Upcoming> nextFirings(const std::vector<Schedule>& schedules, int64_t after,
                                  size_t count, const Zone& zone) {
  std::vector<Upcoming> all;
  for (int32_t days = kDaysAtFirst; all.size() < count; days *= 4) {
    TickTime end = dayAfter(zone.tickAt(after), std::min(days, kMaxDays));
    end.hour = kEndOfDayHour;
    all = firingsWithin(schedules, after, zone.instantOf(end) - 1, zone);
    if (days >= kMaxDays) {
      break;
    }
  }
  all.resize(std::min(all.size(), count));
  return all;
}

std::string idAndName(const Schedule& schedule) {
  return std::to_string(schedule.scheduleId) + " " + inQuotes(schedule.name.c_str());
}
