#include "cli/interrupt.h"

#include <csignal>
#include <initializer_list>

namespace {

volatile sig_atomic_t hasCome = 0;

}  // namespace

void catchInterrupts() {
  struct sigaction action {};
  action.sa_handler = [](int) { hasCome = 1; };
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int each : {SIGINT, SIGTERM, SIGHUP}) {
    sigaction(each, &action, nullptr);
  }
}

bool isInterrupted() {
  return hasCome != 0;
}
