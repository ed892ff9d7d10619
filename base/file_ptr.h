// A stdio stream that closes itself.
#ifndef QUORIN_BASE_FILE_PTR_H
#define QUORIN_BASE_FILE_PTR_H

#include <cstdio>
#include <memory>

#include "base/unique_fd.h"

struct FileCloser {
  void operator()(FILE* file) const { fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

// A stream over a descriptor, which it takes over in every case; null for none and when memory runs
// out.
inline FilePtr streamOf(UniqueFd file, const char* mode) {
  FilePtr stream(file ? fdopen(file.get(), mode) : nullptr);
  if (stream != nullptr) {
    file.release();  // the stream's now
  }
  return stream;
}

#endif
