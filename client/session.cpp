#include "client/session.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "cli/failure.h"
#include "cli/lab_clock.h"
#include "cli/text.h"

namespace {

constexpr int64_t kMaxClockDifferenceSec = 120;
constexpr int32_t kSecPerMin = 60;

std::vector<PortLine> readPortFile(const std::string& path, const Output& output) {
  std::ifstream file(path);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  std::vector<std::string> faults;
  std::vector<PortLine> lines = parsePortLines(text, &faults);
  for (const std::string& fault : faults) {
    output.warn(escaped(path) + ", " + fault);
  }
  return lines;
}

}  // namespace

Session::Session(const Options& options, Daemon& daemon, const Output& output)
    : options_(options),
      daemon_(daemon),
      output_(output),
      zone_(Zone::ofProcess()),
      shownZone_(options.utc ? Zone("UTC") : Zone::ofProcess()) {}

void Session::print(const std::function<std::string()>& text,
                    const std::function<JsonPtr()>& document) const {
  options_.json ? output_.printJson(document()) : output_.print(text());
  output_.flush();
}

void Session::refuseJson(const char* command) const {
  if (options_.json) {
    throw Failure(kExitUsage, std::string(command) + " prints no JSON: leave out --json");
  }
}

SwitchLibrary* Session::library() {
  if (!isOpened_ && options_.useSwitchLibrary) {
    library_ = SwitchLibrary::open(options_.timeoutMs);
  }
  isOpened_ = true;
  return library_.get();
}

const PortNames& Session::names() {
  if (names_ == nullptr) {
    std::function<std::string(uint32_t)> ask;
    if (SwitchLibrary* switchLibrary = library()) {
      ask = [this, switchLibrary](uint32_t ifNum) {
        std::string name = switchLibrary->nameOf(ifNum);
        warnIfSilent();
        return name;
      };
    }
    names_ =
        std::make_unique<PortNames>(std::move(ask), readPortFile(options_.portFilePath, output_));
  }
  return *names_;
}

std::vector<int32_t> Session::units() {
  if (options_.unit && !std::exchange(isUnitChecked_, true)) {
    requireUnit();
  }
  if (options_.unit) {
    return {*options_.unit};
  }
  std::vector<int32_t> all;
  for (int32_t unit = 1; unit <= kMaxUnits; ++unit) {
    all.push_back(unit);
  }
  return all;
}

std::vector<SensorPort> Session::freshSensors() {
  return ofUnits(units(), [this](int32_t unit) { return askSensors(daemon_, unit); });
}

const std::vector<SensorPort>& Session::sensors() {
  if (!sensors_) {
    sensors_ = freshSensors();
  }
  return *sensors_;
}

std::vector<PoePort> Session::portsNamed(const std::vector<std::string>& words) {
  const std::vector<PoePort> all = poePorts();
  if (options_.unit && all.empty()) {
    throw Failure(kExitNoSuch, "unit " + std::to_string(*options_.unit) +
                                   " has no PoE ports, or is not there. See: quorin_poectl ports");
  }
  return names().parse(words, all);
}

std::vector<Schedule> Session::schedules() {
  return ofUnits(units(), [this](int32_t unit) { return askSchedules(daemon_, unit); });
}

void Session::requireUnit() try {
  if (!sensors().empty() || !schedules().empty() ||
      askRunPage(daemon_, *options_.unit, 1, 1).total > 0) {
    return;
  }
  throw Failure(kExitNoSuch, "unit " + std::to_string(*options_.unit) +
                                 " has no PoE ports, or is not there. See: quorin_poectl ports");
} catch (const DaemonError&) {  // the switch does not answer the daemon: nothing is known
}

std::optional<SwitchClock> Session::switchClock() {
  SwitchLibrary* switchLibrary = library();
  (void)zone_.at(0);  // the library may go by TZ, which another zone has been in
  return switchLibrary != nullptr ? switchLibrary->clock() : std::nullopt;
}

SwitchTime Session::now() {
  const std::optional<SwitchClock> clock = switchClock();
  warnIfSilent();
  if (!clock) {
    return SwitchTime(systemNow());
  }
  const std::string trouble = troubleOf(*clock);
  if (!trouble.empty() && !std::exchange(isClockChecked_, true)) {
    output_.warn(trouble);
  }
  return SwitchTime(zone_.instantNear(clock->local, systemNow()));
}

std::string Session::clockTrouble() {
  const std::optional<SwitchClock> clock = switchClock();
  return clock ? troubleOf(*clock) : library() ? "the switch does not tell its time" : "";
}

void Session::warnIfSilent() {
  if (library_ != nullptr && library_->isSilent() && !std::exchange(isSilenceTold_, true)) {
    output_.warn("the switch OS does not answer: names and time are what this system knows.");
  }
}

std::string Session::troubleOf(const SwitchClock& clock) {
  const SystemTime here = systemNow();
  const int64_t difference = zone_.instantNear(clock.local, here) - here;
  const auto offsetMin = static_cast<int32_t>(zone_.at(here).tm_gmtoff / kSecPerMin);
  if (std::abs(difference) > kMaxClockDifferenceSec) {
    return "the switch's clock says " + momentText(here + difference, zone_) +
           ", this system's says " + momentText(here, zone_) +
           ": schedules go by the switch's clock. Is TZ the switch's zone?";
  }
  if (clock.zoneOffsetMin != offsetMin) {
    return "the switch's zone is " + std::to_string(clock.zoneOffsetMin) +
           " min from UTC, TZ's is " + std::to_string(offsetMin) +
           " min: set TZ to the switch's zone.";
  }
  return "";
}

View Session::view() {
  return {names(),         SwitchNow([this] { return now(); }),
          systemNow(),     zone_,
          shownZone_,      options_.utc,
          output_.screen()};
}

void requireMovingClock() {
  if (!labFolder().empty() && systemSpeed() == 0) {
    throw Failure(kExitTimedOut,
                  "the lab stands, and the ports with it: switchsim lab at TIME, or switchsim lab "
                  "speed 1");
  }
}
