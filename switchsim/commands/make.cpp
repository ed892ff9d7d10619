// create, set, device and priority: the switch, its ports and what hangs on them.
#include <algorithm>
#include <cmath>
#include <iterator>

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

ExitCode createFrom(const std::string& path, uint32_t budgetMw, bool force) {
  std::string error;
  const std::optional<std::vector<PortRecord>> ports = readPortsFile(path, &error);
  return ports ? report(createSwitch(*ports, budgetMw, force)) : fail(error, kWrongUsage);
}

ExitCode runCreate(const CreateOptions& given) {
  if (!(given.budgetWatts >= 0 && given.budgetWatts <= kMaxBudgetWatts)) {
    return fail("a unit's budget is at most 11520 W; 0 is all that its ports want", kWrongUsage);
  }
  SwitchOptions options = given.options;
  options.budgetMw = static_cast<uint32_t>(std::lround(given.budgetWatts * 1000));
  if (given.from) {
    return createFrom(*given.from, options.budgetMw, given.force);
  }

  options.names = given.names == "sp" ? NameForm::slotPort : NameForm::unitSlotPort;
  if (!given.poeGiven) {
    options.poePortsPerUnit = std::min(options.poePortsPerUnit, options.portsPerUnit);
  }
  const std::string wrong = checkOptions(options);
  return wrong.empty() ? report(createSwitch(options, given.force)) : fail(wrong, kWrongUsage);
}

}  // namespace

Action defineCreate(CLI::App& app) {
  const auto given = std::make_shared<CreateOptions>();
  CLI::Option* from = app.add_option(
      "--from", given->from,
      "Make the ports, and their present state, that this file tells: what `quorin_poectl ports "
      "--json` printed; - is stdin");
  app.add_option("--units", given->options.units, "Units of the stack, 1 to 8")
      ->capture_default_str()
      ->excludes(from);
  app.add_option("--ports", given->options.portsPerUnit, "Ports of a unit, 1 to 128")
      ->capture_default_str()
      ->excludes(from);
  app.add_option("--poe", given->options.poePortsPerUnit,
                 "How many of a unit's ports, from the first, have PoE")
      ->each([given = given.get()](const std::string&) { given->poeGiven = true; })
      ->capture_default_str()
      ->excludes(from);
  app.add_option("--names", given->names,
                 "How ports are called: usp is 1/0/5, sp is 0/5 (one unit only)")
      ->check(CLI::IsMember({"usp", "sp"}))
      ->capture_default_str()
      ->excludes(from);
  app.add_option(
         "--budget", given->budgetWatts,
         "Watts that a unit can deliver: ports beyond it are denied, see priority; 0 is all")
      ->capture_default_str();
  app.add_flag("--force", given->force, "Reset a switch that is there already");
  return [given] { return runCreate(*given); };
}

Action defineSet(CLI::App& app) {
  const auto given = std::make_shared<PortOptions>();
  app.add_option("PORT", given->port, kPortHelp)->required();
  app.add_option("MODE", given->value, "on or off")
      ->required()
      ->check(CLI::IsMember({"on", "off"}));
  return [given] {
    return withPort(given->port,
                    [&](uint32_t ifNum) { return setAdmin(ifNum, given->value == "on"); });
  };
}

Action defineDevice(CLI::App& app) {
  const auto given = std::make_shared<PortOptions>();
  app.add_option("PORT", given->port, kPortHelp)->required();
  app.add_option("DEVICE", given->value, kDeviceWords)->required();
  app.footer(
      "A camera, a phone and an access point (ap) charge, start (for 40, 20 and 90 s) and then "
      "work\n"
      "now and then; a number of watts is drawn from the first moment on.");
  refuseMistakes(app, [given] {
    return deviceOf(given->value) ? ""
                                  : "\"" + given->value + "\" is no device: it is " + kDeviceWords;
  });
  return [given] {
    return withPort(given->port, [&](uint32_t ifNum) {
      return setDevice(ifNum, deviceOf(given->value).value_or(Device{}));
    });
  };
}

Action definePriority(CLI::App& app) {
  const auto given = std::make_shared<PortOptions>();
  app.add_option("PORT", given->port, kPortHelp)->required();
  app.add_option("PRIORITY", given->value,
                 "Of the ports for which the budget is too small, the lowest are denied first")
      ->required()
      ->check(CLI::IsMember(
          std::vector<std::string>(std::begin(kPriorityNames), std::end(kPriorityNames))));
  return [given] {
    const auto* name =
        std::find(std::begin(kPriorityNames), std::end(kPriorityNames), given->value);
    const auto code = static_cast<uint32_t>(name - kPriorityNames) + 1;
    return withPort(given->port, [&](uint32_t ifNum) { return setPriority(ifNum, code); });
  };
}

}  // namespace switchsim
