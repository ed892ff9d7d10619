// What a command works with.
//
// How a command is added:
//  1. client/commands/NAME.cpp (schedule/list.cpp for "schedule list") holds all of it:
//       SessionAction defineName(Arguments& app, Options& options)
//     adds arguments and options to its command (cli/command_line.h), bound to a record of its own
//     that the returned action shares:
//       const auto given = std::make_shared<NameOptions>();
//       app.add("PORT", given->ports, "ports to show");
//       return [given](Session& session) { return runName(*given, session); };
//  2. Declare defineName in client/command.h, and give it its line in client/command_table.cpp,
//     with its name and summary: help, completion and the man page come from there. Add the file to
//     client/CMakeLists.txt.
//  3. The action asks (api/requests.h), then prints what pure functions make of the answers and of
//     a view (api/view.h): a text (cli/table.h) or, with --json, a document with fixed keys
//     (cli/json.h). It returns an ExitCode, or throws Failure. What comes from outside is shown
//     through escaped().
//  4. What it prints is held by a screen (tests/screens); rules that have many cases by a table of
//     the pure function in tests/client_*_test.cpp.
#ifndef QUORIN_CLIENT_SESSION_H
#define QUORIN_CLIENT_SESSION_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "api/port_names.h"
#include "api/requests.h"
#include "api/view.h"
#include "cli/output.h"
#include "cli/times.h"
#include "client/switch_library.h"

// The options of every command, and what main knows of this build.
struct Options {
  std::string socketPath;
  std::string portFilePath;  // of names and labels
  std::string logPath;       // of the daemon's log, as the next two
  std::string oldLogPath;
  std::string logLevelPath;
  bool useSwitchLibrary = true;
  bool json = false;
  bool utc = false;
  int64_t timeoutMs = 60000;
  ColorMode color = ColorMode::automatic;
  bool quiet = false;
  std::optional<int32_t> unit;  // of --unit, for commands that have it (addUnit)
};

// What a command asks for is made when it is first asked for: a command that shows no names does
// not open the switch OS's library.
class Session {
 public:
  Session(const Options& options, Daemon& daemon, const Output& output);

  const Options& options() const { return options_; }
  Daemon& daemon() { return daemon_; }
  const Output& output() const { return output_; }
  // With --json the document, else the text.
  void print(const std::function<std::string()>& text,
             const std::function<JsonPtr()>& document) const;
  // For a command that prints no JSON. Throws Failure, kExitUsage, where it was asked for.
  void refuseJson(const char* command) const;

  // From the switch OS's library and the file of names; what is wrong in the file is warned of.
  const PortNames& names();
  // The sensors of the units 1 to 8, or of --unit, as first asked; askSensors asks again.
  const std::vector<SensorPort>& sensors();
  // Asked anew.
  std::vector<SensorPort> freshSensors();
  std::vector<PoePort> poePorts() { return poePortsOf(sensors()); }
  // Their units: those that have PoE ports.
  std::set<int32_t> unitsWithPorts() { return unitsOf(sensors()); }
  // The ports that a person's words mean. Throws Failure as PortNames::parse does, and kExitNoSuch
  // for --unit without PoE ports.
  std::vector<PoePort> portsNamed(const std::vector<std::string>& words);
  // All schedules of the units 1 to 8, or of --unit, asked anew.
  std::vector<Schedule> schedules();
  // 1 to 8, or --unit alone. Throws Failure, kExitNoSuch, for one that has no PoE ports and of
  // which the daemon has neither schedules nor runs: what has left the stack can be looked at.
  std::vector<int32_t> units();

  // The switch's time: its clock's local time as the daemon reads it, in zone(). Without the
  // library, this system's. Warns once where the switch's clock and TZ disagree.
  SwitchTime now();
  // What is wrong with the switch's clock; empty for nothing.
  std::string clockTrouble();
  // The daemon's zone, by which schedules go: TZ.
  const Zone& zone() const { return zone_; }
  // The zone that times are shown in: that of --utc, else zone().
  const Zone& shownZone() const { return shownZone_; }
  // Of this moment. For as long as this session.
  View view();

 private:
  SwitchLibrary* library();
  void warnIfSilent();
  std::string troubleOf(const SwitchClock& clock);
  std::optional<SwitchClock> switchClock();

  const Options& options_;
  Daemon& daemon_;
  const Output& output_;
  Zone zone_;
  Zone shownZone_;
  void requireUnit();
  bool isOpened_ = false;
  bool isUnitChecked_ = false;
  bool isClockChecked_ = false;
  bool isSilenceTold_ = false;
  std::unique_ptr<SwitchLibrary> library_;
  std::unique_ptr<PortNames> names_;
  std::optional<std::vector<SensorPort>> sensors_;
};

// For what waits: throws Failure, kExitTimedOut, in a lab that stands.
void requireMovingClock();

// Carries a command out; its exit status.
using SessionAction = std::function<int(Session&)>;

#endif
