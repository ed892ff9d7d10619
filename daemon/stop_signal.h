// The signals that end the daemon, and the one it must survive.
#ifndef QUORIN_DAEMON_STOP_SIGNAL_H
#define QUORIN_DAEMON_STOP_SIGNAL_H

#include <csignal>
#include <cstdint>

// Handler of SIGTERM and SIGINT: asks for a stop, or does nothing while there is no context.
// Async-signal-safe.
extern "C" void onStopSignal(int32_t signalNumber);

// Installs onStopSignal, without automatic restart of interrupted calls, and ignores SIGPIPE: a
// client that goes away before its answer must only make the write fail.
void installStopSignals();

// Holds SIGTERM and SIGINT back from the calling thread for as long as it lives, and from the
// threads started meanwhile for good.
class StopSignalBlock {
 public:
  StopSignalBlock();
  ~StopSignalBlock();
  StopSignalBlock(const StopSignalBlock&) = delete;
  StopSignalBlock& operator=(const StopSignalBlock&) = delete;

 private:
  sigset_t before_;
};

#endif
