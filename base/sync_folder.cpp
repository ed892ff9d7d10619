#include "base/sync_folder.h"

#include <fcntl.h>

#include "base/unique_fd.h"

void syncFolder(const char* path) {
  const UniqueFd folder(open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder) {
    fsync(folder.get());
  }
}
