// A schedule's JSON form.
#ifndef QUORIN_RULES_SCHEDULE_JSON_H
#define QUORIN_RULES_SCHEDULE_JSON_H

#include <cstdint>

#include "base/json.h"
#include "rules/schedule.h"

// Fills *schedule (freshly made) from a client's JSON object and checks it. Returns RESULT_OK or
// ERR_INVALID_ARG. Dates, times and days are taken as they are; over-long strings are cut;
// scheduleId and unit stay 0.
int32_t scheduleFromJson(const cJSON* object, PoeSchedule* schedule);

// The schedule as an answer shows it; null when memory runs out.
JsonPtr scheduleToJson(const PoeSchedule& schedule);

#endif
