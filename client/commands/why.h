// What why shows, for the command and its tests.
#ifndef QUORIN_CLIENT_COMMANDS_WHY_H
#define QUORIN_CLIENT_COMMANDS_WHY_H

#include <optional>
#include <string>
#include <vector>

#include "api/view.h"
#include "client/diagnosis/port_account.h"

// What is asked about a port, and what there is to answer it from.
struct WhyQuestion {
  PoePort port;
  SystemTime at;                     // the moment asked about
  std::optional<SensorPort> sensor;  // the port now; none where another moment is asked about
  PortRecords records;
};

std::string whyText(const WhyQuestion& question, const View& view);

#endif
