#include "cli/command_line.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <sstream>

#include "cli/text.h"
#include "cli/times.h"

Argument Argument::required() const {
  option_->required();
  return *this;
}

Argument Argument::named(const char* value) const {
  option_->type_name(value);
  return *this;
}

Argument Argument::withDefault() const {
  option_->capture_default_str();
  return *this;
}

Argument Argument::range(int least, int most) const {
  option_->check(CLI::Range(least, most));
  return *this;
}

Argument Argument::range(uint32_t least, uint32_t most) const {
  option_->check(CLI::Range(least, most));
  return *this;
}

// CLI11's own check would tell the bounds with six decimals.
Argument Argument::range(double least, double most) const {
  option_->check([least, most](const std::string& text) {
    const double value = strtod(text.c_str(), nullptr);
    std::ostringstream fault;
    fault.precision(12);
    fault << "Value " << text << " not in range " << least << " to " << most;
    return value >= least && value <= most ? "" : fault.str();
  });
  return *this;
}

Argument Argument::positive() const {
  option_->check(CLI::PositiveNumber);
  return *this;
}

Argument Argument::notNegative() const {
  option_->check(CLI::NonNegativeNumber);
  return *this;
}

Argument Argument::oneOf(const std::vector<std::string>& choices) const {
  option_->check(CLI::IsMember(choices));
  return *this;
}

Argument Argument::check(const std::function<std::string(const std::string&)>& fault) const {
  option_->check(fault);
  return *this;
}

Argument Argument::excludes(const Argument& other) const {
  option_->excludes(other.option_);
  return *this;
}

Argument Argument::valueOptional() const {
  option_->expected(0, 1);
  return *this;
}

Argument Argument::lastCounts() const {
  option_->take_last();
  return *this;
}

bool Argument::isGiven() const {
  return option_->count() > 0;
}

template <typename Value>
Argument Arguments::add(const std::string& name, Value& value, const std::string& help) const {
  return Argument(app_->add_option(name, value, help));
}
template Argument Arguments::add(const std::string&, std::string&, const std::string&) const;
template Argument Arguments::add(const std::string&, std::vector<std::string>&,
                                 const std::string&) const;
template Argument Arguments::add(const std::string&, int32_t&, const std::string&) const;
template Argument Arguments::add(const std::string&, int64_t&, const std::string&) const;
template Argument Arguments::add(const std::string&, uint32_t&, const std::string&) const;
template Argument Arguments::add(const std::string&, uint64_t&, const std::string&) const;
template Argument Arguments::add(const std::string&, double&, const std::string&) const;
template Argument Arguments::add(const std::string&, std::optional<int32_t>&,
                                 const std::string&) const;
template Argument Arguments::add(const std::string&, std::optional<std::string>&,
                                 const std::string&) const;

Argument Arguments::flag(const std::string& name, bool& value, const std::string& help) const {
  return Argument(app_->add_flag(name, value, help));
}

namespace {

// units: what is said of them where a text is no such duration.
std::function<std::string(const std::string&)> durationReader(int64_t* milliseconds, int64_t stepMs,
                                                              const char* units) {
  return [milliseconds, stepMs, units](const std::string& text) {
    const std::optional<int64_t> duration = parseDurationMs(text);
    *milliseconds = duration.value_or(0);
    return duration && *duration % stepMs == 0 ? "" : inQuotes(text) + " is no duration " + units;
  };
}

}  // namespace

Argument Arguments::duration(const std::string& name, int64_t* milliseconds,
                             const std::string& help) const {
  constexpr const char* kUnits = "in ms, s, m, h or d, such as 500ms or 1m30s";
  return read(name, durationReader(milliseconds, 1, kUnits), help).named("TIME");
}

Argument Arguments::wholeSeconds(const std::string& name, int64_t* milliseconds,
                                 const std::string& help) const {
  constexpr int64_t kMsPerSec = 1000;
  constexpr const char* kUnits = "in s, m, h or d, such as 10s or 1m30s";
  return read(name, durationReader(milliseconds, kMsPerSec, kUnits), help).named("TIME");
}

