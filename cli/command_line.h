// The command line of a program: commands with their arguments and options. CLI11 reads it, which
// takes ten seconds to compile wherever it is included: that is command_line.cpp alone.
#ifndef QUORIN_CLI_COMMAND_LINE_H
#define QUORIN_CLI_COMMAND_LINE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

// An argument or option that was added, for saying more of it. A handle: valid as long as the
// CommandLine.
class Argument {
 public:
  explicit Argument(CLI::Option* option) : option_(option) {}

  Argument required() const;
  // What stands for its value in the help: "PORT".
  Argument named(const char* value) const;
  // What it is when it is not given is shown in the help.
  Argument withDefault() const;
  Argument range(int least, int most) const;
  Argument range(uint32_t least, uint32_t most) const;
  Argument range(double least, double most) const;
  Argument positive() const;
  Argument notNegative() const;
  Argument oneOf(const std::vector<std::string>& choices) const;
  // fault: what is wrong with a value; empty for a good one.
  Argument check(const std::function<std::string(const std::string&)>& fault) const;
  Argument excludes(const Argument& other) const;
  // Given without a value, too.
  Argument valueOptional() const;
  // Given again, the last one counts.
  Argument lastCounts() const;

  // After parsing.
  bool isGiven() const;

 private:
  CLI::Option* option_;
};

// A command, for adding what it takes. A handle: valid as long as the CommandLine.
class Arguments {
 public:
  explicit Arguments(CLI::App* app) : app_(app) {}

  // "NAME" is an argument, "--name" or "-n,--name" an option with a value, which is stored in
  // *value when it is parsed: a string, number, double, an optional of one, or a vector of strings.
  template <typename Value>
  Argument add(const std::string& name, Value& value, const std::string& help) const;
  Argument flag(const std::string& name, bool& value, const std::string& help) const;
  // An option that takes a duration such as "10s", of milliseconds or of whole seconds.
  Argument duration(const std::string& name, int64_t* milliseconds, const std::string& help) const;
  Argument wholeSeconds(const std::string& name, int64_t* milliseconds,
                        const std::string& help) const;
  // An option of which `read` makes something; it returns what is wrong with the value, or nothing.
  Argument read(const std::string& name, const std::function<std::string(const std::string&)>& read,
                const std::string& help) const;

  // A command inside this one. Options of this one may follow those of the inner, if said so.
  Arguments command(const std::string& name, const std::string& summary) const;
  void takesOuterOptions() const;
  // One of the commands inside must be given. Optional: or none, as for a command that does
  // something by itself.
  void needsCommand(bool isOptional = false) const;
  // What the help ends with.
  void footer(const std::string& text) const;
  // mistake: what is wrong with the options together; empty for nothing.
  void refuse(const std::function<std::string()>& mistake) const;

  std::string name() const;
  bool operator<(const Arguments& other) const { return app_ < other.app_; }

 private:
  friend class CommandLine;
  CLI::App* app_;
};

// What there is to know of an argument or option, for a shell's completion.
struct ArgumentWords {
  std::vector<std::string> names;  // "-n", "--name"; none for an argument
  std::string argument;            // its name, for an argument
  std::string value;               // what stands for its value in the help
  bool takesValue = false;
};
struct CommandWords {
  std::string name;
  std::vector<ArgumentWords> arguments;
  std::vector<CommandWords> commands;
};

// What came of parsing.
struct ParsedLine {
  enum class Kind : uint8_t { command, help, mistake };
  Kind kind = Kind::command;
  std::string text;                 // of the help, or what is wrong
  bool isCommandMissing = false;    // a mistake: no command was given where one must be
  std::vector<std::string> extras;  // a mistake: words that nothing took
};

class CommandLine {
 public:
  // version: what --version prints.
  CommandLine(const std::string& summary, const std::string& program, const std::string& version);
  ~CommandLine();
  CommandLine(CommandLine&&) noexcept;
  CommandLine& operator=(CommandLine&&) noexcept;

  Arguments top() const { return Arguments(app_.get()); }
  ParsedLine parse(int argc, const char* const* argv) const;
  // Without the program's name.
  ParsedLine parse(const std::vector<std::string>& words) const;

  // After parsing: the commands that were given, from the program to the innermost.
  std::vector<Arguments> given() const;
  CommandWords words() const;

 private:
  std::unique_ptr<CLI::App> app_;
};

#endif
