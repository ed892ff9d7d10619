// Files that are read or written in one piece.
#ifndef QUORIN_CLI_FILES_H
#define QUORIN_CLI_FILES_H

#include <string>

// The failure of a file: kExitNotPermitted or kExitNotAsWished. what: "read", "written"; why:
// errno; ifMissing: what to do when there is no file.
[[noreturn]] void failFile(const std::string& path, const char* what, int why,
                           const char* ifMissing = "");

// "-" is stdin. Throws Failure.
std::string readWholeFile(const std::string& path);

// In one step: whoever reads meanwhile, or after a power cut, finds the old text or the new one,
// and the new one once this returns (in a folder that this user may read). What is no regular file
// (a pipe, a terminal) is written as it stands. Throws Failure.
void writeWholeFile(const std::string& path, const std::string& text);

#endif