Argument Arguments::read(const std::string& name,
                         const std::function<std::string(const std::string&)>& read,
                         const std::string& help) const {
  const auto readOrThrow = [name, read](const std::string& text) {
    const std::string fault = read(text);
    if (!fault.empty()) {
      throw CLI::ValidationError(name, fault);
    }
  };
  return Argument(app_->add_option_function<std::string>(name, readOrThrow, help));
}

Arguments Arguments::command(const std::string& name, const std::string& summary) const {
  return Arguments(app_->add_subcommand(name, summary));
}

void Arguments::takesOuterOptions() const {
  app_->fallthrough();
}

void Arguments::needsCommand(bool isOptional) const {
  app_->require_subcommand(isOptional ? 0 : 1, 1);
}

void Arguments::footer(const std::string& text) const {
  app_->footer(text);
}

void Arguments::refuse(const std::function<std::string()>& mistake) const {
  app_->callback([mistake] {
    const std::string text = mistake();
    if (!text.empty()) {
      throw CLI::ValidationError(text);
    }
  });
}

std::string Arguments::name() const {
  return app_->get_name();
}

namespace {

ArgumentWords wordsOf(const CLI::Option& option) {
  ArgumentWords words;
  for (const std::string& name : option.get_snames()) {
    words.names.push_back("-" + name);
  }
  for (const std::string& name : option.get_lnames()) {
    words.names.push_back("--" + name);
  }
  words.argument = words.names.empty() ? option.get_single_name() : "";
  words.value = option.get_type_name();
  words.takesValue = option.get_expected_max() != 0;
  return words;
}

CommandWords wordsOf(const CLI::App& app) {
  CommandWords words{app.get_name(), {}, {}};
  for (const CLI::Option* option : app.get_options()) {
    words.arguments.push_back(wordsOf(*option));
  }
  for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; })) {
    words.commands.push_back(wordsOf(*each));
  }
  return words;
}

// Help and version are parse errors to CLI11, too.
ParsedLine lineOf(const CLI::App& app, const CLI::ParseError& error) {
  ParsedLine line;
  if (error.get_exit_code() == 0) {
    std::ostringstream text;
    app.exit(error, text, text);
    return {ParsedLine::Kind::help, text.str(), false, {}};
  }
  return {ParsedLine::Kind::mistake, error.what(), error.get_name() == "RequiredError",
          app.remaining(true)};
}

template <typename... Words>
ParsedLine parsed(CLI::App& app, Words&&... words) try {
  app.parse(std::forward<Words>(words)...);
  return {};
} catch (const CLI::ParseError& error) {
  return lineOf(app, error);
}

}  // namespace

CommandLine::CommandLine(const std::string& summary, const std::string& program,
                         const std::string& version)
    : app_(std::make_unique<CLI::App>(summary, program)) {
  app_->set_version_flag("-V,--version", version);
}

CommandLine::~CommandLine() = default;
CommandLine::CommandLine(CommandLine&&) noexcept = default;
CommandLine& CommandLine::operator=(CommandLine&&) noexcept = default;

ParsedLine CommandLine::parse(int argc, const char* const* argv) const {
  return parsed(*app_, argc, argv);
}

ParsedLine CommandLine::parse(const std::vector<std::string>& words) const {
  return parsed(*app_, std::vector<std::string>(words.rbegin(), words.rend()));
}

std::vector<Arguments> CommandLine::given() const {
  std::vector<Arguments> commands{top()};
  for (std::vector<CLI::App*> inner = app_->get_subcommands(); !inner.empty();
       inner = inner.back()->get_subcommands()) {
    commands.emplace_back(inner.back());
  }
  return commands;
}

CommandWords CommandLine::words() const {
  return wordsOf(*app_);
}
