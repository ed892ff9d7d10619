#include "cli/file_owner.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace {

// A file that could be used itself stands in a folder that could not.
std::string barrier(const std::string& path, bool isWriting) {
  const bool isItself =
      access(path.c_str(), F_OK) == 0 && access(path.c_str(), isWriting ? W_OK : R_OK) != 0;
  const std::string folder = std::filesystem::path(path).parent_path();
  return isItself ? path : folder.empty() ? "." : folder;
}

}  // namespace

std::string userName(uid_t uid) {
  const passwd* user = getpwuid(uid);
  return user != nullptr ? user->pw_name : std::to_string(uid);
}

std::string groupName(gid_t gid) {
  const group* named = getgrgid(gid);
  return named != nullptr ? named->gr_name : std::to_string(gid);
}

std::string permissionHint(const std::string& path, bool isWriting) {
  struct stat status {};
  if (stat(barrier(path, isWriting).c_str(), &status) != 0) {
    return "";
  }
  const std::string user = userName(status.st_uid);
  const std::string group = groupName(status.st_gid);
  const bool isForGroup = (status.st_mode & (isWriting ? S_IWGRP : S_IRGRP)) != 0;
  return " (" + user + ":" + group + "): use it as " + user +
         (isForGroup ? ", or ask to be added to group " + group : "");
}
