// The electrical readings of one PoE port.
#ifndef QUORIN_POE_POE_READINGS_H
#define QUORIN_POE_POE_READINGS_H

#include <cstdint>

struct PoeReadings {
  uint32_t powerMw = 0;
  uint32_t currentMa = 0;
  uint32_t voltageMv = 0;
  uint32_t temperature = 0;  // degrees Celsius; 0 when the switch gives none
};

// Reads a port's sensors. False when the switch OS refuses, which is how it tells that this is no
// PoE port of the unit.
bool poeReadingsGet(int32_t unit, uint32_t ifNum, PoeReadings* readings);

#endif
