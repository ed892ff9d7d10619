#include "switchsim/switch/port_place.h"

#include <cctype>
#include <cstdlib>

namespace switchsim {
namespace {

constexpr unsigned long kMaxUnit = 255;
constexpr unsigned long kMaxSlot = 255;
constexpr unsigned long kMaxNumber = 65535;

bool isDigit(char letter) {
  return isdigit(static_cast<unsigned char>(letter)) != 0;
}

// Reads decimal digits without a zero too many.
std::optional<unsigned long> takeNumber(const char** at) {
  if (!isDigit(**at) || (**at == '0' && isDigit((*at)[1]))) {
    return std::nullopt;
  }
  char* end = nullptr;
  const unsigned long number = strtoul(*at, &end, 10);
  *at = end;
  return number;
}

struct Numbers {
  unsigned long numbers[3];
  size_t count;
};

// One to three numbers with slashes between them, and nothing else.
std::optional<Numbers> readNumbers(const char* at) {
  Numbers read{};
  for (;; at++) {
    const std::optional<unsigned long> number = takeNumber(&at);
    if (!number || read.count == 3) {
      return std::nullopt;
    }
    read.numbers[read.count++] = *number;
    if (*at != '/') {
      return *at == '\0' ? std::make_optional(read) : std::nullopt;
    }
  }
}

}  // namespace

bool operator==(const PortPlace& a, const PortPlace& b) {
  return a.unit == b.unit && a.slot == b.slot && a.number == b.number;
}

std::string nameOf(const PortPlace& place) {
  const std::string slotPort = std::to_string(place.slot) + "/" + std::to_string(place.number);
  return place.form == NameForm::slotPort ? slotPort : std::to_string(place.unit) + "/" + slotPort;
}

// Without memory of its own: clients ask for names inside calls that must not fail for want of it.
std::optional<PortPlace> placeNamed(const char* name) {
  const std::optional<Numbers> read = readNumbers(name);
  if (!read || read->count < 2) {
    return std::nullopt;
  }

  const auto& [numbers, count] = *read;
  const bool hasUnit = count == 3;
  const unsigned long unit = hasUnit ? numbers[0] : 1;
  const unsigned long slot = numbers[count - 2];
  const unsigned long number = numbers[count - 1];
  if (unit > kMaxUnit || slot > kMaxSlot || number > kMaxNumber) {
    return std::nullopt;
  }
  return PortPlace{static_cast<uint32_t>(unit), static_cast<uint32_t>(slot),
                   static_cast<uint32_t>(number),
                   hasUnit ? NameForm::unitSlotPort : NameForm::slotPort};
}

}  // namespace switchsim
