#include "cli/confirm.h"

#include <strings.h>
#include <unistd.h>

#include <cstdio>

#include "cli/failure.h"
#include "cli/output.h"

namespace {

bool isAnsweredYes() {
  char line[16] = "";
  if (fgets(line, sizeof line, stdin) == nullptr) {
    return false;
  }
  return strcasecmp(line, "y\n") == 0 || strcasecmp(line, "yes\n") == 0;
}

}  // namespace

void confirm(const std::string& reason, bool isYes) {
  if (isYes) {
    return;
  }
  if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) {
    throw Failure(kExitUsage, reason + "\nNothing was changed. To do it all the same: -y");
  }
  tell(reason);
  fputs("Go on? [y/N] ", stderr);
  if (!isAnsweredYes()) {
    throw Failure(kExitNotAsWished, "nothing was changed");
  }
}
