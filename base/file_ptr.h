// A stdio stream that closes itself.
#ifndef QUORIN_BASE_FILE_PTR_H
#define QUORIN_BASE_FILE_PTR_H

#include <cstdio>
#include <memory>

struct FileCloser {
  void operator()(FILE* file) const { fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

#endif
