#include "switchsim/lab/exec_program.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace switchsim {
namespace {

std::vector<std::string> wordsOf(const char* text) {
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) {
    words.push_back(word);
  }
  return words;
}

void setHere(const std::string& setting) {
  const size_t equals = setting.find('=');
  setenv(setting.substr(0, equals).c_str(), setting.c_str() + equals + 1, 1);
}

}  // namespace

void execProgram(const std::string& path, const std::vector<std::string>& settings) {
  const char* emulator = getenv("SWITCHSIM_EMULATOR");
  std::vector<std::string> words = wordsOf(emulator != nullptr ? emulator : "");
  const bool isEmulated = !words.empty();
  for (const std::string& setting : settings) {
    if (isEmulated) {
      words.insert(words.end(), {"-E", setting});
    } else {
      setHere(setting);
    }
  }
  words.push_back(path);

  std::vector<char*> arguments(words.size() + 1);  // a null pointer ends them
  std::transform(words.begin(), words.end(), arguments.begin(),
                 [](std::string& word) { return word.data(); });
  execvp(arguments.front(), arguments.data());
}

}  // namespace switchsim
