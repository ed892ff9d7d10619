#include "switchsim/view/ports_file.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <cmath>

#include "base/json.h"
#include "cli/failure.h"
#include "cli/files.h"
#include "cli/json_text.h"
#include "cli/text.h"
#include "switchsim/view/view.h"

namespace switchsim {
namespace {

constexpr uint32_t kModestDeviceMw = 2000;
constexpr uint32_t kMaxDeviceMw = 90000;
constexpr uint32_t kNoSlot = UINT32_MAX;  // of a port that is not named yet

[[noreturn]] void refuse(const std::string& why) {
  throw Failure(kExitUsage, why);
}

// A port of the document, and what it is called in messages.
struct Source {
  const cJSON* object;
  std::string where;

  [[noreturn]] void refuse(const std::string& why) const { switchsim::refuse(where + ": " + why); }

  // None where it is missing or null.
  std::optional<uint32_t> number(const char* key, uint32_t atLeast, uint32_t atMost) const {
    const cJSON* member = jsonMember(object, key);
    if (member == nullptr || cJSON_IsNull(member)) {
      return std::nullopt;
    }
    const double value = cJSON_IsNumber(member) ? member->valuedouble : -1;
    if (!(value >= atLeast && value <= atMost) || value != std::floor(value)) {
      refuse(std::string(key) + " is no whole number from " + std::to_string(atLeast) + " to " +
             std::to_string(atMost));
    }
    return static_cast<uint32_t>(value);
  }
  uint32_t neededNumber(const char* key, uint32_t atMost) const {
    const std::optional<uint32_t> value = number(key, 1, atMost);
    if (!value) {
      refuse("it has no " + std::string(key));
    }
    return *value;
  }
  std::optional<std::string> text(const char* key) const {
    const cJSON* member = jsonMember(object, key);
    if (member == nullptr || cJSON_IsNull(member)) {
      return std::nullopt;
    }
    if (!cJSON_IsString(member)) {
      refuse(std::string(key) + " is no text");
    }
    return member->valuestring;
  }
  // Which of the words the text is.
  template <size_t N>
  std::optional<uint32_t> word(const char* key, const char* const (&words)[N]) const {
    const std::optional<std::string> given = text(key);
    const auto found = std::find(std::begin(words), std::end(words), given.value_or(""));
    if (given && found == std::end(words)) {
      refuse(std::string(key) + " is " + inQuotes(*given) + ", which is not known");
    }
    return given ? std::make_optional(static_cast<uint32_t>(found - words)) : std::nullopt;
  }
};

// On kNoSlot where there is no name.
PortPlace readPlace(const Source& source) {
  const uint32_t unit = source.neededNumber("unit", kMaxUnits);
  const std::optional<std::string> name = source.text("name");
  if (!name) {
    return {unit, kNoSlot, 0, NameForm::unitSlotPort};
  }
  const std::optional<PortPlace> place = placeNamed(name->c_str());
  if (!place) {
    source.refuse(inQuotes(*name) + " is no name of a port, such as 1/0/5 or 0/5");
  }
  if (place->unit != unit) {
    source.refuse(*name + " is not on unit " + std::to_string(unit));
  }
  return *place;
}

// What is attached, as far as it can be told from a port of this status.
Device deviceFor(const PortRecord& port, uint32_t status, uint32_t powerMw) {
  if (status == kDelivering && powerMw > 0) {
    return steadyDevice(powerMw);
  }
  const bool isEmpty = port.adminOn != 0 && status == kSearching;
  return steadyDevice(isEmpty ? 0 : std::min(kModestDeviceMw, port.settings.limitMw));
}

// A port that delivers more than its limit shows that the switch does not hold it to that.
void readState(const Source& source, PortRecord* port) {
  static constexpr const char* kModes[] = {"disable", "enable"};
  const uint32_t status = source.word("detectionStatus", kStatusNames).value_or(kDelivering);
  const uint32_t powerMw = source.number("powerMw", 0, kMaxDeviceMw).value_or(0);
  const uint32_t limitMw = source.number("powerLimitMw", 0, UINT32_MAX).value_or(0);

  port->adminOn = source.word("adminMode", kModes).value_or(status == kDisabled ? 0 : 1);
  port->settings.priority = source.word("priority", kPriorityNames).value_or(0) + 1;
  port->settings.limitMw = std::max(limitMw == 0 ? port->settings.limitMw : limitMw, powerMw);
  port->device = deviceFor(*port, status, powerMw);
  if (port->adminOn != 0 && (status == kFault || status == kDenied || status == kOff)) {
    port->statusHeld = 1;
    port->heldStatus = status;
  }
}

PortRecord readPort(const Source& source) {
  PortRecord port{};
  port.poe = 1;
  port.ifNum = source.neededNumber("ifNum", UINT32_MAX);
  port.place = readPlace(source);
  readState(source, &port);
  return port;
}

void refuseTwins(const std::vector<PortRecord>& ports, const PortRecord& port,
                 const Source& source) {
  for (const PortRecord& other : ports) {
    if (other.ifNum == port.ifNum) {
      source.refuse("there is a port with the ifNum " + std::to_string(port.ifNum) + " already");
    }
    if (port.place.slot != kNoSlot && other.place == port.place) {
      source.refuse("there is a port " + nameOf(other.place) + " already");
    }
  }
}

void nameRest(std::vector<PortRecord>* ports) {
  for (PortRecord& port : *ports) {
    if (port.place.slot == kNoSlot) {
      PortPlace free{port.place.unit, 0, 1, NameForm::unitSlotPort};
      const auto isTaken = [&free](const PortRecord& other) { return other.place == free; };
      while (std::any_of(ports->begin(), ports->end(), isTaken)) {
        free.number++;
      }
      port.place = free;
    }
  }
}

}  // namespace

std::vector<PortRecord> portsOfDocument(const cJSON* document) {
  const cJSON* array = jsonMember(document, "ports");
  if (!cJSON_IsArray(array)) {
    refuse("there is no array \"ports\", as `quorin_poectl ports --json` prints it");
  }

  std::vector<PortRecord> ports;
  uint32_t onUnit[kMaxUnits + 1] = {};
  const cJSON* object = nullptr;
  cJSON_ArrayForEach(object, array) {
    const Source source{object, "ports[" + std::to_string(ports.size()) + "]"};
    const PortRecord port = readPort(source);
    refuseTwins(ports, port, source);
    if (++onUnit[port.place.unit] > kMaxPortsPerUnit) {
      source.refuse("a unit has no more than " + std::to_string(kMaxPortsPerUnit) + " ports");
    }
    ports.push_back(port);
  }
  if (ports.empty()) {
    refuse("\"ports\" is empty");
  }

  nameRest(&ports);
  std::stable_sort(ports.begin(), ports.end(), [](const PortRecord& a, const PortRecord& b) {
    return a.place.unit < b.place.unit;
  });
  return ports;
}

std::vector<PortRecord> readPortsFile(const std::string& path) {
  const JsonPtr document = parsedText(readWholeFile(path), path);
  try {
    return portsOfDocument(document.get());
  } catch (const Failure& failure) {
    throw failure.retold(pathText(path) + ": " + failure.what());
  }
}

}  // namespace switchsim
