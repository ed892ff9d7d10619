#include "switchsim/lab/own_lab.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "cli/failure.h"

namespace switchsim {

OwnLab::OwnLab(const std::string& name) {
  const char* folder = getenv("TMPDIR");
  folder_ =
      std::string(folder != nullptr && *folder == '/' ? folder : "/tmp") + "/" + name + ".XXXXXX";
  if (mkdtemp(folder_.data()) == nullptr) {
    fail("cannot make " + folder_ + ": " + strerror(errno));
  }
  lab_.emplace(folder_ + "/lab");
}

OwnLab::~OwnLab() {
  try {
    lab_->down(true);
  } catch (const std::exception&) {  // its folder goes all the same
  }
  std::error_code error;
  std::filesystem::remove_all(folder_, error);
}

}  // namespace switchsim
