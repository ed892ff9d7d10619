// create, set, device and priority: the switch, its ports and what hangs on them.
#include <algorithm>
#include <cmath>
#include <iterator>

#include "cli/text.h"
#include "switchsim/commands/command.h"
#include "switchsim/switch/switch_state.h"
#include "switchsim/view/ports_file.h"
#include "switchsim/view/view.h"

namespace switchsim {
namespace {

struct CreateOptions {
  SwitchOptions options;
  bool poeGiven = false;
  std::string names = "usp";
  double budgetWatts = 0;
  std::optional<std::string> from;
  bool force = false;
};

struct PortOptions {
  std::string port;
  std::string value;
};

constexpr double kMaxBudgetWatts = kMaxPortsPerUnit * 90.0;

void runCreate(const CreateOptions& given) {
  if (!(given.budgetWatts >= 0 && given.budgetWatts <= kMaxBudgetWatts)) {
    throw Failure(kExitUsage, "a unit's budget is at most 11520 W; 0 is all that its ports want");
  }
  SwitchOptions options = given.options;
  options.budgetMw = static_cast<uint32_t>(std::lround(given.budgetWatts * 1000));
  if (given.from) {
    createSwitch(readPortsFile(*given.from), options.budgetMw, given.force);
    return;
  }

  options.names = given.names == "sp" ? NameForm::slotPort : NameForm::unitSlotPort;
  if (!given.poeGiven) {
    options.poePortsPerUnit = std::min(options.poePortsPerUnit, options.portsPerUnit);
  }
  createSwitch(options, given.force);
}

}  // namespace

Action defineCreate(Arguments& app) {
  const auto given = std::make_shared<CreateOptions>();
  const Argument from = app.add(
      "--from", given->from,
      "Make the ports, and their present state, that this file tells: what `quorin_poectl ports "
      "--json` printed; - is stdin");
  app.add("--units", given->options.units, "Units of the stack, 1 to 8")
      .withDefault()
      .excludes(from);
  app.add("--ports", given->options.portsPerUnit, "Ports of a unit, 1 to 128")
      .withDefault()
      .excludes(from);
  const Argument poe = app.add("--poe", given->options.poePortsPerUnit,
                               "How many of a unit's ports, from the first, have PoE")
                           .withDefault()
                           .excludes(from);
  app.add("--names", given->names, "How ports are called: usp is 1/0/5, sp is 0/5 (one unit only)")
      .oneOf({"usp", "sp"})
      .withDefault()
      .excludes(from);
  app.add("--budget", given->budgetWatts,
          "Watts that a unit can deliver: ports beyond it are denied, see priority; 0 is all")
      .withDefault();
  app.flag("--force", given->force, "Reset a switch that is there already");
  return doing([given, poe] {
    given->poeGiven = poe.isGiven();
    runCreate(*given);
  });
}

Action defineSet(Arguments& app) {
  const auto given = std::make_shared<PortOptions>();
  app.add("PORT", given->port, kPortHelp).required();
  app.add("MODE", given->value, "on or off").required().oneOf({"on", "off"});
  return doing([given] { setAdmin(findPort(escaped(given->port)), given->value == "on"); });
}

Action defineDevice(Arguments& app) {
  const auto given = std::make_shared<PortOptions>();
  app.add("PORT", given->port, kPortHelp).required();
  app.add("DEVICE", given->value, kDeviceWords).required();
  app.footer(
      "A camera, a phone and an access point (ap) charge, start (for 40, 20 and 90 s) and then "
      "work\n"
      "now and then; a number of watts is drawn from the first moment on.");
  app.refuse([given] {
    return deviceOf(given->value) ? ""
                                  : inQuotes(given->value) + " is no device: it is " + kDeviceWords;
  });
  return doing([given] {
    setDevice(findPort(escaped(given->port)), deviceOf(given->value).value_or(Device{}));
  });
}

Action definePriority(Arguments& app) {
  const auto given = std::make_shared<PortOptions>();
  app.add("PORT", given->port, kPortHelp).required();
  app.add("PRIORITY", given->value,
          "Of the ports for which the budget is too small, the lowest are denied first")
      .required()
      .oneOf({std::begin(kPriorityNames), std::end(kPriorityNames)});
  return doing([given] {
    const auto* name =
        std::find(std::begin(kPriorityNames), std::end(kPriorityNames), given->value);
    const auto code = static_cast<uint32_t>(name - kPriorityNames) + 1;
    setPriority(findPort(escaped(given->port)), code);
  });
}

}  // namespace switchsim
