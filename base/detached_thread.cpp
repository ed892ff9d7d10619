#include "base/detached_thread.h"

#include <pthread.h>

#include "base/clock.h"

int startDetachedThread(void* (*body)(void*), void* argument) {
  pthread_t thread;
  const int error = clockThreadStart(&thread, body, argument);
  if (error == 0) {
    pthread_detach(thread);
  }
  return error;
}
