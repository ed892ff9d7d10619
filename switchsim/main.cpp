// switchsim: shows the simulated switch, and does to it what people, plugs and bad days do to a
// real one.
#include <cstdio>

#include "switchsim/commands/command.h"

using namespace switchsim;

namespace {

int run(int argc, char** argv) {
  const Program program = makeProgram();
  const ParsedLine parsed = program.line.parse(argc, argv);
  switch (parsed.kind) {
    case ParsedLine::Kind::help:
      print(parsed.text);
      return kDone;
    case ParsedLine::Kind::mistake:
      fprintf(stderr, "%s\nRun with --help for more information.\n", parsed.text.c_str());
      return kWrongUsage;
    case ParsedLine::Kind::command:
      break;
  }
  return parsedAction(program)();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    return fail(error.what());
  }
}
