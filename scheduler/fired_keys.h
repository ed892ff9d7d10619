// Which occurrences fired last, so that a minute that is seen twice fires once, and an all-day
// schedule once a day: as long as no more than kFiredKeys others have fired since. In memory only.
#ifndef QUORIN_SCHEDULER_FIRED_KEYS_H
#define QUORIN_SCHEDULER_FIRED_KEYS_H

#include <cstdint>

#include "base/fixed_text.h"

constexpr int32_t kFiredKeys = 256;  // the oldest makes room for the newest

// The name of one occurrence of one schedule: its minute, or its day, and what fires.
using OccurrenceKey = FixedText<16>;

// Both take the table's own mutex for their duration; no other lock is taken under it.
bool firedKeyContains(int64_t scheduleId, const OccurrenceKey& key);
void firedKeyAdd(int64_t scheduleId, const OccurrenceKey& key);

#endif
