// Opening files in a folder where anybody may plant what he likes, such as /tmp.
#ifndef QUORIN_BASE_PLAIN_FILE_H
#define QUORIN_BASE_PLAIN_FILE_H

#include <sys/types.h>

#include "base/unique_fd.h"

enum class FileOwner { anybody, selfOrRoot };

// Opens path with the given access flags of open(2), following no link and waiting for nobody at a
// pipe's other end. What is there is given back only if it is a regular file under one name, with a
// trusted owner; nothing of it has been cut, written or read by then. None, with the reason in
// errno (EPERM for what did not pass), on failure.
UniqueFd openPlainFile(const char* path, int accessFlags, FileOwner trusted);

// The same, but makes a missing file, with exactly this mode whatever the umask.
UniqueFd openOrMakePlainFile(const char* path, int accessFlags, FileOwner trusted, mode_t mode);

#endif
