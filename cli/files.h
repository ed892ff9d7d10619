// Files that are read or written in one piece, and whose they are.
#ifndef QUORIN_CLI_FILES_H
#define QUORIN_CLI_FILES_H

#include <sys/types.h>

#include <string>

// The failure of a file: kExitNotPermitted or kExitNotAsWished. what: "read", "written"; why:
// errno; ifMissing: what to do when there is no file.
[[noreturn]] void failFile(const std::string& path, const char* what, int why,
                           const char* ifMissing = "");

// What a file is called in messages: "-" is stdin.
std::string pathText(const std::string& path);

// "-" is stdin. Throws Failure.
std::string readWholeFile(const std::string& path);

// In one step: whoever reads meanwhile, or after a power cut, finds the old text or the new one,
// and the new one once this returns (in a folder that this user may read). What is no regular file
// (a pipe, a terminal) is written as it stands. Throws Failure.
void writeWholeFile(const std::string& path, const std::string& text);

// An id that has no name is its number.
std::string userName(uid_t uid);
std::string groupName(gid_t gid);

// " (root:adm): use it as root, or ask to be added to group adm", of what stands in the way of
// reading or writing the file: itself, else its folder. Empty when that cannot be told.
std::string permissionHint(const std::string& path, bool isWriting);

#endif
