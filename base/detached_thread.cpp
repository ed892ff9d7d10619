#include "base/detached_thread.h"

#include <pthread.h>

int startDetachedThread(void* (*body)(void*), void* argument) {
  pthread_t thread;
  const int error = pthread_create(&thread, nullptr, body, argument);
  if (error == 0) {
    pthread_detach(thread);
  }
  return error;
}
