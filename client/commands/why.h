// What why shows, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_WHY_H
#define QUORIN_CLIENT_COMMANDS_WHY_H

#include <string>
#include <vector>

#include "cli/table.h"
#include "cli/times.h"
#include "client/diagnosis/port_timeline.h"

// What is asked about a port, and what there is to answer it from.
struct WhyQuestion {
  PoePort port;
  std::string name;                  // "1/0/7 (cam-lobby)"
  std::string command;               // as a command takes it: "1/0/7"
  int64_t at = 0;                    // the moment asked about
  int64_t now = 0;                   // this system's time, which runs go by
  std::optional<SensorPort> sensor;  // the port now; none where another moment is asked about
  std::vector<PortEvent> timeline;   // of portTimeline
};

// What is known of the port around a moment. Pointers are into the question's timeline.
struct PortAccount {
  enum class State { on, off, maybeOff, unknown };
  State state = State::unknown;
  // The dark time that holds the moment; for a port that is on, the last one before it.
  const PortEvent* off = nullptr;         // where it began
  const PortEvent* on = nullptr;          // what ended it; null: nothing yet
  const PortEvent* before = nullptr;      // the switching before it
  std::vector<const PortEvent*> between;  // what else runs did in it, without an end of it
};
PortAccount accountOf(const WhyQuestion& question);

std::string whyText(const WhyQuestion& question, const Zone& shownZone, const Screen& screen);
// {"unit", "ifNum", "name", "at", "state", "sensor", "dark": {"from", "to", "expectedTo"},
// "events": [...], "knownSince"}; "dark" is null where no dark time is known.
JsonPtr whyJson(const WhyQuestion& question, const PortNames& names, const Zone& shownZone);

#endif
