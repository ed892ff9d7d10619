#include "switchsim/commands/command.h"

namespace switchsim {
namespace {

// In the order of the help.
std::vector<Command> commands() {
  std::vector<Command> all{
      {"create", "Make a switch, with devices on some of its ports", defineCreate},
      {"show", "Show every port of every unit", defineShow},
      {"journal", "Show what was done to the ports", defineJournal},
      {"set", "Switch a port on or off as the switch's own CLI would", defineSet},
      {"device", "Attach a powered device to a port or detach it", defineDevice},
      {"priority", "Say which ports keep their power longest", definePriority},
      {"fault", "Make an operation fail or take its time", defineFault},
      {"server", "Let the switch OS's server answer or not", defineServer},
      {"clock", "Set the switch's clock", defineClock},
  };
  const std::vector<Command> lab = labCommands();
  all.insert(all.end(), lab.begin(), lab.end());
  all.push_back(
      {"rehearse", "Try days of schedules in a lab, before they go live", defineRehearse});
  all.push_back({"web", "Show a lab as a page in the browser", defineWeb});
  all.push_back({"play", "Play a scenario: events and expectations, one a line", definePlay});
  return all;
}

}  // namespace

Program makeProgram() {
  Program program("switchsim",
                  "The simulated switch. Its state is the file that SWITCHSIM_STATE names "
                  "(/tmp/switchsim.state).",
                  QUORIN_POED_VERSION);
  program.top().footer(kJsonErrors);
  for (const Command& command : commands()) {
    program.add(command);
  }
  program.addHelp("Show the help of a command");
  return program;
}

std::function<void()> actionOf(const std::vector<std::string>& words) {
  const auto program = std::make_shared<Program>(makeProgram());
  return [act = program->actionOf(words), program] { act(); };
}

}  // namespace switchsim
