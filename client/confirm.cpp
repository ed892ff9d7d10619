#include "client/confirm.h"

#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "client/failure.h"

void confirm(const std::string& question, bool isAgreed) {
  if (isAgreed) {
    return;
  }
  if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) {
    throw Failure(kExitUsage, question + " Nothing was done: say yes with -y.");
  }
  fprintf(stderr, "%s [y/N] ", question.c_str());
  fflush(stderr);
  std::string answer;
  std::getline(std::cin, answer);
  if (answer != "y" && answer != "Y" && answer != "yes") {
    throw Failure(kExitNotAsWished, "nothing was done");
  }
}
