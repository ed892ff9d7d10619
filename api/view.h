// How a command shows what it found, and what stands in many of its documents.
#ifndef QUORIN_API_VIEW_H
#define QUORIN_API_VIEW_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "api/port_names.h"
#include "api/records.h"
#include "cli/json.h"
#include "cli/table.h"
#include "cli/times.h"

struct View {
  const PortNames& names;
  SwitchTime now;
  SystemTime systemNow;
  Zone zone;           // by which schedules go
  Zone shownZone;      // in which instants are shown
  std::string footer;  // "times in the switch's zone (CET)"
  Screen screen;

  // As short as it is unmistakable from now, by the clock that it is of: "Tue 14:07".
  std::string near(SwitchTime at) const { return nearText(at, now, shownZone); }
  std::string near(SystemTime at) const { return nearText(at, systemNow, shownZone); }
  // "Tue 2026-03-03 14:07:12"; empty for none.
  std::string moment(std::optional<int64_t> at) const {
    return at ? momentText(*at, shownZone) : "";
  }
  // "Tue 2026-03-03".
  std::string day(int64_t at) const { return moment(at).substr(0, 14); }
  // For JSON, as rfc3339 has it; empty for none.
  std::string stamp(std::optional<int64_t> at) const { return at ? rfc3339(*at, shownZone) : ""; }
};

// {"unit", "ifNum", "name", "label"}, for more to be added.
JsonPtr portJson(int32_t unit, uint32_t ifNum, const View& view);
// The names of ports, in their order; null for one without a name.
JsonPtr portNamesJson(const std::vector<uint32_t>& ifNums, const PortNames& names);

// What a schedule is called: "1 "night"", escaped.
std::string idAndName(const Schedule& schedule);

#endif
