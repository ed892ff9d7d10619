#include "cli/json.h"

#include "switchsim/view/view.h"

namespace switchsim {
namespace {

// Text that may be empty and is text still.
JsonPtr textOf(std::string_view text) {
  return jsonText(std::string(text).c_str());
}

JsonPtr portJson(const PortView& port) {
  return jsonObject({{"name", port.name},
                     {"ifNum", port.ifNum},
                     {"poe", port.poe},
                     {"adminMode", port.adminOn ? 1 : 0},
                     {"state", stateName(port)},
                     {"detectionStatus", port.status},
                     {"powerMw", port.powerMw},
                     {"currentMa", port.currentMa},
                     {"voltageMv", port.voltageMv},
                     {"temperature", port.temperature},
                     {"class", port.powerClass},
                     {"device", kindName(port.device.kind)},
                     {"deviceWatts", port.deviceMw / 1000.0},
                     {"starting", port.isStarting},
                     {"held", port.isHeld},
                     {"priority", port.settings.priority},
                     {"limitMw", port.settings.limitMw}});
}

JsonPtr entryJson(const JournalEntry& entry) {
  return jsonObject({{"seq", entry.seq},
                     {"timeMs", entry.timeMs},
                     {"monoMs", entry.monoMs},
                     {"op", std::string(entry.op)},
                     {"unit", entry.unit},
                     {"ifNum", entry.ifNum},
                     {"value", entry.value},
                     {"result", entry.result}});
}

JsonPtr unitJson(const SwitchView& view, const UnitView& unit) {
  const auto budgetMw = view.budgetMw != 0 ? std::make_optional(view.budgetMw) : std::nullopt;
  std::vector<JsonPtr> ports;
  for (const PortView& port : view.ports) {
    if (port.place.unit == unit.unit) {
      ports.push_back(portJson(port));
    }
  }
  return jsonObject({{"unit", unit.unit},
                     {"powerMw", unit.powerMw},
                     {"reservedMw", unit.reservedMw},
                     {"budgetMw", budgetMw},
                     {"ports", jsonArrayOf(std::move(ports))}});
}

JsonPtr faultJson(const Fault& fault) {
  return jsonObject({{"operation", std::string(operationName(fault.operation))},
                     {"ifNum", fault.ifNum},
                     {"result", fault.result},
                     {"delayMs", fault.delayMs},
                     {"times", fault.times}});
}

}  // namespace

std::string viewJson(const SwitchView& view, bool compact) {
  const auto ofUnit = [&view](const UnitView& unit) { return unitJson(view, unit); };
  return printedJson(jsonObject({{"units", jsonArray(view.units, ofUnit)},
                                 {"server", view.serverUp ? "up" : "down"},
                                 {"clock", jsonObject({{"mode", clockModeName(view.clock.mode)},
                                                       {"time", textOf(view.clock.time)}})},
                                 {"faults", view.faults.size()},
                                 {"faultList", jsonArray(view.faults, faultJson)},
                                 {"misuse", view.misuseCount},
                                 {"lastMisuse", textOf(view.lastMisuse)},
                                 {"lastClient", textOf(view.lastClientName)}}),
                     compact ? JsonForm::oneLine : JsonForm::indented);
}

std::string journalEntryJson(const JournalEntry& entry) {
  return printedJson(entryJson(entry));
}

std::string journalJson(const std::vector<JournalEntry>& entries) {
  return printedJson(jsonObject({{"entries", jsonArray(entries, entryJson)}}), JsonForm::indented);
}

}  // namespace switchsim
