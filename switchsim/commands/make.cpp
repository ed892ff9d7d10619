// create, set and device: the switch, its ports and what hangs on them.
#include <algorithm>

#include "switchsim/command.h"
#include "switchsim/switch_state.h"

namespace switchsim {
namespace {

struct CreateOptions {
  SwitchOptions options;
  bool poeGiven = false;
  std::string names = "usp";
  bool force = false;
};

struct PortOptions {
  std::string port;
  std::string value;
};

ExitCode runCreate(const CreateOptions& given) {
  SwitchOptions options = given.options;
  options.names = given.names == "sp" ? NameForm::slotPort : NameForm::unitSlotPort;
  if (!given.poeGiven) {
    options.poePortsPerUnit = std::min(options.poePortsPerUnit, options.portsPerUnit);
  }
  const std::string wrong = checkOptions(options);
  return wrong.empty() ? report(createSwitch(options, given.force)) : fail(wrong, kWrongUsage);
}

ExitCode runDevice(const PortOptions& given) {
  std::optional<double> watts;
  if (given.value != "none") {
    watts = std::stod(given.value);
  }
  return withPort(given.port, [&](uint32_t ifNum) { return setDevice(ifNum, watts); });
}

}  // namespace

Action defineCreate(CLI::App& app) {
  const auto given = std::make_shared<CreateOptions>();
  app.add_option("--units", given->options.units, "Units of the stack, 1 to 8")
      ->capture_default_str();
  app.add_option("--ports", given->options.portsPerUnit, "Ports of a unit, 1 to 128")
      ->capture_default_str();
  app.add_option("--poe", given->options.poePortsPerUnit,
                 "How many of a unit's ports, from the first, have PoE")
      ->each([given = given.get()](const std::string&) { given->poeGiven = true; })
      ->capture_default_str();
  app.add_option("--names", given->names,
                 "How ports are called: usp is 1/0/5, sp is 0/5 (one unit only)")
      ->check(CLI::IsMember({"usp", "sp"}))
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
  app.add_option("WATTS", given->value, "What the device takes, up to 90; none detaches it")
      ->required()
      ->check(CLI::IsMember({"none"}) | CLI::Number);
  refuseMistakes(app, [given] {
    const bool fits =
        given->value == "none" || isDeviceWatts(strtod(given->value.c_str(), nullptr));
    return fits ? "" : "a device takes more than 0 and at most 90 W";
  });
  return [given] { return runDevice(*given); };
}

}  // namespace switchsim
