// Making entries of a folder survive a power cut.
#ifndef QUORIN_BASE_SYNC_FOLDER_H
#define QUORIN_BASE_SYNC_FOLDER_H

// Syncs the folder itself: what was made, renamed or removed in it stays so. A failure is ignored.
void syncFolder(const char* path);

#endif
