// Where a port is, and what the switch calls it.
#ifndef QUORIN_SWITCHSIM_SWITCH_PORT_PLACE_H
#define QUORIN_SWITCHSIM_SWITCH_PORT_PLACE_H

#include <cstdint>
#include <optional>
#include <string>

namespace switchsim {

// How the switch prints a port's name: 1/0/5, or 0/5 (only on unit 1).
enum class NameForm : uint32_t { unitSlotPort, slotPort };

// No larger than the client operation that tells them can: 255/255/65535, at most 15 characters.
struct PortPlace {
  uint32_t unit;
  uint32_t slot;
  uint32_t number;
  NameForm form;
};

// Whether it is the same place, whatever the forms of the names.
bool operator==(const PortPlace& a, const PortPlace& b);

// "1/0/5" or "0/5".
std::string nameOf(const PortPlace& place);
// The place that is called exactly so; a name without a unit is one of unit 1. None for any other
// text.
std::optional<PortPlace> placeNamed(const char* name);

}  // namespace switchsim

#endif
