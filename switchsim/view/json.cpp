#include <cjson/cJSON.h>

#include <memory>
#include <new>

#include "switchsim/view/view.h"

namespace switchsim {
namespace {

struct JsonDelete {
  void operator()(cJSON* tree) const { cJSON_Delete(tree); }
};
using JsonTree = std::unique_ptr<cJSON, JsonDelete>;

std::string jsonText(const JsonTree& tree, bool compact) {
  const std::unique_ptr<char, void (*)(void*)> text(
      compact ? cJSON_PrintUnformatted(tree.get()) : cJSON_Print(tree.get()), cJSON_free);
  if (text == nullptr) {
    throw std::bad_alloc();
  }
  return std::string(text.get()) + "\n";
}

JsonTree portTree(const PortView& port) {
  JsonTree json(cJSON_CreateObject());
  cJSON_AddStringToObject(json.get(), "name", port.name.c_str());
  cJSON_AddNumberToObject(json.get(), "ifNum", port.ifNum);
  cJSON_AddBoolToObject(json.get(), "poe", port.poe);
  cJSON_AddNumberToObject(json.get(), "adminMode", port.adminOn ? 1 : 0);
  cJSON_AddStringToObject(json.get(), "state", stateName(port));
  cJSON_AddNumberToObject(json.get(), "detectionStatus", port.status);
  cJSON_AddNumberToObject(json.get(), "powerMw", port.powerMw);
  cJSON_AddNumberToObject(json.get(), "currentMa", port.currentMa);
  cJSON_AddNumberToObject(json.get(), "voltageMv", port.voltageMv);
  cJSON_AddNumberToObject(json.get(), "temperature", port.temperature);
  cJSON_AddNumberToObject(json.get(), "class", port.powerClass);
  cJSON_AddStringToObject(json.get(), "device", kindName(port.device.kind));
  cJSON_AddNumberToObject(json.get(), "deviceWatts", port.deviceMw / 1000.0);
  cJSON_AddBoolToObject(json.get(), "starting", port.isStarting);
  cJSON_AddBoolToObject(json.get(), "held", port.isHeld);
  cJSON_AddNumberToObject(json.get(), "priority", port.settings.priority);
  cJSON_AddNumberToObject(json.get(), "limitMw", port.settings.limitMw);
  return json;
}

JsonTree entryTree(const JournalEntry& entry) {
  JsonTree json(cJSON_CreateObject());
  cJSON_AddNumberToObject(json.get(), "seq", static_cast<double>(entry.seq));
  cJSON_AddNumberToObject(json.get(), "timeMs", static_cast<double>(entry.timeMs));
  cJSON_AddNumberToObject(json.get(), "monoMs", static_cast<double>(entry.monoMs));
  cJSON_AddStringToObject(json.get(), "op", std::string(entry.op).c_str());
  cJSON_AddNumberToObject(json.get(), "unit", entry.unit);
  cJSON_AddNumberToObject(json.get(), "ifNum", entry.ifNum);
  cJSON_AddNumberToObject(json.get(), "value", entry.value);
  cJSON_AddNumberToObject(json.get(), "result", entry.result);
  return json;
}

JsonTree unitTree(const SwitchView& view, const UnitView& unit) {
  JsonTree json(cJSON_CreateObject());
  cJSON_AddNumberToObject(json.get(), "unit", unit.unit);
  cJSON_AddNumberToObject(json.get(), "powerMw", unit.powerMw);
  cJSON_AddNumberToObject(json.get(), "reservedMw", unit.reservedMw);
  if (view.budgetMw == 0) {
    cJSON_AddNullToObject(json.get(), "budgetMw");
  } else {
    cJSON_AddNumberToObject(json.get(), "budgetMw", view.budgetMw);
  }
  return json;
}

void addUnits(const SwitchView& view, cJSON* root) {
  cJSON* units = cJSON_AddArrayToObject(root, "units");
  cJSON* ports = nullptr;
  auto nextUnit = view.units.begin();
  for (const PortView& port : view.ports) {
    if (nextUnit != view.units.end() && nextUnit->unit == port.place.unit) {
      JsonTree unit = unitTree(view, *nextUnit++);
      ports = cJSON_AddArrayToObject(unit.get(), "ports");
      cJSON_AddItemToArray(units, unit.release());
    }
    cJSON_AddItemToArray(ports, portTree(port).release());
  }
}

void addFaults(const SwitchView& view, cJSON* root) {
  cJSON* list = cJSON_AddArrayToObject(root, "faultList");
  for (const Fault& fault : view.faults) {
    JsonTree json(cJSON_CreateObject());
    cJSON_AddStringToObject(json.get(), "operation",
                            std::string(operationName(fault.operation)).c_str());
    cJSON_AddNumberToObject(json.get(), "ifNum", fault.ifNum);
    cJSON_AddNumberToObject(json.get(), "result", fault.result);
    cJSON_AddNumberToObject(json.get(), "delayMs", fault.delayMs);
    cJSON_AddNumberToObject(json.get(), "times", fault.times);
    cJSON_AddItemToArray(list, json.release());
  }
}

}  // namespace

std::string viewJson(const SwitchView& view, bool compact) {
  const JsonTree root(cJSON_CreateObject());
  addUnits(view, root.get());
  cJSON_AddStringToObject(root.get(), "server", view.serverUp ? "up" : "down");
  cJSON* clock = cJSON_AddObjectToObject(root.get(), "clock");
  cJSON_AddStringToObject(clock, "mode", clockModeName(view.clock.mode));
  cJSON_AddStringToObject(clock, "time", view.clock.time.c_str());
  cJSON_AddNumberToObject(root.get(), "faults", static_cast<double>(view.faults.size()));
  addFaults(view, root.get());
  cJSON_AddNumberToObject(root.get(), "misuse", static_cast<double>(view.misuseCount));
  cJSON_AddStringToObject(root.get(), "lastMisuse", std::string(view.lastMisuse).c_str());
  cJSON_AddStringToObject(root.get(), "lastClient", view.lastClientName.c_str());
  return jsonText(root, compact);
}

std::string journalEntryJson(const JournalEntry& entry) {
  return jsonText(entryTree(entry), true);
}

std::string journalJson(const std::vector<JournalEntry>& entries) {
  const JsonTree root(cJSON_CreateObject());
  cJSON* array = cJSON_AddArrayToObject(root.get(), "entries");
  for (const JournalEntry& entry : entries) {
    cJSON_AddItemToArray(array, entryTree(entry).release());
  }
  return jsonText(root, false);
}

}  // namespace switchsim
