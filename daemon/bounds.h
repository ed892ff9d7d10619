// What clients ran into: the bounds on what they can make the daemon hold.
#ifndef QUORIN_DAEMON_BOUNDS_H
#define QUORIN_DAEMON_BOUNDS_H

#include <cstdint>

enum class Bound : uint8_t {
  connections,   // a silent one was closed, for a new one or for its memory
  requestBytes,  // a request was too large
  memory,        // there was none for a request or an answer
  waiting,       // a request was refused because enough of them wait already
};

// Counts one. Any thread, any lock held; no lock.
void boundReached(Bound bound);

// Warns of what was counted since the last warning, a minute later at the earliest: whoever floods
// the daemon must not flood its log. For one thread, which calls it now and then.
void boundsReport();

#endif
