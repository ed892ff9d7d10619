#include "cli/files.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "base/draft_ending.h"
#include "base/file_ptr.h"
#include "base/sync_folder.h"
#include "base/unique_fd.h"
#include "cli/failure.h"
#include "cli/text.h"

namespace {

bool isSpecial(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

bool writeAll(FILE* file, const std::string& text) {
  return fwrite(text.data(), 1, text.size(), file) == text.size() && fflush(file) == 0;
}

std::string realPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), free);
  return real != nullptr ? real.get() : path;
}

std::string folderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

// That of the file that is replaced, else that of any new file.
mode_t modeOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0) {
    return status.st_mode & 0777;
  }
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

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

void failFile(const std::string& path, const char* what, int why, const char* ifMissing) {
  const bool isForbidden = why == EACCES || why == EPERM || why == EROFS;
  const bool isWriting = strcmp(what, "written") == 0;
  const std::string hint = why == EACCES   ? permissionHint(path, isWriting)
                           : why == ENOENT ? ifMissing
                                           : "";
  throw Failure(isForbidden ? kExitNotPermitted : kExitNotAsWished,
                escaped(path) + " could not be " + what + ": " + strerror(why) + hint);
}

std::string pathText(const std::string& path) {
  return path == "-" ? "stdin" : escaped(path);
}

std::string readWholeFile(const std::string& path) {
  const FilePtr opened(path == "-" ? nullptr : fopen(path.c_str(), "re"));
  FILE* file = path == "-" ? stdin : opened.get();
  if (file == nullptr) {
    failFile(path, "read", errno);
  }
  std::string text;
  char part[4096];
  for (size_t size = 0; (size = fread(part, 1, sizeof part, file)) > 0;) {
    text.append(part, size);
  }
  if (ferror(file) != 0) {
    failFile(path, "read", errno);
  }
  return text;
}

void writeWholeFile(const std::string& path, const std::string& text) {
  if (isSpecial(path)) {
    const FilePtr file(fopen(path.c_str(), "we"));
    if (file == nullptr || !writeAll(file.get(), text)) {
      failFile(path, "written", errno);
    }
    return;
  }

  // Beside the file itself, whatever links lead to it, and under a name that nobody can foresee.
  const std::string target = realPath(path);
  const UniqueFd folder = openFolder(folderOf(target).c_str());
  std::string temporary = target + kDraftEnding;
  const FilePtr file = streamOf(UniqueFd(mkstemp(temporary.data())), "w");
  const bool isWritten = file != nullptr && fchmod(fileno(file.get()), modeOf(target)) == 0 &&
                         writeAll(file.get(), text) && fsync(fileno(file.get())) == 0;
  if (!isWritten || rename(temporary.c_str(), target.c_str()) != 0) {
    const int why = errno;
    unlink(temporary.c_str());
    failFile(path, "written", why);
  }
  if (folder && !syncFolder(folder)) {
    failFile(path, "synced to its disk", errno);
  }
}
