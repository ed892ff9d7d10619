// switchsim: shows the simulated switch, and does to it what people, plugs and bad days do to a
// real one.
#include "switchsim/commands/command.h"

using namespace switchsim;

namespace {

int run(int argc, char** argv) {
  const CommandLine line = makeCommandLine();
  try {
    line.app->parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return line.app->exit(error) == 0 ? kDone : kWrongUsage;
  }
  return parsedAction(line)();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    return fail(error.what());
  }
}
