// Making entries of a folder survive a power cut.
#ifndef QUORIN_BASE_SYNC_FOLDER_H
#define QUORIN_BASE_SYNC_FOLDER_H

#include "base/unique_fd.h"

// Opens a folder to be synced later: before the change, so that what is missing for it is missing
// while there is nothing to undo. None, with the reason in errno, on failure.
UniqueFd openFolder(const char* path);

// Syncs the folder itself: what was made, renamed or removed in it stays so. False, with the reason
// in errno, when that can't be promised. (A file system that has no such thing, EINVAL, promises
// what it can.)
bool syncFolder(const UniqueFd& folder);

#endif
