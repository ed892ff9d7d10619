// completion: what a shell needs to complete this program's words.
#include <algorithm>

#include "cli/text.h"
#include "client/app.h"
#include "client/command.h"

namespace {

// Before and behind the cases that are made of the commands and options.
constexpr const char* kHead =
    R"bash(# Completes quorin_poectl in bash. To use it now: . <(quorin_poectl completion bash)
_quorin_poectl_ask() {  # _quorin_poectl_ask WHAT: the program's answer, one word a line
  local i command=("${COMP_WORDS[0]}" completion "$1" --quiet --timeout 2s)
  for ((i = 1; i < COMP_CWORD - 1; i++)); do
    [[ ${COMP_WORDS[i]} == --socket ]] && command+=(--socket "${COMP_WORDS[i + 1]}")
  done
  "${command[@]}" 2>/dev/null
}

_quorin_poectl() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local path="" words="" kind="" lead="" candidate i
  for ((i = 1; i < COMP_CWORD; i++)); do
    case "$path ${COMP_WORDS[i]}" in
)bash";

constexpr const char* kTail = R"bash(  esac

  COMPREPLY=()
  case "$kind" in
    FILE) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    PORT) [[ $word == *,* ]] && lead=${word%,*}, ;;
  esac
  while IFS= read -r candidate; do
    [[ $candidate == -* && $word != -* ]] && continue
    [[ -n $candidate && $lead$candidate == "${word//\\/}"* ]] &&
      COMPREPLY+=("$lead$(printf %q "$candidate")")
  done < <(
    # shellcheck disable=SC2086  # the words are many
    [[ -z $words ]] || printf '%s\n' $words
    case "$kind" in
      PORT) _quorin_poectl_ask ports ;;
      ID) _quorin_poectl_ask schedules ;;
    esac
  )
}
complete -F _quorin_poectl quorin_poectl
)bash";

// A command with those around it, the program first.
using Levels = std::vector<CommandWords>;

// " schedule list"; empty for the program.
std::string pathOf(const Levels& levels) {
  std::string path;
  for (size_t i = 1; i < levels.size(); ++i) {
    path += " " + levels[i].name;
  }
  return path;
}

// The command and all below it, in the order of the help.
std::vector<Levels> withAllBelow(const Levels& levels) {
  std::vector<Levels> all{levels};
  for (const CommandWords& each : levels.back().commands) {
    Levels inner = levels;
    inner.push_back(each);
    const std::vector<Levels> below = withAllBelow(inner);
    all.insert(all.end(), below.begin(), below.end());
  }
  return all;
}

// The words of "{a,b,c}" in a name, separated by blanks; empty for others.
std::string choicesOf(const std::string& name) {
  const size_t open = name.find('{');
  const size_t close = name.find('}');
  return open == std::string::npos || close == std::string::npos
             ? ""
             : joined(splitAt(name.substr(open + 1, close - open - 1), ','), " ");
}

std::string kindOf(const std::string& name) {
  const bool isKnown = name == "PORT" || name == "ID" || name == "FILE";
  return isKnown ? name : name == "PATH" ? "FILE" : "";
}

// Without empty ones and repeats.
std::vector<std::string> eachOnce(const std::vector<std::string>& words) {
  std::vector<std::string> some;
  for (const std::string& word : words) {
    if (!word.empty() && std::find(some.begin(), some.end(), word) == some.end()) {
      some.push_back(word);
    }
  }
  return some;
}

// What may come next in a command: its subcommands, arguments and options, and the options of all.
std::string wordsCase(const Levels& levels) {
  std::vector<std::string> words;
  std::string kind;
  for (const CommandWords& each : levels.back().commands) {
    words.push_back(each.name);
  }
  for (auto level = levels.rbegin(); level != levels.rend(); ++level) {
    for (const ArgumentWords& each : level->arguments) {
      words.insert(words.end(), each.names.begin(), each.names.end());
      if (each.names.empty()) {
        words.push_back(choicesOf(each.value));
        kind = kind.empty() ? kindOf(each.argument) : kind;
      }
    }
  }
  return "    \"" + pathOf(levels) + "\") words=\"" + joined(eachOnce(words), " ") +
         "\" kind=" + kind + " ;;\n";
}

// What an option that takes a value takes; nothing is offered where it is not known.
std::string valueCases(const Levels& levels) {
  std::string cases;
  for (const ArgumentWords& each : levels.back().arguments) {
    for (const std::string& name : each.takesValue ? each.names : std::vector<std::string>()) {
      cases += "    \"" + pathOf(levels) + "\"*\" " + name + "\") words=\"" +
               choicesOf(each.value) + "\" kind=" + kindOf(each.value) + " ;;\n";
    }
  }
  return cases;
}

// A bash script that completes the commands and options of the program. What an argument or an
// option's value is, the script knows by its name in the help: PORT, ID, FILE, PATH or {a,b,c}.
std::string bashCompletion(const CommandWords& program) {
  std::string commands;
  std::string words;
  std::string values;
  for (const Levels& levels : withAllBelow({program})) {
    const std::string path = pathOf(levels);
    commands += path.empty() ? "" : (commands.empty() ? "" : " | ") + ("\"" + path + "\"");
    words += wordsCase(levels);
    values += valueCases(levels);
  }
  return kHead + ("      " + commands) + ") path+=\" ${COMP_WORDS[i]}\" ;;\n    esac\n  done\n" +
         "  case \"$path\" in\n" + words + "  esac\n  case \"$path $before\" in\n" + values + kTail;
}

std::vector<std::string> wordsFor(const std::string& what, Session& session) {
  std::vector<std::string> words;
  if (what == "schedules") {
    for (const Schedule& schedule : session.schedules()) {
      words.push_back(escaped(schedule.name.c_str()));
    }
    return words;
  }
  for (const PoePort& port : session.poePorts()) {
    words.push_back(session.names().name(port.ifNum));
    words.push_back(escaped(session.names().labelOrEmpty(port.ifNum)));
  }
  return eachOnce(words);
}

int runCompletion(const std::string& what, Session& session) {
  session.refuseJson("completion");
  const bool isScript = what == "bash";
  Options options;  // of a program that only tells its words
  const std::string script = isScript ? bashCompletion(clientProgram(&options).words()) : "";
  const std::vector<std::string> words =
      isScript ? std::vector<std::string>() : wordsFor(what, session);
  session.output().print(isScript || words.empty() ? script : joined(words, "\n") + "\n");
  return kExitDone;
}

}  // namespace

SessionAction defineCompletion(Arguments& app, Options&) {
  const auto what = std::make_shared<std::string>();
  app.add("WHAT", *what, "bash: the script; ports, schedules: the words that it asks for")
      .required()
      .oneOf({"bash", "ports", "schedules"});
  return [what](Session& session) { return runCompletion(*what, session); };
}
