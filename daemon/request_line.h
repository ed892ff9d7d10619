// Where requests wait. A sweep may hold the schedules for minutes, and every request that waits
// keeps a connection: only so many of them may wait, and one that merely reads does not outstay its
// client in the line. (What a request does is not known before its turn at the gate of large ones.)
#ifndef QUORIN_DAEMON_REQUEST_LINE_H
#define QUORIN_DAEMON_REQUEST_LINE_H

#include <cstdint>

#include "base/thread_annotations.h"

// Fewer than there are connections, so that those who ask for something else find one.
constexpr int32_t kMaxWaitingRequests = 192;

// The request that this thread carries out, for as long as this lives: whose it is, and whether it
// waits.
class ServedRequest {
 public:
  explicit ServedRequest(int connection);
  ~ServedRequest();
  ServedRequest(const ServedRequest&) = delete;
  ServedRequest& operator=(const ServedRequest&) = delete;
};

// Takes one of the places for those that wait, to be called before waiting; this thread keeps it
// until its request has the schedules or ends, so whoever has waited once is not refused later.
// False where all are taken: the request then is to be refused.
bool takeWaitingPlace();

enum class RequestKind : uint8_t {
  reads,    // nobody misses it when its client has hung up
  changes,  // carried out whether its client waits or not
};

// One request's turn at the schedules, from its construction, which waits for it, to its
// destruction. Those who wait are called in the order in which they came.
class ScheduleTurn {
 public:
  ScheduleTurn() = default;  // none: the daemon itself stands in no line
  explicit ScheduleTurn(RequestKind kind);
  ~ScheduleTurn();
  ScheduleTurn(const ScheduleTurn&) = delete;
  ScheduleTurn& operator=(const ScheduleTurn&) = delete;

  // Waits for the schedules' mutex and takes it, which the caller has to unlock before the turn
  // ends. False when the request is refused (too many wait), and when it reads and its client, the
  // one that this thread serves, has hung up.
  // REQUIRES: it is a request's turn.
  bool lock(Mutex& mutex) NO_THREAD_SAFETY_ANALYSIS;

 private:
  bool waitInLine();
  bool lockForClient(Mutex& mutex) const NO_THREAD_SAFETY_ANALYSIS;

  bool isCalled_ = false;
  RequestKind kind_ = RequestKind::changes;
};

#endif
