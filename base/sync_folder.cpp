#include "base/sync_folder.h"

#include <fcntl.h>

#include <cerrno>

UniqueFd openFolder(const char* path) {
  return UniqueFd(open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

bool syncFolder(const UniqueFd& folder) {
  return folder && (fsync(folder.get()) == 0 || errno == EINVAL);
}
