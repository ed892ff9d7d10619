// What week shows, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_WEEK_H
#define QUORIN_CLIENT_COMMANDS_WEEK_H

#include <string>

#include "forecast/week.h"

// A strip a port, or a line for all ports whose strips are equal; of 84 characters where there is
// room.
std::string weekText(const Week& week, const View& view);

#endif
