// Any text as what people hand to the tools. Its first character says as what: e an export, p the
// ports of another switch, s a scenario, t times and durations. What is read without a fault is
// read the same again from what is written of it, and what is said of a fault is fit for a
// terminal.
#include <set>
#include <string>

#include "api/site_document.h"
#include "cli/json.h"
#include "cli/json_text.h"
#include "cli/text.h"
#include "cli/times.h"
#include "fuzz/require.h"
#include "switchsim/scenario/scenario.h"
#include "switchsim/view/ports_file.h"

namespace {

constexpr uint32_t kPorts = 48;  // of two units
constexpr int64_t kTuesday = 1772543232;
constexpr int64_t kDaySec = int64_t{24} * 3600;

void requireShowable(const std::string& text) {
  for (const std::string& line : splitAt(text, '\n')) {
    require(escaped(line) == line, "a message that a terminal would obey");
  }
}

std::vector<PoePort> allPorts() {
  std::vector<PoePort> ports;
  for (uint32_t ifNum = 1; ifNum <= kPorts; ++ifNum) {
    ports.push_back({ifNum <= kPorts / 2 ? 1 : 2, ifNum});
  }
  return ports;
}

const PortNames& portNames() {
  static const PortNames kNames(
      [](uint32_t ifNum) {
        const bool isFirst = ifNum <= kPorts / 2;
        return (isFirst ? "1/0/" : "2/0/") + std::to_string(isFirst ? ifNum : ifNum - kPorts / 2);
      },
      {{3, "", "door"}, {30, "", "door 2"}});
  return kNames;
}

SiteFile readSite(const std::string& text, std::vector<SiteFault>* faults) {
  const auto portsOf = [](const std::string& words) {
    return portNames().parse({words}, allPorts());
  };
  return readSiteFile(text, {"file", portsOf, {}}, faults);
}

std::string written(const SiteConfig& config) {
  return printedJson(siteDocument(config, ScheduleMembers::all, portNames(), allPorts()));
}

void readExport(const std::string& text) {
  std::vector<SiteFault> faults;
  const SiteFile file = readSite(text, &faults);
  for (const SiteFault& fault : faults) {
    requireShowable(fault.text);
  }
  if (faults.empty()) {
    const std::string first = written(file.config);
    const std::string second = written(readSite(first, &faults).config);
    require(faults.empty(), "an export of what was read is refused");
    require(first == second, "an export of what was read reads as something else");
  }
}

void readPorts(const std::string& text) {
  std::set<uint32_t> ifNums;
  for (const switchsim::PortRecord& port :
       switchsim::portsOfDocument(parsedText(text, "file").get())) {
    require(ifNums.insert(port.ifNum).second, "two ports of one ifNum");
    require(port.place.unit >= 1 && port.place.unit <= switchsim::kMaxUnits, "no such unit");
  }
}

void readScenario(const std::string& text) {
  const auto readNothing = [](const std::vector<std::string>& words) {
    require(!words.empty(), "an event without words");
    return switchsim::EventAction();
  };
  const switchsim::Scenario scenario = switchsim::readScenario(text, readNothing);
  for (const switchsim::Mistake& mistake : scenario.mistakes) {
    requireShowable(mistake.what);
  }
  size_t last = 0;
  for (const switchsim::Event& event : scenario.events) {
    require(event.line > last, "events out of their order");
    require(event.afterMs >= 0 && event.atSec.value_or(0) < kDaySec, "a time that is none");
    last = event.line;
  }
}

void readTimes(const std::string& text) {
  require(parseDurationMs(text).value_or(0) >= 0, "a duration below nothing");
  (void)durationText(parseDurationMs(text).value_or(0));
  const Zone zone("Europe/Berlin");
  for (const Toward toward : {Toward::past, Toward::future}) {
    if (const auto instant = parseMoment(text, kTuesday, zone, toward)) {
      (void)nearText(*instant, kTuesday, zone);
      // Before, local times had offsets of seconds, which are not written.
      const bool isExact = *instant >= 0;
      require(!isExact || parseMoment(rfc3339(*instant, zone), kTuesday, zone) == instant,
              "a time that is read as another when it was written");
    }
  }
}

void read(char as, const std::string& text) {
  switch (as) {
    case 'e':
      return readExport(text);
    case 'p':
      return readPorts(text);
    case 's':
      return readScenario(text);
    case 't':
      return readTimes(text);
    default:
      return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  try {
    read(input.empty() ? '\0' : input[0], input.substr(input.empty() ? 0 : 1));
  } catch (const Failure& failure) {
    requireShowable(failure.what());
  }
  return 0;
}
