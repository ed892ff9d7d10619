#include "daemon/request_line.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <atomic>

#include "base/clock.h"
#include "base/unique_fd.h"
#include "daemon/bounds.h"

namespace {

constexpr int kNoClient = -1;
// How soon the first in line finds that a sweep has ended.
constexpr int kLookAgainMs = 10;

std::atomic<int32_t> waitingCount{0};
thread_local int servedClient = kNoClient;
thread_local bool hasWaitingPlace = false;

void leaveWaitingPlace() {
  if (hasWaitingPlace) {
    --waitingCount;
  }
  hasWaitingPlace = false;
}

// One request in the line, on its thread's stack. Its turn is announced by a descriptor, which can
// be waited for together with the end of the client.
struct Waiter {
  UniqueFd called{eventfd(0, EFD_CLOEXEC)};
  Waiter* next = nullptr;
};

Mutex lineMutex;
bool isTurnTaken GUARDED_BY(lineMutex) = false;
Waiter* firstWaiter GUARDED_BY(lineMutex) = nullptr;

// The place in the list that points to the waiter, or for null to the end.
Waiter** linkTo(const Waiter* waiter) REQUIRES(lineMutex) {
  Waiter** link = &firstWaiter;
  while (*link != waiter && *link != nullptr) {
    link = &(*link)->next;
  }
  return link;
}

// Takes the turn if it is free; else puts the waiter, if there is one, at the end of the line.
bool takeTurnOrQueue(Waiter* waiterOrNull) {
  const MutexLock lock(lineMutex);
  if (!isTurnTaken) {
    isTurnTaken = true;
    return true;
  }
  if (waiterOrNull != nullptr) {
    *linkTo(nullptr) = waiterOrNull;
  }
  return false;
}

void passTurnOn() REQUIRES(lineMutex) {
  Waiter* next = firstWaiter;
  isTurnTaken = next != nullptr;
  if (next != nullptr) {
    firstWaiter = next->next;
    eventfd_write(next->called.get(), 1);
  }
}

void endTurn() {
  const MutexLock lock(lineMutex);
  passTurnOn();
}

// A waiter that was called in this very moment passes its turn on.
void leaveLine(const Waiter& waiter) {
  const MutexLock lock(lineMutex);
  Waiter** link = linkTo(&waiter);
  if (*link != nullptr) {
    *link = waiter.next;
  } else {
    passTurnOn();
  }
}

bool hasHungUp(const pollfd& client) {
  return (client.revents & (POLLHUP | POLLERR)) != 0;
}

// Waits until the waiter is called. False when the client, unless it is none, hangs up before.
bool waitForCall(const Waiter& waiter, int client) {
  pollfd events[] = {{waiter.called.get(), POLLIN, 0}, {client, 0, 0}};
  while (clockPoll(events, 2, -1) < 0 || events[0].revents == 0) {
    if (hasHungUp(events[1])) {
      return false;
    }
  }
  return true;
}

}  // namespace

ServedRequest::ServedRequest(int connection) {
  servedClient = connection;
}

ServedRequest::~ServedRequest() {
  leaveWaitingPlace();
  servedClient = kNoClient;
}

bool takeWaitingPlace() {
  if (hasWaitingPlace) {
    return true;
  }
  hasWaitingPlace = ++waitingCount <= kMaxWaitingRequests;
  if (!hasWaitingPlace) {
    --waitingCount;
    boundReached(Bound::waiting);
  }
  return hasWaitingPlace;
}

ScheduleTurn::ScheduleTurn(RequestKind kind) : isCalled_(takeTurnOrQueue(nullptr)), kind_(kind) {
  if (!isCalled_ && takeWaitingPlace()) {
    isCalled_ = waitInLine();
  }
}

ScheduleTurn::~ScheduleTurn() {
  leaveWaitingPlace();
  if (isCalled_) {
    endTurn();
  }
}

bool ScheduleTurn::waitInLine() {
  Waiter waiter;
  if (!waiter.called) {
    boundReached(Bound::waiting);
    return false;  // no descriptor: refused before anything is done
  }
  if (takeTurnOrQueue(&waiter)) {
    return true;
  }
  if (waitForCall(waiter, kind_ == RequestKind::reads ? servedClient : kNoClient)) {
    const MutexLock lock(lineMutex);  // whoever called is done with the waiter
    return true;
  }
  leaveLine(waiter);
  return false;
}

bool ScheduleTurn::lock(Mutex& mutex) {
  if (!isCalled_) {
    return false;
  }
  const bool isLocked = mutex.tryLock() || (takeWaitingPlace() && lockForClient(mutex));
  leaveWaitingPlace();
  return isLocked;
}

// Whoever has the turn is the only request that waits here, and for the scheduler alone.
bool ScheduleTurn::lockForClient(Mutex& mutex) const {
  if (kind_ == RequestKind::changes || servedClient == kNoClient) {
    mutex.lock();
    return true;
  }

  pollfd client{servedClient, 0, 0};
  while (!mutex.tryLock()) {
    if (clockPoll(&client, 1, kLookAgainMs) > 0 && hasHungUp(client)) {
      return false;
    }
  }
  return true;
}
