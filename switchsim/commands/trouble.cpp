// fault, server and clock: bad days of the switch OS.
#include "cli/mapped.h"
#include "cli/text.h"
#include "switchsim/commands/command.h"
#include "switchsim/view/view.h"

namespace switchsim {
namespace {

struct FaultOptions {
  std::string value;
  std::vector<std::string> ports;
  Fault fault;
};

struct ClockOptions {
  std::string value;
  bool isRunning = false;
  int64_t behindMs = 0;

  bool isWord() const { return value == "follow" || value == "fail"; }
};

void listFaults() {
  for (const Fault& fault : viewSwitch().faults) {
    printNow(faultText(fault) + "\n");
  }
}

// What is wrong with options that are right each for itself; empty: nothing.
std::string faultMistake(const FaultOptions& given) {
  if (given.value == "list" || given.value == "clear") {
    return "";
  }
  if (!clientOperation(given.value)) {
    return "no operation is called " + escaped(given.value) + "; there are\n" +
           clientOperationList();
  }
  if (!given.ports.empty() && given.value.find("Port") == std::string::npos) {
    return escaped(given.value) + " is about no port: leave out --port";
  }
  const bool doesNothing = given.fault.result == 0 && given.fault.delayMs == 0;
  return doesNothing ? "a fault needs --result other than 0, or --delay-ms, or both" : "";
}

std::string clockMistake(const ClockOptions& given) {
  if (given.isWord() && given.isRunning) {
    return "--run needs a time to run from";
  }
  if (!given.isWord() && !localSeconds(given.value)) {
    return "no such time: " + escaped(given.value);
  }
  return given.behindMs != 0 && given.value != "follow" ? "--behind-ms goes with follow" : "";
}

// All of them, or what findPort throws.
std::vector<uint32_t> portsOf(const std::vector<std::string>& words) {
  return mapped(words, [](const std::string& word) { return findPort(escaped(word)); });
}

void runFault(const FaultOptions& given) {
  if (given.value == "list") {
    listFaults();
    return;
  }
  if (given.value == "clear") {
    clearFaults();
    return;
  }
  Fault fault = given.fault;
  fault.operation = *clientOperation(given.value);
  if (given.ports.empty()) {
    addFault(fault);
  }
  for (const uint32_t ifNum : portsOf(given.ports)) {
    fault.ifNum = ifNum;
    addFault(fault);
  }
}

void runClock(const ClockOptions& given) {
  if (given.isWord()) {
    setClock(given.value == "fail" ? ClockMode::fail : ClockMode::follow, "", given.behindMs);
  } else {
    setClock(given.isRunning ? ClockMode::running : ClockMode::frozen, given.value);
  }
}

}  // namespace

Action defineFault(Arguments& app) {
  const auto given = std::make_shared<FaultOptions>();
  app.footer("Operations:\n" + clientOperationList());
  app.add("OPERATION", given->value, "An operation (see below), or list, or clear").required();
  app.add("--port", given->ports, "Only calls about these ports").named("PORT");
  app.add("--result", given->fault.result, "The calls do nothing and return this, for example -22");
  app.add("--delay-ms", given->fault.delayMs, "The calls are answered that much later");
  app.add("--times", given->fault.times, "For so many calls only").positive();
  app.refuse([given] { return faultMistake(*given); });
  return doing([given] { runFault(*given); });
}

Action defineServer(Arguments& app) {
  const auto state = std::make_shared<std::string>();
  app.add("STATE", *state, "up or down").required().oneOf({"up", "down"});
  return doing([state] { setServerUp(*state == "up"); });
}

Action defineClock(Arguments& app) {
  const auto given = std::make_shared<ClockOptions>();
  app.add("TIME", given->value,
          "follow (the host's local time), \"YYYY-MM-DD HH:MM:SS\" (frozen), or fail")
      .required();
  app.flag("--run", given->isRunning, "Run on from the given time");
  app.add("--behind-ms", given->behindMs, "With follow: how far behind the host's clock")
      .notNegative();
  app.refuse([given] { return clockMistake(*given); });
  return doing([given] { runClock(*given); });
}

}  // namespace switchsim
