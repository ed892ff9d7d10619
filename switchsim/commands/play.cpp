// play: a scenario.
#include <algorithm>

#include "cli/failure.h"
#include "cli/files.h"
#include "cli/text.h"
#include "switchsim/commands/command.h"
#include "switchsim/scenario/scenario_player.h"

namespace switchsim {
namespace {

constexpr double kMaxSpeed = 100000;

struct PlayOptions {
  std::string file;
  double speed = 1;
  bool isLooping = false;
  bool isQuiet = false;
};

// What is wrong with the scenario and the options together.
std::vector<std::string> mistakesOf(const Scenario& scenario, const PlayOptions& given) {
  std::vector<std::string> texts;
  for (const Mistake& mistake : scenario.mistakes) {
    texts.push_back(given.file + ":" + std::to_string(mistake.line) + ": " + mistake.what);
  }
  if (texts.empty() && scenario.events.empty()) {
    texts.push_back(given.file + " has no event");
  }

  const bool waits = std::any_of(scenario.events.begin(), scenario.events.end(),
                                 [](const Event& event) { return event.waits(); });
  if (texts.empty() && given.isLooping && !waits) {
    texts.push_back("--loop needs a line that waits, such as +1s");
  }
  return texts;
}

void runPlay(const PlayOptions& given) {
  const Scenario scenario = readScenario(readWholeFile(given.file), actionOf);
  const std::vector<std::string> mistakes = mistakesOf(scenario, given);
  if (!mistakes.empty()) {
    throw Failure(kExitUsage, "nothing was done:\n" + joined(mistakes, "\n"));
  }
  ScenarioPlayer player(given.file, given.speed, given.isQuiet);
  do {
    player.play(scenario);
  } while (given.isLooping);
}

}  // namespace

Action definePlay(Arguments& app) {
  const auto given = std::make_shared<PlayOptions>();
  app.footer(
      std::string(kScenarioGrammar) +
      "\n\nEnds with 1 at the first line that fails. Lines that can't be read are told before "
      "anything\nis done; the end is 2 then.");
  app.add("FILE", given->file, "The scenario").required();
  app.add("--speed", given->speed,
          "How many times as fast: waits take so much less, and the switch's ports and a "
          "clock that runs go along. What uses the switch does not: run a daemon as many "
          "times as fast, or play to it without --speed")
      .range(1.0, kMaxSpeed);
  app.flag("--loop", given->isLooping, "Begin again at the end, until interrupted");
  app.flag("--quiet", given->isQuiet, "Do not tell each event");
  return doing([given] { runPlay(*given); });
}

}  // namespace switchsim
