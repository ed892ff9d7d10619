#include "api/view.h"

#include "cli/text.h"

std::string View::footer() const {
  const std::string own = isUtc ? escaped(shownZone.name()) + ", those of schedules in " : "";
  return "times in " + own + "the switch's zone (" + zone.abbreviation(now()) + ")";
}

JsonPtr portJson(int32_t unit, uint32_t ifNum, const View& view) {
  return jsonObject({{"unit", unit},
                     {"ifNum", ifNum},
                     {"name", view.names.nameOrEmpty(ifNum)},
                     {"label", view.names.labelOrEmpty(ifNum)}});
}

JsonPtr portNamesJson(const std::vector<uint32_t>& ifNums, const PortNames& names) {
  return jsonArray(ifNums, [&names](uint32_t ifNum) { return names.nameOrEmpty(ifNum); });
}

std::string idAndName(const Schedule& schedule) {
  return std::to_string(schedule.scheduleId) + " " + inQuotes(schedule.name.c_str());
}
