// web: a lab as a page in the browser.
#include <thread>

#include "cli/interrupt.h"
#include "switchsim/commands/command.h"
#include "switchsim/lab/own_lab.h"
#include "switchsim/switch/switch_state.h"
#include "switchsim/web/bench.h"

namespace switchsim {
namespace {

constexpr auto kLookInterval = std::chrono::milliseconds(50);

struct WebOptions {
  uint32_t port = 8900;
  std::string folder;
};

void serve(Lab& lab, const WebOptions& given) {
  const auto carryOut = [](const std::vector<std::string>& words) { actionOf(words)(); };
  const Server server(static_cast<uint16_t>(given.port), benchRoutes(lab, carryOut, isInterrupted));
  printNow("The bench, until ^C:  " + server.address() + "\n");
  while (!isInterrupted()) {
    std::this_thread::sleep_for(kLookInterval);
  }
}

void runWeb(const WebOptions& given) {
  catchInterrupts();
  if (const std::string named = given.folder.empty() ? labFolder() : given.folder; !named.empty()) {
    Lab lab(named);
    lab.requireRunning();
    return serve(lab, given);
  }
  OwnLab own("switchsim-web");
  LabPlan plan;
  plan.makeSwitch = [] { createSwitch(SwitchOptions(), false); };
  own.lab().up(plan);
  own.lab().release();  // `switchsim lab` may move its clock, too
  serve(own.lab(), given);
}

}  // namespace

Action defineWeb(Arguments& app) {
  const auto given = std::make_shared<WebOptions>();
  app.add("--port", given->port, "Of this machine, for this machine alone; 0 is any that is free")
      .withDefault()
      .range(uint32_t{0}, uint32_t{UINT16_MAX});
  app.add("--dir", given->folder,
          "A lab that runs [that of QUORIN_POED_LAB, else one that goes with the command]");
  return doing([given] { runWeb(*given); });
}

}  // namespace switchsim
