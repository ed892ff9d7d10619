// What the command prints: tables for people (text_output.cpp) and JSON for programs
// (json_output.cpp).
#ifndef QUORIN_SWITCHSIM_OUTPUT_H
#define QUORIN_SWITCHSIM_OUTPUT_H

#include "switchsim/switch_state.h"

namespace switchsim {

const char* stateName(const PortView& port);
const char* clockModeName(ClockMode mode);

// The front panel of every unit, and below it what is not normal about the switch.
std::string panelText(const SwitchView& view);
std::string faultText(const Fault& fault);
// The line that names the columns of journalLine.
std::string journalHeading();
std::string journalLine(const JournalEntry& entry);

// The panel as one JSON document; on a single line if `compact`.
std::string panelJson(const SwitchView& view, bool compact);
// One entry as a JSON object on a line of its own.
std::string journalEntryJson(const JournalEntry& entry);
// All entries as one JSON document.
std::string journalJson(const std::vector<JournalEntry>& entries);

}  // namespace switchsim

#endif
