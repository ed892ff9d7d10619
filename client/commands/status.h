// What status shows, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_STATUS_H
#define QUORIN_CLIENT_COMMANDS_STATUS_H

#include <string>

#include "client/diagnosis/status.h"

std::string statusText(const Status& status, const View& view);

#endif
