// What the command prints: tables for people (table.cpp, panel.cpp) and JSON for programs
// (json.cpp).
#ifndef QUORIN_SWITCHSIM_VIEW_VIEW_H
#define QUORIN_SWITCHSIM_VIEW_VIEW_H

#include "switchsim/switch/switch_state.h"

namespace switchsim {

// By DetectionStatus; every code above is "off" too.
constexpr const char* kStatusNames[] = {"disabled", "searching", "delivering",
                                        "fault",    "denied",    "off"};
// From code 1 on.
constexpr const char* kPriorityNames[] = {"low", "medium", "high", "critical"};
const char* stateName(const PortView& port);
const char* clockModeName(ClockMode mode);

// A table of the ports of every unit, and below it what is not normal about the switch.
std::string tableText(const SwitchView& view);
// The same with the front panel of every unit, as it looks (panel.cpp). Lines fit 80 columns.
std::string panelText(const SwitchView& view);
// "Unit 1 delivers 80.4 W" and, with a budget, ", 96.0 W of 185.0 W are reserved".
std::string unitText(const SwitchView& view, const UnitView& unit);
// What is not normal about the switch, each on a line; empty when all is.
std::string abnormalText(const SwitchView& view);
std::string faultText(const Fault& fault);
// The line that names the columns of journalLine.
std::string journalHeading();
std::string journalLine(const JournalEntry& entry);

// All of it as one JSON document; on a single line if `compact`.
std::string viewJson(const SwitchView& view, bool compact);
// One entry as a JSON object on a line of its own.
std::string journalEntryJson(const JournalEntry& entry);
// All entries as one JSON document.
std::string journalJson(const std::vector<JournalEntry>& entries);

}  // namespace switchsim

#endif
