#include "daemon/stop_signal.h"

#include <csignal>

#include "base/clock.h"
#include "daemon/daemon_context.h"

static_assert(std::atomic<int32_t>::is_always_lock_free,
              "the stop flag is set from a signal handler");

extern "C" void onStopSignal(int32_t) {
  DaemonContext* context = daemonContext();
  if (context != nullptr) {
    context->stopRequested.store(1);
    clockStopping();
  }
}

void installStopSignals() {
  struct sigaction action {};
  action.sa_handler = onStopSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
  signal(SIGPIPE, SIG_IGN);
}

StopSignalBlock::StopSignalBlock() : before_() {
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGTERM);
  sigaddset(&stopSignals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &stopSignals, &before_);
}

StopSignalBlock::~StopSignalBlock() {
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}
