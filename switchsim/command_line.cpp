#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "switchsim/commands/command.h"
#include "switchsim/switch/switch_state.h"

namespace switchsim {
namespace {

struct Command {
  const char* name;
  const char* summary;
  Action (*define)(Arguments& app);
};

// In the order of the help.
constexpr Command kCommands[] = {
    {"create", "Make a switch, with devices on some of its ports", defineCreate},
    {"show", "Show every port of every unit", defineShow},
    {"journal", "Show what was done to the ports", defineJournal},
    {"set", "Switch a port on or off as the switch's own CLI would", defineSet},
    {"device", "Attach a powered device to a port or detach it", defineDevice},
    {"priority", "Say which ports keep their power longest", definePriority},
    {"fault", "Make an operation fail or take its time", defineFault},
    {"server", "Let the switch OS's server answer or not", defineServer},
    {"clock", "Set the switch's clock", defineClock},
    {"lab", "A switch, the real daemon and a clock of their own in one folder", defineLab},
    {"play", "Play a scenario: events and expectations, one a line", definePlay},
};

}  // namespace

Program makeProgram() {
  Program program{{"The simulated switch. Its state is the file that SWITCHSIM_STATE names "
                   "(/tmp/switchsim.state).",
                   "", "switchsim " QUORIN_POED_VERSION},
                  {}};
  const Arguments top = program.line.top();
  top.needsCommand();
  for (const Command& command : kCommands) {
    Arguments made = top.command(command.name, command.summary);
    program.actions.emplace(made, command.define(made));
  }
  return program;
}

const Action& parsedAction(const Program& program) {
  return program.actions.at(program.line.given().at(1));
}

ExitCode fail(const std::string& error, ExitCode code) {
  fprintf(stderr, "switchsim: %s\n", error.c_str());
  return code;
}

ExitCode report(const std::string& error) {
  return error.empty() ? kDone : fail(error);
}

void print(const std::string& text) {
  if (fputs(text.c_str(), stdout) < 0 || fflush(stdout) != 0) {
    throw std::runtime_error(std::string("the output could not be written: ") + strerror(errno));
  }
}

ExitCode withPort(const std::string& text, const std::function<std::string(uint32_t)>& act) {
  std::string error;
  const std::optional<uint32_t> ifNum = findPort(text, &error);
  return ifNum ? report(act(*ifNum)) : fail(error);
}

}  // namespace switchsim
