#include "poe/sensors.h"

#include <cjson/cJSON.h>

#include <cstdio>

#include "base/result_codes.h"
#include "base/thread_annotations.h"
#include "poe/poe_readings.h"
#include "poe/port_enumeration.h"
#include "switchos/session.h"

namespace {

constexpr int32_t kNoPowerUpMode = -1;

// Serialises whole builds: each makes ten calls to the switch OS for every PoE port.
Mutex sensorsLock;

// The string of a code, where texts holds those from firstCode on; null for any other code.
template <size_t N>
const char* textOf(const char* const (&texts)[N], int64_t code, int64_t firstCode) {
  const int64_t index = code - firstCode;
  return index >= 0 && index < static_cast<int64_t>(N) ? texts[index] : nullptr;
}

const char* detectionStatusText(uint32_t code) {
  constexpr const char* kTexts[] = {"disabled", "searching", "delivering", "fault", "denied"};
  const char* text = textOf(kTexts, code, 0);
  return text != nullptr ? text : "off";
}

const char* priorityText(uint32_t code) {
  constexpr const char* kTexts[] = {"low", "medium", "high", "critical"};
  return textOf(kTexts, code, 1);
}

const char* detectionTypeText(uint32_t code) {
  constexpr const char* kTexts[] = {"legacy",         "4pt_dot3af", "4pt_dot3af_leg", "2pt_dot3af",
                                    "2pt_dot3af_leg", "none",       "dot3bt",         "dot3bt_leg"};
  return textOf(kTexts, code, 1);
}

const char* powerUpModeText(int32_t code) {
  constexpr const char* kTexts[] = {"802.3af", "high_inrush", "pre_802.3at", "802.3at",
                                    "upoe",    "pre_802.3bt", "type3",       "802.3bt"};
  return textOf(kTexts, code, 0);
}

const char* violationTypeText(uint32_t code) {
  constexpr const char* kTexts[] = {"dot3af", "user", "none"};
  return textOf(kTexts, code, 1);
}

struct PortQuery {
  int32_t unit;
  uint32_t ifNum;
};

// One member each, in the order of the calls. A getter that fails leaves its member out.
void addAdminMode(JsonObject& port, PortQuery query) {
  uint32_t mode = 0;
  if (rpcclt_openapiPoePsePortAdminEnableGet(&openApiClient, query.ifNum, &mode) == OPENCLT_OK) {
    port.text("adminMode", mode == OPENCLT_ADMIN_ENABLE ? "enable" : "disable");
  }
}

void addPowerClass(JsonObject& port, PortQuery query) {
  uint32_t powerClass = 0;
  const int32_t rc = rpcclt_openapiPoePsePortPowerClassificationsGet(&openApiClient, query.unit,
                                                                     query.ifNum, &powerClass);
  if (rc == OPENCLT_OK) {
    char text[16];
    snprintf(text, sizeof text, "%u", static_cast<unsigned>(powerClass));
    port.text("powerClass", text);
  }
}

void addPowerLimit(JsonObject& port, PortQuery query) {
  uint32_t limitMw = 0;
  const int32_t rc =
      rpcclt_openapiPoePsePortCurPowerLimitGet(&openApiClient, query.unit, query.ifNum, &limitMw);
  if (rc == OPENCLT_OK) {
    port.number("powerLimitMw", limitMw);
  }
}

void addKnownText(JsonObject& port, const char* key, const char* textOrNull) {
  if (textOrNull != nullptr) {
    port.text(key, textOrNull);
  }
}

using UnsignedGetter = int32_t (*)(OpenClientHandle*, int32_t, uint32_t, uint32_t*);

// A setting whose code has a string.
void addCodeText(JsonObject& port, PortQuery query, const char* key, UnsignedGetter get,
                 const char* (*text)(uint32_t)) {
  uint32_t code = 0;
  if (get(&openApiClient, query.unit, query.ifNum, &code) == OPENCLT_OK) {
    addKnownText(port, key, text(code));
  }
}

void addPowerUpMode(JsonObject& port, PortQuery query) {
  int32_t mode = kNoPowerUpMode;
  if (rpcclt_openapiPoePsePortPowerUpModeGet(&openApiClient, query.unit, query.ifNum, &mode) ==
      OPENCLT_OK) {
    addKnownText(port, "powerUpMode", powerUpModeText(mode));
  }
}

// The object of a port, or null when memory runs out.
JsonPtr portToJson(PortQuery query, const PoeReadings& readings) {
  JsonObject port;
  port.number("ifNum", query.ifNum)
      .number("powerMw", readings.powerMw)
      .number("currentMa", readings.currentMa)
      .number("voltageMv", readings.voltageMv)
      .number("temperature", readings.temperature);

  addAdminMode(port, query);
  addCodeText(port, query, "detectionStatus", rpcclt_openapiPoePsePortDetectionStatusGet,
              detectionStatusText);
  addPowerClass(port, query);
  addCodeText(port, query, "priority", rpcclt_openapiPoePsePortCurPowerPriorityGet, priorityText);
  addPowerLimit(port, query);
  addCodeText(port, query, "detectionType", rpcclt_openapiPoePsePortDetectionModeGet,
              detectionTypeText);
  addPowerUpMode(port, query);
  addCodeText(port, query, "violationType", rpcclt_openapiPoePsePortViolationTypeGet,
              violationTypeText);
  return port.take();
}

struct SensorsBuild {
  int32_t unit;
  cJSON* ports;  // borrowed from the document
  bool outOfMemory;
};

int32_t appendPort(uint32_t ifNum, void* argument) {
  auto* build = static_cast<SensorsBuild*>(argument);
  PoeReadings readings;
  if (build->outOfMemory || !poeReadingsGet(build->unit, ifNum, &readings)) {
    return 0;
  }
  build->outOfMemory = !jsonAppend(build->ports, portToJson({build->unit, ifNum}, readings));
  return 0;
}

}  // namespace

int32_t sensorsAll(uint32_t unit, JsonPtr* document) {
  if (document == nullptr) {
    return ERR_INVALID_ARG;
  }

  const MutexLock lock(sensorsLock);
  JsonPtr built(cJSON_CreateObject());
  cJSON* ports = built != nullptr ? cJSON_AddArrayToObject(built.get(), "ports") : nullptr;
  if (ports == nullptr) {
    return ERR_GENERAL;
  }

  SensorsBuild build{static_cast<int32_t>(unit), ports, false};
  forEachPhysicalIntf(build.unit, appendPort, &build);
  if (build.outOfMemory) {
    return ERR_GENERAL;
  }

  *document = std::move(built);
  return RESULT_OK;
}
