// The log's level file: four bytes, mapped, whose first is the highest level written, as an ASCII
// digit.
#ifndef QUORIN_LOG_LEVEL_FILE_H
#define QUORIN_LOG_LEVEL_FILE_H

#include <cstdint>

// Opens the file at path (created with mode 0666 if missing), makes it four bytes long, maps it and
// puts '6' into a first byte that is not a digit. On any failure, and where something else than a
// regular file under one name stands in its place, there is no level file, and the level is 6.
// REQUIRES: called by one thread at a time, like levelFileClose; does nothing when the file is open
// already.
void levelFileOpen(const char* path);

// Closes the file; the level is 6 from then on. Other threads may go on reading the level.
void levelFileClose();

// Takes the signal handler that survives an emptied level file away for as long as this lives, so
// that somebody else can install one for SIGBUS without keeping ours as the next in line;
// afterwards ours comes first and theirs gets all other faults. REQUIRES: no other thread yet;
// nothing is logged meanwhile.
class LevelGuardPause {
 public:
  LevelGuardPause();
  ~LevelGuardPause();
  LevelGuardPause(const LevelGuardPause&) = delete;
  LevelGuardPause& operator=(const LevelGuardPause&) = delete;

 private:
  bool wasInstalled_;
};

// The highest level that is written: one memory read, no lock, any thread.
int32_t levelFileThreshold();

#endif
