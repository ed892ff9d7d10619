#include "cli/interrupt.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "cli/failure.h"

namespace {

volatile sig_atomic_t hasCome = 0;

// The handler may come at any moment: what it says stands ready before.
char interruptText[512];

void onInterrupt(int) {
  const ssize_t ignored =
      write(STDERR_FILENO, interruptText, strnlen(interruptText, sizeof interruptText));
  (void)ignored;
  _exit(kExitInterrupted);
}

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

void sayWhenInterrupted(const char* program, const std::string& text) {
  snprintf(interruptText, sizeof interruptText, "\n%s: interrupted: %s\n", program, text.c_str());
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
}
