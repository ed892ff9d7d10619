#include "poe/poe_readings.h"

#include "switchos/session.h"

bool poeReadingsGet(int32_t unit, uint32_t ifNum, PoeReadings* readings) {
  *readings = PoeReadings{};
  return rpcclt_openapiPoePsePortSensorsGet(&openApiClient, unit, ifNum, &readings->powerMw,
                                            &readings->currentMa, &readings->voltageMv,
                                            &readings->temperature) == OPENCLT_OK;
}
