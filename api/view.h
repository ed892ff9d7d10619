// How a command shows what it found, and what stands in many of its documents.
#ifndef QUORIN_API_VIEW_H
#define QUORIN_API_VIEW_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "api/port_names.h"
#include "api/records.h"
#include "cli/json.h"
#include "cli/table.h"
#include "cli/times.h"

// The switch's clock is asked for when it is first needed: what shows runs alone goes without it.
class SwitchNow {
 public:
  explicit SwitchNow(SwitchTime known) : known_(known) {}
  explicit SwitchNow(std::function<SwitchTime()> ask) : ask_(std::move(ask)) {}
  SwitchTime get() const {
    known_ = known_ ? known_ : ask_();
    return *known_;
  }

 private:
  std::function<SwitchTime()> ask_;
  mutable std::optional<SwitchTime> known_;
};

struct View {
  const PortNames& names;
  SwitchNow switchNow;
  SystemTime systemNow;
  Zone zone;           // by which schedules go
  Zone shownZone;      // in which instants are shown
  bool isUtc = false;  // they are shown in UTC, whatever the zone
  Screen screen;

  SwitchTime now() const { return switchNow.get(); }
  // For a heading or a last line: "times in the switch's zone (CET)", or "times in UTC, those of
  // schedules in the switch's zone (CET)".
  std::string footer() const;
  // As short as it is unmistakable from now, by the clock that it is of: "Tue 14:07".
  std::string near(SwitchTime at) const { return nearText(at, now(), shownZone); }
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
