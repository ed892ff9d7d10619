// What clients make the daemon hold in memory: requests that are not complete or not yet read as
// JSON, and answers that are not sent.
#ifndef QUORIN_IPC_HELD_BYTES_H
#define QUORIN_IPC_HELD_BYTES_H

#include <cstddef>

constexpr size_t kMaxHeldBytes = size_t{32} * 1024 * 1024;  // of all connections together
// Each connection may hold this much whatever the others do, so that small requests are always
// served. It is set aside for all of them.
constexpr size_t kFreeBytes = size_t{4} * 1024;

// One connection's part of it, given back at the end of its life. A connection has one at a time
// that is not 0. Any thread, holding no lock but the gate of large requests.
class HeldBytes {
 public:
  HeldBytes() = default;
  ~HeldBytes() { resize(0); }
  HeldBytes(const HeldBytes&) = delete;
  HeldBytes& operator=(const HeldBytes&) = delete;

  // Sets this part. Where all parts together might get above kMaxHeldBytes, unfinished requests
  // that are silent are closed first, and what they hold is waited for. False, with nothing
  // changed, when that does not do.
  bool resize(size_t bytes);

  // What of it is beyond kFreeBytes.
  size_t counted() const { return counted_; }

 private:
  bool tryResize(size_t bytes);

  size_t counted_ = 0;
};

#endif
