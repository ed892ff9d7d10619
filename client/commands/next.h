// What next shows, for it and for status.
#ifndef QUORIN_CLIENT_COMMANDS_NEXT_H
#define QUORIN_CLIENT_COMMANDS_NEXT_H

#include <vector>

#include "api/view.h"
#include "forecast/firings.h"

// [{"at", "act", "isEnd", "unit", "scheduleId", "scheduleName", "ifNums", "portNames"}].
JsonPtr firingsJson(const std::vector<Firing>& firings, const View& view);

#endif
