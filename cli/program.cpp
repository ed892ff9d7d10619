#include "cli/program.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>

#include "cli/json.h"
#include "cli/mapped.h"
#include "cli/output.h"
#include "cli/text.h"

namespace {

// The words of the command that was given, and of those around it, from the program on.
std::vector<CommandWords> wordsOfGiven(const CommandLine& line) {
  std::vector<CommandWords> levels{line.words()};
  const std::vector<Arguments> given = line.given();
  for (size_t i = 1; i < given.size(); ++i) {
    const std::vector<CommandWords> inner = levels.back().commands;
    levels.push_back(*std::find_if(inner.begin(), inner.end(), [&](const CommandWords& each) {
      return each.name == given[i].name();
    }));
  }
  return levels;
}

std::vector<std::string> commandNames(const CommandWords& command) {
  return mapped(command.commands, [](const CommandWords& each) { return each.name; });
}

std::vector<std::string> optionNames(const std::vector<CommandWords>& levels) {
  std::vector<std::string> names;
  for (auto level = levels.rbegin(); level != levels.rend(); ++level) {
    for (const ArgumentWords& each : level->arguments) {
      std::copy_if(each.names.begin(), each.names.end(), std::back_inserter(names),
                   [](const std::string& name) { return name.compare(0, 2, "--") == 0; });
    }
  }
  return names;
}

// What a word that nothing took may have been meant to be.
std::string suggestion(const std::vector<std::string>& extras,
                       const std::vector<CommandWords>& levels) {
  for (const std::string& word : extras) {
    const bool isOption = word.size() > 1 && word[0] == '-';
    std::string text = didYouMean(word.substr(0, word.find('=')),
                                  isOption ? optionNames(levels) : commandNames(levels.back()));
    if (text == didYouMean(word, {word})) {
      return isOption ? " It stands behind its command." : "";
    }
    if (!text.empty()) {
      return text;
    }
  }
  return "";
}

std::string mistakeText(const ParsedLine& parsed, const std::vector<CommandWords>& levels) {
  const std::vector<std::string> names = commandNames(levels.back());
  if (!parsed.extras.empty()) {
    const bool isCommand = !names.empty() && parsed.extras[0][0] != '-';
    return std::string(isCommand ? "there is no command " : "not expected: ") +
           inQuotes(parsed.extras[0]) + "." + suggestion(parsed.extras, levels);
  }
  return parsed.isCommandMissing && !names.empty()
             ? "which command? There are " + joined(names, ", ") + "."
             : parsed.text;
}

// Also where the command line has other mistakes.
bool asksForJson(int argc, const char* const* argv) {
  const auto isOf = [](const char* word) {
    return [word](const char* each) { return strcmp(each, word) == 0; };
  };
  const auto* end = std::find_if(argv, argv + argc, isOf("--"));
  return std::any_of(argv, end, isOf("--json"));
}

int fail(const Failure& failure, bool isJson) {
  tellFailure(failure, isJson);
  return failure.status();
}

}  // namespace

Program::Program(std::string name, const std::string& summary, const std::string& version)
    : name_(std::move(name)), line_(summary, name_, name_ + " " + version) {
  top().needsCommand();
}

void Program::add(const Command& command) {
  const size_t blank = command.name.find(' ');
  const bool isInGroup = blank != std::string::npos;
  const Arguments parent = isInGroup ? commands_.at(command.name.substr(0, blank)) : top();
  Arguments made = parent.command(command.name.substr(isInGroup ? blank + 1 : 0), command.summary);
  commands_.emplace(command.name, made);
  if (isInGroup) {
    parent.needsCommand(actions_.count(parent) > 0);
  }
  if (Action action = command.define(made)) {
    actions_.emplace(made, std::move(action));
  }
}

void Program::addHelp(const char* summary) {
  helpOf_ = std::make_shared<std::vector<std::string>>();
  top().command("help", summary).add("COMMAND", *helpOf_, "its words");
}

int Program::printHelp() const {
  CommandWords level = line_.words();
  for (const std::string& word : *helpOf_) {
    const auto inner =
        std::find_if(level.commands.begin(), level.commands.end(),
                     [&word](const CommandWords& each) { return each.name == word; });
    if (inner == level.commands.end()) {
      throw Failure(kExitUsage, "there is no command " + inQuotes(word) + "." +
                                    didYouMean(word, commandNames(level)) + "\nSee: " + name_ +
                                    " --help");
    }
    level = CommandWords(*inner);
  }
  std::vector<std::string> words = *helpOf_;
  words.emplace_back("--help");
  printNow(line_.parse(words).text);
  return kExitDone;
}

const Action& Program::actionOf(const std::vector<std::string>& words) const {
  const ParsedLine parsed = line_.parse(words);
  if (parsed.kind == ParsedLine::Kind::mistake) {
    throw Failure(kExitUsage, mistakeText(parsed, wordsOfGiven(line_)));
  }
  const auto action = actions_.find(line_.given().back());
  if (parsed.kind == ParsedLine::Kind::help || action == actions_.end()) {
    throw Failure(kExitUsage, "help is nothing that can be done");
  }
  return action->second;
}

int Program::run(int argc, const char* const* argv) const {
  const ParsedLine parsed = line_.parse(argc, argv);
  if (parsed.kind == ParsedLine::Kind::help) {
    printNow(parsed.text);
    return kExitDone;
  }
  if (parsed.kind == ParsedLine::Kind::mistake) {
    const std::vector<CommandWords> levels = wordsOfGiven(line_);
    const auto names = mapped(levels, [](const CommandWords& level) { return level.name; });
    throw Failure(kExitUsage,
                  mistakeText(parsed, levels) + "\nSee: " + joined(names, " ") + " --help");
  }
  const auto action = actions_.find(line_.given().back());
  return action != actions_.end() ? action->second() : printHelp();
}

void tellFailure(const Failure& failure, bool isJson) {
  fflush(stdout);
  if (!isJson) {
    tell(std::string(program_invocation_short_name) + ": " + failure.what());
    return;
  }
  const JsonPtr error =
      jsonObject({{"error", jsonObject({{"text", failure.what()},
                                        {"exitStatus", static_cast<int>(failure.status())},
                                        {"code", failure.code()}})}});
  fputs(jsonEscaped(printedJson(error)).c_str(), stderr);
}

int runProgram(const std::function<Program()>& make, int argc, const char* const* argv) try {
  return make().run(argc, argv);
} catch (const Failure& failure) {
  return fail(failure, asksForJson(argc, argv));
} catch (const std::bad_alloc&) {
  return fail({kExitNotAsWished, "out of memory"}, asksForJson(argc, argv));
} catch (const std::exception& error) {
  return fail({kExitNotAsWished, escaped(error.what())}, asksForJson(argc, argv));
}
