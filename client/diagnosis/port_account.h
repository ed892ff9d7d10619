// What is known of a port around a moment: since when it was dark, and what ended it.
#ifndef QUORIN_CLIENT_DIAGNOSIS_PORT_ACCOUNT_H
#define QUORIN_CLIENT_DIAGNOSIS_PORT_ACCOUNT_H

#include <optional>
#include <vector>

#include "client/diagnosis/port_timeline.h"

// Pointers are into the timeline.
struct PortAccount {
  enum class State { on, off, maybeOff, unknown };
  State state = State::unknown;
  // The dark time that the moment lies in; for a port that is on, the last one before the moment.
  const PortEvent* off = nullptr;         // where it began
  const PortEvent* on = nullptr;          // what ended it; null: nothing yet
  const PortEvent* before = nullptr;      // the switching before it
  std::vector<const PortEvent*> between;  // what else runs did meanwhile, which did not end it
  const PortEvent* moment = nullptr;      // the newest reset without off time since it came on

  // All of these, in their order.
  std::vector<const PortEvent*> events() const;
  // How long it was dark, and whether that is certain; none while it is.
  std::optional<int64_t> darkSec() const;
  bool isDarkCertain() const;
};

// sensor: the port as it is at the moment; none where that is not known.
PortAccount accountOf(const std::vector<PortEvent>& timeline, SystemTime at,
                      const std::optional<SensorPort>& sensor);

#endif
