#include "cli/times.h"
#include "client/command.h"

const std::vector<ClientCommand>& clientCommands() {
  static const std::vector<ClientCommand> kCommands{
      {"status", "how the switch's PoE is, at a glance", defineStatus},
      {"wait", "wait until the daemon answers", defineWait},
      {"ports", "show PoE ports, their names and their power", definePorts},
      {"reset", "power-cycle ports, and show each until it is back", defineReset},
      {"on", "switch on ports that are off, for good or until a time", defineOn},
      {"off", "switch off ports until a time", defineOff},
      {"schedule", "look at schedules and change them", defineScheduleGroup},
      {"schedule list", "all schedules, and when each acts next", defineScheduleList},
      {"schedule show", "one schedule", defineScheduleShow},
      {"schedule check", "warn of what will not happen as one expects", defineScheduleCheck},
      {"schedule add", "store a new schedule", defineScheduleAdd},
      {"schedule set", "change a schedule", defineScheduleSet},
      {"schedule rename", "give a schedule another name", defineScheduleRename},
      {"schedule enable", "let a schedule fire again", defineScheduleEnable},
      {"schedule disable", "keep a schedule from firing", defineScheduleDisable},
      {"schedule delete", "delete a schedule", defineScheduleDelete},
      {"next", "what schedules do next", defineNext},
      {"week", "seven days of ports, as they were and as schedules will make them", defineWeek},
      {"rehearse", "try days of schedules in a lab, before they go live", defineRehearse},
      {"history", "runs, and how they went", defineHistory},
      {"why", "why a port has no power, or had none", defineWhy},
      {"bootdelay", "show or set how long ports stay off after a start", defineBootDelay},
      {"log", "the daemon's log, record by record", defineLog},
      {"log level", "how much the daemon logs; LEVEL changes it at once", defineLogLevel},
      {"export", "write schedules and boot delays to a file", defineExport},
      {"import", "make schedules and boot delays those of a file", defineImport},
      {"metrics", "figures for Prometheus", defineMetrics},
      {"call", "send one request and print the answer", defineCall},
      {"completion", "the script for a shell that completes commands, names and ports",
       defineCompletion},
  };
  return kCommands;
}

Argument addUnit(Arguments& app, Options& options) {
  return app.add("--unit", options.unit, "unit of the stack").range(1, kMaxUnits).named("N");
}

int32_t wholeSeconds(const char* option, int64_t milliseconds, int32_t least, int32_t most) {
  constexpr int64_t kMsPerSec = 1000;
  const int64_t seconds = milliseconds / kMsPerSec;
  if (seconds < least || seconds > most) {
    throw Failure(kExitUsage, std::string(option) + " takes whole seconds, " +
                                  std::to_string(least) + " to " + std::to_string(most) + ".");
  }
  return static_cast<int32_t>(seconds);
}
