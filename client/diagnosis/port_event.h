// What was done to a port, or may have been, as the daemon recorded it.
#ifndef QUORIN_CLIENT_DIAGNOSIS_PORT_EVENT_H
#define QUORIN_CLIENT_DIAGNOSIS_PORT_EVENT_H

#include <optional>
#include <string>

#include "api/records.h"

enum class PortEffect {
  off,
  on,
  none,     // it stayed as it was: the port was skipped, the switch refused, or it was for a moment
  unclear,  // perhaps switched: what a record does not show, it does not show
};

enum class PortCause {
  windowStart,
  windowEnd,
  lostEnd,  // a window's end that has no record: its run was closed before, or there was none
  allDay,
  restart,
  plainReset,  // a manual reset without off time: off for a moment of the switch's own
  bootDelay,
};

// What a port may be by what is known of it; neither where nothing is.
struct MayBe {
  bool on = false;
  bool off = false;

  bool isOn() const { return on && !off; }
  bool isOff() const { return off && !on; }
  bool isUnknown() const { return !on && !off; }
};

struct PortEvent {
  SystemTime at;
  SystemTime until;  // by when it was done, where the record has the run's time only
  PortEffect effect = PortEffect::none;
  bool isToOff = false;  // what it did, or would have done
  PortCause cause = PortCause::windowStart;
  Run run;  // whose doing it was (of a lost end: whose window), with this port alone;
            // without an id where a window had none
  std::string actionText;  // "off 22:00-06:00" of its schedule as it is now; empty when it is gone
  // Of a window's start that has had no end yet: when the schedule as it is now ends it.
  std::optional<SystemTime> endsAt;
  std::string twinName;  // of the schedule that ends its schedule's last night; may be empty
  // Of a manual reset whose record does not tell if it had an off time.
  bool isPerhapsPlain = false;
  MayBe after;  // the port, once it was done

  const RunPort& port() const { return run.ports.front(); }
  bool mayHaveSwitched() const { return effect != PortEffect::none; }
};

bool wasCutOff(const PortEvent& event);  // by a restart of the daemon
// A schedule wants the port off, whether one will switch it on again or not.
bool isOffBySchedule(const PortEvent& event);

// "switched off by schedule 3 "night" (off 22:00-06:00), run 4820, success"; escaped. After an
// event of the same run: "switched on by the end of that window".
std::string eventText(const PortEvent& event, bool isSameRun);

#endif
