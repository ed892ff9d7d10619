// What the daemon records of runs and ports in words. They are stored and go to clients as they
// are, and by some of them a client tells what became of a port: so they are written once.
#ifndef QUORIN_RULES_RUN_WORDS_H
#define QUORIN_RULES_RUN_WORDS_H

// Why a run failed as a whole.
constexpr const char* kRunInterrupted = "Interrupted by unexpected reboot";
constexpr const char* kRunSuperseded = "Superseded by a new occurrence";
constexpr const char* kRunNeverEnded = "Window end never fired";
constexpr const char* kRunScheduleGone = "Schedule removed or modified mid-window";
constexpr const char* kRunWithoutOutcomes = "no port outcomes recorded";
constexpr const char* kRunNotSpawned = "spawn failed";
constexpr const char* kRunNotAllocated = "alloc failed";

// Why a port was skipped. A sweep says "port busy" alone, an executor what with.
constexpr const char* kPortBusy = "port busy";
constexpr const char* kPortBusyWithRun = "port busy (another run in progress)";
constexpr const char* kPortForeign = "ifNum not in unit's PoE port range";

// Why a port failed: what the switch refused to do.
constexpr const char* kPortOffFailed = "power_off failed";    // also in a restart
constexpr const char* kPortOnFailed = "power_on failed";      // by a sweep, and in a restart
constexpr const char* kPortStartFailed = "hardware error";    // to switch it on, by an executor
constexpr const char* kPortRestoreFailed = "restore failed";  // at a window's end
constexpr const char* kPortResetFailed = "reset failed";
constexpr const char* kPortBootFailed = "re-enable failed";  // after the boot delay
// Nothing was recorded of it when its run was closed.
#define PORT_WITHOUT_OUTCOME "no outcome recorded"

#endif
