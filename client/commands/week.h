// What week shows, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_WEEK_H
#define QUORIN_CLIENT_COMMANDS_WEEK_H

#include <string>
#include <vector>

#include "client/diagnosis/unrecorded_ends.h"
#include "forecast/week.h"

// What the records bear out of the port's modes up to now. Where the port is not now as they left
// it, nothing is known of the time since.
std::vector<ModeChange> pastModes(const SensorPort& port, const PortRecords& records,
                                  const View& view);

// A strip a port, or a line for all ports whose strips are equal; of 84 characters where there is
// room.
std::string weekText(const Week& week, const View& view);

#endif
