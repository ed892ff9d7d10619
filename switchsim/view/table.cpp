#include <time.h>

#include <algorithm>
#include <cstdio>

#include "cli/text.h"
#include "switchsim/view/view.h"

namespace switchsim {
namespace {

std::string cellText(uint32_t milliwatts) {
  return milliwatts == 0 ? "-" : wattsText(milliwatts);
}

std::string deviceText(const PortView& port) {
  return port.device.kind == DeviceKind::steady || port.deviceMw == 0 ? cellText(port.deviceMw)
                                                                      : kindName(port.device.kind);
}

std::string portLine(const PortView& port) {
  const char* mode = !port.poe ? "-" : port.adminOn ? "on" : "off";
  char line[128];
  snprintf(line, sizeof(line), "  %-8s  %5u  %-4s  %-10s  %8s  %8s\n", port.name.c_str(),
           port.ifNum, mode, stateName(port), cellText(port.powerMw).c_str(),
           deviceText(port).c_str());
  return line;
}

std::string tableHeading(const SwitchView& view, const UnitView& unit) {
  return view.budgetMw == 0 ? "Unit " + std::to_string(unit.unit) : unitText(view, unit);
}

std::string realTimeText(int64_t timeMs) {
  const time_t seconds = static_cast<time_t>(timeMs / 1000);
  struct tm fields = {};
  localtime_r(&seconds, &fields);
  char text[32];
  const size_t length = strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &fields);
  snprintf(text + length, sizeof(text) - length, ".%03d", static_cast<int>(timeMs % 1000));
  return text;
}

}  // namespace

const char* stateName(const PortView& port) {
  return !port.poe ? "no PoE" : kStatusNames[std::min<uint32_t>(port.status, kOff)];
}

const char* clockModeName(ClockMode mode) {
  static constexpr const char* kNames[] = {"follow", "frozen", "running", "fail"};
  return kNames[static_cast<uint32_t>(mode)];
}

std::string unitText(const SwitchView& view, const UnitView& unit) {
  const std::string text =
      "Unit " + std::to_string(unit.unit) + " delivers " + wattsText(unit.powerMw);
  return view.budgetMw == 0 ? text
                            : text + ", " + wattsText(unit.reservedMw) + " of " +
                                  wattsText(view.budgetMw) + " are reserved";
}

std::string abnormalText(const SwitchView& view) {
  std::string text;
  if (!view.serverUp) {
    text += "server: down\n";
  }
  if (view.clock.mode != ClockMode::follow) {
    text += std::string("clock:  ") + clockModeName(view.clock.mode) + " " + view.clock.time + "\n";
  }

  for (const Fault& fault : view.faults) {
    text += "fault:  " + faultText(fault) + "\n";
  }
  if (view.misuseCount > 0) {
    text += "misuse: " + std::to_string(view.misuseCount) + " calls, the last of ";
    text.append(view.lastMisuse).append("\n");
  }

  return text;
}

std::string tableText(const SwitchView& view) {
  std::string text;
  auto unit = view.units.begin();
  for (const PortView& port : view.ports) {
    if (unit != view.units.end() && port.place.unit == unit->unit) {
      text += (text.empty() ? "" : "\n") + tableHeading(view, *unit++) + "\n";
      text += "  Port      ifNum  Mode  State          Power    Device\n";
    }
    text += portLine(port);
  }
  const std::string abnormal = abnormalText(view);
  return abnormal.empty() ? text : text + "\n" + abnormal;
}

std::string faultText(const Fault& fault) {
  std::string text(operationName(fault.operation));
  if (fault.ifNum != 0) {
    text += ", ifNum " + std::to_string(fault.ifNum);
  }
  if (fault.delayMs != 0) {
    text += ", delayed by " + std::to_string(fault.delayMs) + " ms";
  }
  if (fault.result != 0) {
    text += ", result " + std::to_string(fault.result);
  }
  return text +
         (fault.times == 0 ? ", until cleared" : ", times left " + std::to_string(fault.times));
}

std::string journalHeading() {
  return "     seq  time                     operation                        unit  ifNum  value  "
         "result\n";
}

std::string journalLine(const JournalEntry& entry) {
  char line[160];
  snprintf(line, sizeof(line), "%8llu  %s  %-31s  %4d  %5u  %5u  %6d\n",
           static_cast<unsigned long long>(entry.seq), realTimeText(entry.timeMs).c_str(),
           std::string(entry.op).c_str(), entry.unit, entry.ifNum, entry.value, entry.result);
  return line;
}

}  // namespace switchsim
