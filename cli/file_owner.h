// Whose a file is, for a person who may not use it.
#ifndef QUORIN_CLI_FILE_OWNER_H
#define QUORIN_CLI_FILE_OWNER_H

#include <sys/types.h>

#include <string>

// An id that has no name is its number.
std::string userName(uid_t uid);
std::string groupName(gid_t gid);

// " (root:adm): use it as root, or ask to be added to group adm", of what stands in the way of
// reading or writing the file: itself, else its folder. Empty when that cannot be told.
std::string permissionHint(const std::string& path, bool isWriting);

#endif
