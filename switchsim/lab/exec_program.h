// Starting another program of the same build.
#ifndef QUORIN_SWITCHSIM_LAB_EXEC_PROGRAM_H
#define QUORIN_SWITCHSIM_LAB_EXEC_PROGRAM_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace switchsim {

// Replaces this process by the program at a path, with the settings ("NAME=VALUE", without commas)
// added to its environment. A program for another processor is carried out by the emulator that
// SWITCHSIM_EMULATOR tells, a command whose words are parted by blanks; the settings then are the
// program's alone, for the emulator could not load what it is to preload. Returns only when it
// cannot be started, with errno set.
void execProgram(const std::string& path, const std::vector<std::string>& settings);

}  // namespace switchsim

#endif
