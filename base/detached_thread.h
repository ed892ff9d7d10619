// Starting a thread that nobody joins.
#ifndef QUORIN_BASE_DETACHED_THREAD_H
#define QUORIN_BASE_DETACHED_THREAD_H

// Starts body(argument) on a detached thread with default attributes. Returns 0, or an error number
// when there can be no thread; then body never runs and the caller still owns the argument. The
// body must let no exception out.
int startDetachedThread(void* (*body)(void*), void* argument);

#endif
