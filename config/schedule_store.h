// The schedule database: schedules with their days and ports, per unit.
//
// Every operation holds DaemonContext::scheduleDbMutex for all of its database work; the caller
// must not hold it. Codes: RESULT_OK; ERR_INVALID_ARG for invalid content or a changed type;
// ERR_NOT_FOUND when the unit has no such schedule; ERR_EXISTS for a name that the unit has already
// (create only: an update onto a taken name is ERR_GENERAL); ERR_GENERAL for any other failure,
// among them too many requests that wait for the mutex already, and for get and list a client that
// has hung up meanwhile (daemon/request_line.h). After a failure *answer is untouched. Nothing here
// logs but scheduleStoreInit.
#ifndef QUORIN_CONFIG_SCHEDULE_STORE_H
#define QUORIN_CONFIG_SCHEDULE_STORE_H

#include <cstdint>

#include "base/json.h"

// Opens the schedule database, creates or upgrades its tables and puts the connection into the
// context. Returns 0, or -1 (logged; the context's handle stays null). REQUIRES: the context
// exists, no other thread yet. Takes the schedule mutex to publish.
int32_t scheduleStoreInit();

// Creates a schedule from a client's object. The answer shows days and ports in the client's order;
// a repeated day or port is refused.
int32_t scheduleCreate(int32_t unit, const cJSON* content, JsonPtr* answer);

// The answer shows days and ports in ascending order.
int32_t scheduleGet(int32_t unit, int64_t scheduleId, JsonPtr* answer);

// Replaces a schedule's content; its type can't change. Of repeated days or ports only those before
// the first repeat are stored.
int32_t scheduleUpdate(int32_t unit, int64_t scheduleId, const cJSON* content, JsonPtr* answer);

int32_t scheduleDelete(int32_t unit, int64_t scheduleId);

// Sets *answer to {"schedules": [...]} in ascending id.
int32_t scheduleList(int32_t unit, JsonPtr* answer);

#endif
