// switchsim: shows the simulated switch, and does to it what people, plugs and bad days do to a
// real one.
#include "switchsim/commands/command.h"

int main(int argc, char** argv) {
  return runProgram(switchsim::makeProgram, argc, argv);
}
