// show and journal: the switch as it is, and what was done to it.
#include "switchsim/view/view.h"

#include <unistd.h>

#include <chrono>
#include <thread>

#include "cli/output.h"
#include "switchsim/commands/command.h"

namespace switchsim {
namespace {

constexpr auto kWatchInterval = std::chrono::seconds(1);
constexpr auto kFollowInterval = std::chrono::milliseconds(100);

struct ShowOptions {
  bool json = false;
  bool isWatching = false;
  bool isPanel = false;
};

struct JournalOptions {
  bool json = false;
  bool isFollowing = false;
  uint64_t since = 0;
};

void show(const SwitchView& view, const ShowOptions& given) {
  const bool redraws = given.isWatching && !given.json && isatty(STDOUT_FILENO) == 1;
  const std::string text = given.json                 ? viewJson(view, given.isWatching)
                           : given.isPanel || redraws ? panelText(view)
                                                      : tableText(view);
  printNow(redraws ? redrawn(text, terminalRows(), screenOfStdout(ColorMode::never).columns,
                             "enlarge the window")
                   : text);
}

std::optional<SwitchView> viewOrWhyNot(bool isJson) try {
  return viewSwitch();
} catch (const Failure& failure) {
  tellFailure(failure, isJson);
  return std::nullopt;
}

// While watched, a switch that vanishes is waited for.
void runShow(const ShowOptions& given) {
  show(viewSwitch(), given);
  while (given.isWatching) {
    std::this_thread::sleep_for(kWatchInterval);
    if (const std::optional<SwitchView> view = viewOrWhyNot(given.json)) {
      show(*view, given);
    }
  }
}

// Streams what comes after `seq` until interrupted. A switch that is made anew counts from the
// start again.
[[noreturn]] void followJournal(uint64_t seq, bool json) {
  if (!json) {
    printNow(journalHeading());
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
      printNow(text);
    }
    std::this_thread::sleep_for(kFollowInterval);
  }
}

void runJournal(const JournalOptions& given) {
  viewSwitch();  // says where there is none
  if (given.isFollowing) {
    followJournal(given.since, given.json);
  }

  const std::vector<JournalEntry> entries = journalSince(given.since);
  std::string text = given.json ? journalJson(entries) : journalHeading();
  for (const JournalEntry& entry : entries) {
    text += given.json ? "" : journalLine(entry);
  }

  printNow(text);
}

}  // namespace

Action defineShow(Arguments& app) {
  const auto given = std::make_shared<ShowOptions>();
  const Argument json =
      app.flag("--json", given->json, "Print one JSON document (with --watch one a line)");
  app.flag("--watch", given->isWatching,
           "Go on every second until interrupted; on a terminal as --panel");
  app.flag("--panel", given->isPanel, "Draw the front panels instead of a table").excludes(json);
  return doing([given] { runShow(*given); });
}

Action defineJournal(Arguments& app) {
  const auto given = std::make_shared<JournalOptions>();
  app.flag("--json", given->json, "Print one JSON document (with --follow one entry a line)");
  app.flag("--follow", given->isFollowing, "Go on with what comes, until interrupted");
  app.add("--since", given->since, "Only entries after this sequence number");
  return doing([given] { runJournal(*given); });
}

}  // namespace switchsim
