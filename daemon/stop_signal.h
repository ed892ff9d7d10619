// The signals that end the daemon, and the one it must survive.
#ifndef QUORIN_DAEMON_STOP_SIGNAL_H
#define QUORIN_DAEMON_STOP_SIGNAL_H

#include <cstdint>

// Handler of SIGTERM and SIGINT: asks for a stop, or does nothing while there is no context. Async-signal-safe.
extern "C" void onStopSignal(int32_t signalNumber);

// Installs onStopSignal, without automatic restart of interrupted calls, and ignores SIGPIPE: a client that goes away
// before its answer must only make the write fail.
void installStopSignals();

#endif
