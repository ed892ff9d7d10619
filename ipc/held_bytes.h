// What clients make the daemon hold in memory: requests that are not complete or not yet read as JSON, and answers that
// are not sent.
#ifndef QUORIN_IPC_HELD_BYTES_H
#define QUORIN_IPC_HELD_BYTES_H

#include <cstddef>

constexpr size_t kMaxHeldBytes = size_t{32} * 1024 * 1024;  // of all connections together

// One connection's part of it, given back at the end of its life. Any thread; no lock.
class HeldBytes {
 public:
  HeldBytes() = default;
  ~HeldBytes() { resize(0); }
  HeldBytes(const HeldBytes&) = delete;
  HeldBytes& operator=(const HeldBytes&) = delete;

  // Sets this part. False, with nothing changed, when all parts together would be above kMaxHeldBytes.
  bool resize(size_t bytes);

 private:
  size_t bytes_ = 0;
};

#endif
