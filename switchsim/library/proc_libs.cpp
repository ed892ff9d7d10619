// The process library: the switch OS's crash logger, which here counts who registers and tells who
// crashes on a bus error.
#include <unistd.h>

#include <csignal>

#include "switchos/openclt.h"
#include "switchsim/library/answer_call.h"

using namespace switchsim;

namespace {

constexpr char kCrashed[] = "switchsim: crash logged\n";

struct sigaction before;

// As crash loggers do: notes the crash, then leaves the rest to whoever was there before.
void onCrash(int signalNumber) {
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kCrashed, sizeof kCrashed - 1);
  sigaction(signalNumber, &before, nullptr);
  raise(signalNumber);
}

void catchCrashes() {
  struct sigaction current {};
  sigaction(SIGBUS, nullptr, &current);
  if (current.sa_handler != onCrash) {
    before = current;
    struct sigaction action {};
    action.sa_handler = onCrash;
    sigaction(SIGBUS, &action, nullptr);
  }
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int32_t l7proc_crashlog_register(void) {
  Call call;
  call.operation = Operation::crashlogRegister;
  catchCrashes();
  return answerCall(call, [](SharedState* state) {
    state->crashlogCount++;
    return OPENCLT_OK;
  });
}
