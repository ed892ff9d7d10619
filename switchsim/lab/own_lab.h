// A lab that goes with the command, in a folder of its own.
#ifndef QUORIN_SWITCHSIM_LAB_OWN_LAB_H
#define QUORIN_SWITCHSIM_LAB_OWN_LAB_H

#include <string>

#include "switchsim/lab/lab.h"

namespace switchsim {

// Ends with its owner, and its folder with it.
class OwnLab {
 public:
  // Makes a folder, called after name, below TMPDIR or /tmp; the lab is not up yet. Throws Failure.
  explicit OwnLab(const std::string& name);
  ~OwnLab();
  OwnLab(const OwnLab&) = delete;
  OwnLab& operator=(const OwnLab&) = delete;
  Lab& lab() { return *lab_; }

 private:
  std::string folder_;
  std::optional<Lab> lab_;
};

}  // namespace switchsim

#endif
