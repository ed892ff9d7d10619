// Holding PoE power back after the daemon's start.
#ifndef QUORIN_SCHEDULER_BOOT_DELAY_H
#define QUORIN_SCHEDULER_BOOT_DELAY_H

// On every unit with a delay: switches the enabled PoE ports off at once, begins a run, and starts
// a detached worker that switches them on again after the delay. Does not wait for the workers.
// Whatever keeps a worker from starting brings the ports back at once. REQUIRES: the scheduler
// thread, before its first tick, holding no lock.
void runBootDelay();

#endif
