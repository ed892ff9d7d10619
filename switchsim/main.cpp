// switchsim: shows the simulated switch, and does to it what people, plugs and bad days do to a
// real one.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <thread>

#include "switchsim/output.h"

using namespace switchsim;

namespace {

enum ExitCode { kDone = 0, kFailed = 1, kWrongUsage = 2 };

constexpr auto kWatchInterval = std::chrono::seconds(1);
constexpr auto kFollowInterval = std::chrono::milliseconds(100);
constexpr const char* kClearScreen = "\x1b[H\x1b[J";

// The arguments of all subcommands, of which one is given.
struct Arguments {
  SwitchOptions options;
  bool poeGiven = false;
  std::string names = "usp";
  bool force = false;
  bool json = false;
  bool goOn = false;  // --watch, --follow, --run
  std::string port;
  std::string value;
  Fault fault;
  uint64_t since = 0;
  int64_t behindMs = 0;
};

ExitCode fail(const std::string& error, ExitCode code = kFailed) {
  fprintf(stderr, "switchsim: %s\n", error.c_str());
  return code;
}

// For the functions that return why they failed, or an empty text.
ExitCode report(const std::string& error) {
  return error.empty() ? kDone : fail(error);
}

void print(const std::string& text) {
  fputs(text.c_str(), stdout);
  fflush(stdout);
}

// Lets `act` do something with the port that the string means.
ExitCode withPort(const std::string& text, const std::function<std::string(uint32_t)>& act) {
  std::string error;
  const std::optional<uint32_t> ifNum = findPort(text, &error);
  return ifNum ? report(act(*ifNum)) : fail(error);
}

ExitCode create(const Arguments& given) {
  SwitchOptions options = given.options;
  options.names = given.names == "sp" ? NameForm::slotPort : NameForm::unitSlotPort;
  if (!given.poeGiven) {
    options.poePortsPerUnit = std::min(options.poePortsPerUnit, options.portsPerUnit);
  }
  const std::string wrong = checkOptions(options);
  return wrong.empty() ? report(createSwitch(options, given.force)) : fail(wrong, kWrongUsage);
}

ExitCode showOnce(const Arguments& given) {
  std::string error;
  const std::optional<SwitchView> view = viewSwitch(&error);
  if (!view) {
    return fail(error);
  }
  const bool redraws = given.goOn && !given.json && isatty(STDOUT_FILENO) == 1;
  print((redraws ? kClearScreen : "") +
        (given.json ? panelJson(*view, given.goOn) : panelText(*view)));
  return kDone;
}

// While watched, a switch that vanishes is waited for.
ExitCode show(const Arguments& given) {
  const ExitCode first = showOnce(given);
  if (first != kDone || !given.goOn) {
    return first;
  }
  for (;;) {
    std::this_thread::sleep_for(kWatchInterval);
    showOnce(given);
  }
}

// Streams what comes after `seq` until interrupted. A switch that is made anew counts from the
// start again.
ExitCode followJournal(uint64_t seq, bool json) {
  if (!json) {
    print(journalHeading());
  }

  for (;;) {
    std::string text;
    if (lastSeq() < seq) {
      seq = 0;
    }
    for (const JournalEntry& entry : journalSince(seq)) {
      text += json ? journalEntryJson(entry) : journalLine(entry);
      seq = entry.seq;
    }
    if (!text.empty()) {
      print(text);
    }
    std::this_thread::sleep_for(kFollowInterval);
  }
}

ExitCode showJournal(const Arguments& given) {
  std::string error;
  if (!viewSwitch(&error)) {
    return fail(error);
  }
  if (given.goOn) {
    return followJournal(given.since, given.json);
  }

  const std::vector<JournalEntry> entries = journalSince(given.since);
  std::string text = given.json ? journalJson(entries) : journalHeading();
  for (const JournalEntry& entry : entries) {
    text += given.json ? "" : journalLine(entry);
  }

  print(text);
  return kDone;
}

ExitCode setPort(const Arguments& given) {
  return withPort(given.port, [&](uint32_t ifNum) { return setAdmin(ifNum, given.value == "on"); });
}

ExitCode setPortDevice(const Arguments& given) {
  std::optional<double> watts;
  if (given.value != "none") {
    watts = std::stod(given.value);
  }
  if (watts && !isDeviceWatts(*watts)) {
    return fail("a device takes more than 0 and at most 90 W", kWrongUsage);
  }
  return withPort(given.port, [&](uint32_t ifNum) { return setDevice(ifNum, watts); });
}

ExitCode listFaults() {
  std::string error;
  const std::optional<SwitchView> view = viewSwitch(&error);
  if (!view) {
    return fail(error);
  }
  for (const Fault& fault : view->faults) {
    print(faultText(fault) + "\n");
  }
  return kDone;
}

ExitCode setFault(const Arguments& given) {
  if (given.value == "list") {
    return listFaults();
  }
  if (given.value == "clear") {
    return report(clearFaults());
  }

  Fault fault = given.fault;
  const std::optional<Operation> operation = clientOperation(given.value);
  if (!operation) {
    return fail("no operation is called " + given.value + "; there are\n" + clientOperationList(),
                kWrongUsage);
  }
  if (fault.result == 0 && fault.delayMs == 0) {
    return fail("a fault needs --result other than 0, or --delay-ms, or both", kWrongUsage);
  }

  fault.operation = *operation;
  if (given.port.empty()) {
    return report(addFault(fault));
  }

  return withPort(given.port, [&](uint32_t ifNum) {
    fault.ifNum = ifNum;
    return addFault(fault);
  });
}

ExitCode setSwitchClock(const Arguments& given) {
  const bool isWord = given.value == "follow" || given.value == "fail";
  if (isWord && given.goOn) {
    return fail("--run needs a time to run from", kWrongUsage);
  }
  if (!isWord && !isLocalTime(given.value)) {
    return fail("no such time: " + given.value, kWrongUsage);
  }
  if (given.behindMs != 0 && given.value != "follow") {
    return fail("--behind-ms goes with follow", kWrongUsage);
  }
  if (isWord) {
    return report(
        setClock(given.value == "fail" ? ClockMode::fail : ClockMode::follow, "", given.behindMs));
  }

  return report(setClock(given.goOn ? ClockMode::running : ClockMode::frozen, given.value));
}

void addViewCommands(CLI::App* app, Arguments* given) {
  CLI::App* show = app->add_subcommand("show", "Show the front panel of every unit");
  show->add_flag("--json", given->json, "Print one JSON document (with --watch one a line)");
  show->add_flag("--watch", given->goOn, "Go on every second until interrupted");
  CLI::App* journal = app->add_subcommand("journal", "Show what was done to the ports");
  journal->add_flag("--json", given->json,
                    "Print one JSON document (with --follow one entry a line)");
  journal->add_flag("--follow", given->goOn, "Go on with what comes, until interrupted");
  journal->add_option("--since", given->since, "Only entries after this sequence number");
}

void addCreate(CLI::App* app, Arguments* given) {
  CLI::App* create =
      app->add_subcommand("create", "Make a switch, with devices on some of its ports");
  create->add_option("--units", given->options.units, "Units of the stack, 1 to 8")
      ->capture_default_str();
  create->add_option("--ports", given->options.portsPerUnit, "Ports of a unit, 1 to 128")
      ->capture_default_str();
  create
      ->add_option("--poe", given->options.poePortsPerUnit,
                   "How many of a unit's ports, from the first, have PoE")
      ->each([=](const std::string&) { given->poeGiven = true; })
      ->capture_default_str();
  create
      ->add_option("--names", given->names,
                   "How ports are called: usp is 1/0/5, sp is 0/5 (one unit only)")
      ->check(CLI::IsMember({"usp", "sp"}))
      ->capture_default_str();
  create->add_flag("--force", given->force, "Reset a switch that is there already");
}

void addPortCommands(CLI::App* app, Arguments* given) {
  const char* portHelp = "An ifNum such as 5 or a name such as 1/0/5";
  CLI::App* set =
      app->add_subcommand("set", "Switch a port on or off as the switch's own CLI would");
  set->add_option("PORT", given->port, portHelp)->required();
  set->add_option("MODE", given->value, "on or off")
      ->required()
      ->check(CLI::IsMember({"on", "off"}));
  CLI::App* device =
      app->add_subcommand("device", "Attach a powered device to a port or detach it");
  device->add_option("PORT", given->port, portHelp)->required();
  device->add_option("WATTS", given->value, "What the device takes, up to 90; none detaches it")
      ->required()
      ->check(CLI::IsMember({"none"}) | CLI::Number);
}

void addTroubleCommands(CLI::App* app, Arguments* given) {
  CLI::App* fault = app->add_subcommand("fault", "Make an operation fail or take its time");
  fault->footer("Operations:\n" + clientOperationList());
  fault->add_option("OPERATION", given->value, "An operation (see below), or list, or clear")
      ->required();
  fault->add_option("--port", given->port, "Only calls about this port");
  fault->add_option("--result", given->fault.result,
                    "The calls do nothing and return this, for example -22");
  fault->add_option("--delay-ms", given->fault.delayMs, "The calls are answered that much later");
  fault->add_option("--times", given->fault.times, "For so many calls only")
      ->check(CLI::PositiveNumber);
  CLI::App* server = app->add_subcommand("server", "Let the switch OS's server answer or not");
  server->add_option("STATE", given->value, "up or down")
      ->required()
      ->check(CLI::IsMember({"up", "down"}));
  CLI::App* clock = app->add_subcommand("clock", "Set the switch's clock");
  clock
      ->add_option("TIME", given->value,
                   "follow (the host's local time), \"YYYY-MM-DD HH:MM:SS\" (frozen), or fail")
      ->required();
  clock->add_flag("--run", given->goOn, "Run on from the given time");
  clock->add_option("--behind-ms", given->behindMs, "With follow: how far behind the host's clock")
      ->check(CLI::NonNegativeNumber);
}

ExitCode runSubcommand(const std::string& name, const Arguments& given) {
  if (name == "create") {
    return create(given);
  }
  if (name == "show") {
    return show(given);
  }
  if (name == "journal") {
    return showJournal(given);
  }
  if (name == "set") {
    return setPort(given);
  }
  if (name == "device") {
    return setPortDevice(given);
  }
  if (name == "fault") {
    return setFault(given);
  }
  if (name == "server") {
    return report(setServerUp(given.value == "up"));
  }

  return setSwitchClock(given);
}

int run(int argc, char** argv) {
  CLI::App app(
      "The simulated switch. Its state is the file that SWITCHSIM_STATE names "
      "(/tmp/switchsim.state).");
  Arguments given;
  app.set_version_flag("--version", "switchsim " QUORIN_POED_VERSION);
  app.require_subcommand(1);
  addCreate(&app, &given);
  addViewCommands(&app, &given);
  addPortCommands(&app, &given);
  addTroubleCommands(&app, &given);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kWrongUsage;
  }

  return runSubcommand(app.get_subcommands().front()->get_name(), given);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    return fail(error.what());
  }
}
