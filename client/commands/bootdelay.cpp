// bootdelay: how long a unit's ports stay off after a start of the daemon.
#include "client/command.h"
#include "rules/boot_delay.h"

namespace {

struct BootDelayOptions {
  int32_t unit = 0;
  int64_t delayMs = -1;
  int64_t staggerMs = -1;
  bool isNone = false;
};

BootDelay changed(BootDelay bootDelay, const BootDelayOptions& given) {
  if (given.isNone) {
    return {bootDelay.unit, 0, 0, false};
  }
  if (given.delayMs >= 0) {
    bootDelay.delaySec = wholeSeconds("--delay", given.delayMs, 0, kMaxBootDelaySec);
  }
  if (given.staggerMs >= 0) {
    bootDelay.interPortDelaySec =
        wholeSeconds("--stagger", given.staggerMs, 0, kMaxBootInterPortDelaySec);
    bootDelay.sequential = bootDelay.interPortDelaySec > 0;
  }
  if (bootDelay.delaySec == 0 && given.staggerMs > 0) {
    throw Failure(kExitUsage, "without a delay there is nothing to stagger: give --delay, too");
  }
  return bootDelay;
}

// The daemon stores a boot delay of any unit.
void checkUnit(int32_t unit, Session& session) {
  if (session.unitsWithPorts().count(unit) == 0) {
    throw Failure(kExitNoSuch, "unit " + std::to_string(unit) +
                                   " has no PoE ports, or is not there. See: quorin_poectl ports");
  }
}

int runBootDelay(const BootDelayOptions& given, Session& session) {
  checkUnit(given.unit, session);
  const BootDelay present = askBootDelay(session.daemon(), given.unit);
  const BootDelay wanted = changed(present, given);
  const bool isChange = !isSameBootDelay(present, wanted);
  if (isChange) {
    setBootDelay(session.daemon(), wanted);
  }

  session.print(
      [&] {
        return "boot delay of unit " + std::to_string(given.unit) + ": " + bootDelayText(wanted) +
               (isChange ? " (from the next start of the daemon on)" : "") + "\n";
      },
      [&] { return bootDelayJson(wanted); });
  return kExitDone;
}

}  // namespace

SessionAction defineBootDelay(Arguments& app, Options&) {
  const auto given = std::make_shared<BootDelayOptions>();
  app.add("UNIT", given->unit, "unit of the stack").required().range(1, kMaxUnits);
  const Argument none = app.flag("--none", given->isNone, "no delay");
  app.wholeSeconds("--delay", &given->delayMs, "how long ports stay off after a start")
      .excludes(none);
  app.wholeSeconds("--stagger", &given->staggerMs, "then one port after the other, so far apart")
      .excludes(none);
  return [given](Session& session) { return runBootDelay(*given, session); };
}
