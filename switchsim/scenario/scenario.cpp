#include "switchsim/scenario/scenario.h"

#include <time.h>

#include <algorithm>
#include <sstream>

#include "cli/failure.h"
#include "cli/text.h"
#include "cli/times.h"
#include "switchsim/view/view.h"

namespace switchsim {
namespace {

constexpr const char* kBlanks = " \t\r";
// The commands that happen to a switch. The others make one, look at it or go on for ever.
constexpr const char* kEventCommands[] = {"set", "device", "priority", "fault", "server", "clock"};

using Words = std::vector<std::string>;

std::vector<std::string> states() {
  std::vector<std::string> names = {"on"};
  PortView port;
  port.poe = true;
  for (port.status = kDisabled; port.status <= kOff; ++port.status) {
    names.emplace_back(stateName(port));
  }
  return names;
}

void require(bool isSo, const std::string& mistake) {
  if (!isSo) {
    throw Failure(kExitUsage, mistake);
  }
}

int64_t durationMs(const std::string& text, const std::string& word, const char* examples) {
  const std::optional<int64_t> duration = parseDurationMs(text);
  require(duration.has_value(), escaped(word) + " is no duration such as " + examples);
  return *duration;
}

std::optional<int64_t> secondsOfDay(const std::string& text) {
  struct tm time = {};
  for (const char* format : {"%H:%M:%S", "%H:%M"}) {
    const char* end = strptime(text.c_str(), format, &time);
    if (end != nullptr && *end == '\0' && time.tm_sec < 60) {
      return time.tm_hour * 3600 + time.tm_min * 60 + time.tm_sec;
    }
  }
  return std::nullopt;
}

// Takes the time off the words.
void takeTime(Words* words, Event* event) {
  const std::string first = words->front();
  if (first == "at") {
    event->atSec = words->size() > 1 ? secondsOfDay((*words)[1]) : std::nullopt;
    words->erase(words->begin(), words->begin() + (words->size() > 1 ? 2 : 1));
    require(event->atSec.has_value(), "at needs a time of day, HH:MM or HH:MM:SS");
  } else if (first[0] == '+') {
    words->erase(words->begin());
    event->afterMs = durationMs(first.substr(1), first, "+5s, +500ms or +2m");
  }
}

Expectation readExpectation(const Words& words) {
  require(words.size() == 3 || (words.size() == 5 && words[3] == "within"),
          "what is expected is written expect PORT STATE [within DURATION]");
  const std::vector<std::string> known = states();
  require(std::find(known.begin(), known.end(), words[2]) != known.end(),
          escaped(words[2]) + " is no state of a port; there are " + joined(known, ", "));
  return {escaped(words[1]), words[2],
          words.size() == 5 ? durationMs(words[4], words[4], "10s") : 0};
}

void readEvent(Words words, const CommandReader& readCommand, Event* event) {
  takeTime(&words, event);
  if (words.empty()) {
    return;
  }
  if (words[0] == "expect") {
    event->expectation = readExpectation(words);
    return;
  }
  const Words known(std::begin(kEventCommands), std::end(kEventCommands));
  require(std::find(known.begin(), known.end(), words[0]) != known.end(),
          escaped(words[0]) + " is no event; there are expect, " + joined(known, ", "));
  event->setsClock = words[0] == "clock";
  event->action = readCommand(words);
}

std::string trimmed(const std::string& text) {
  const size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

// Reads a shell word from the place on, up to an unquoted blank. False where a quote stays open.
bool readWord(const std::string& line, size_t* at, std::string* word) {
  char quote = 0;
  for (; *at < line.size(); ++*at) {
    const char character = line[*at];
    if (character == '\\' && quote != '\'') {
      if (++*at == line.size()) {
        return false;
      }
      *word += line[*at];
    } else if (quote != 0 ? character == quote : character == '\'' || character == '"') {
      quote = quote != 0 ? '\0' : character;
    } else if (quote == 0 && std::string(kBlanks).find(character) != std::string::npos) {
      return true;
    } else {
      *word += character;
    }
  }
  return quote == 0;
}

// The words of a line, split and unquoted as a shell does, up to a comment, which is cut off.
Words takeWords(std::string* line) {
  Words words;
  size_t at = 0;
  while ((at = line->find_first_not_of(kBlanks, at)) != std::string::npos && (*line)[at] != '#') {
    words.emplace_back();
    require(readWord(*line, &at, &words.back()), "a quote is not closed");
  }
  line->resize(std::min(at, line->size()));
  return words;
}

}  // namespace

Scenario readScenario(const std::string& text, const CommandReader& readCommand) {
  Scenario scenario;
  std::istringstream lines(text);
  size_t number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    try {
      const Words words = takeWords(&line);
      if (words.empty()) {
        continue;
      }
      Event event;
      event.line = number;
      event.text = trimmed(line);
      readEvent(words, readCommand, &event);
      scenario.events.push_back(std::move(event));
    } catch (const Failure& mistake) {
      scenario.mistakes.push_back({number, mistake.what()});
    }
  }
  return scenario;
}

bool isInState(const PortView& port, const std::string& state) {
  return port.poe && (state == stateName(port) || (state == "on" && port.adminOn) ||
                      (state == "off" && !port.adminOn));
}

}  // namespace switchsim
