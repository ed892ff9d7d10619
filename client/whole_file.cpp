#include "client/whole_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/file_ptr.h"
#include "client/failure.h"
#include "client/text.h"

namespace {

bool isSpecial(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

bool writeAll(FILE* file, const std::string& text) {
  return fwrite(text.data(), 1, text.size(), file) == text.size() && fflush(file) == 0;
}

}  // namespace

void failFile(const std::string& path, const char* what, int why) {
  const bool isForbidden = why == EACCES || why == EPERM || why == EROFS;
  throw Failure(isForbidden ? kExitNotPermitted : kExitNotAsWished,
                escaped(path) + " could not be " + what + ": " + strerror(why));
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

  const std::string temporary = path + ".new";
  const FilePtr file(fopen(temporary.c_str(), "we"));
  const bool isWritten =
      file != nullptr && writeAll(file.get(), text) && fsync(fileno(file.get())) == 0;
  if (!isWritten || rename(temporary.c_str(), path.c_str()) != 0) {
    const int why = errno;
    unlink(temporary.c_str());
    failFile(path, "written", why);
  }
}
