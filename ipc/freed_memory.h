// Giving the memory of requests and answers back to the system; the allocator alone would keep it.
#ifndef QUORIN_IPC_FREED_MEMORY_H
#define QUORIN_IPC_FREED_MEMORY_H

// Notes that a request is done. Any thread; no lock.
void noteFreedMemory();

// Gives back all that is free now. Any thread.
void returnFreedMemoryNow();

// Gives back what was freed since the last time, but not more often than about twice a second: it
// costs more than most requests, and what is freed is soon used again. For one thread, which calls
// it every half second even when nothing happens.
void returnFreedMemory();

#endif
