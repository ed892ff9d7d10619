// The daemon's clock: once a minute every schedule is looked at, and what is due is carried out.
#ifndef QUORIN_SCHEDULER_SCHEDULER_THREAD_H
#define QUORIN_SCHEDULER_SCHEDULER_THREAD_H

// Thread body: the boot delay, then a tick in every minute of the daemon's clock until a stop is
// asked for, which it notices within a second, or, while a sweep pauses between ports, when the
// sweep's ports are done. A minute that a long tick overruns is not made up for. Takes no argument,
// returns null.
void* schedulerThread(void* unused);

// One tick: reads the switch's clock, reaps orphaned window runs, and evaluates every schedule.
// Ticks follow the daemon's clock; a switch whose clock is a moment behind is still in the last
// second of a minute then, which has been looked at before, or is now, and the tick waits for the
// next minute to turn: it would be skipped otherwise. Holds the schedule mutex for the whole
// evaluation, inline sweeps and their pauses included. REQUIRES: the scheduler thread, holding no
// lock.
void tickOnce();

#endif
