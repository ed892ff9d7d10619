# What not every C library has; the daemon does without.
include(CheckSymbolExists)
find_package(Threads REQUIRED)

set(CMAKE_REQUIRED_DEFINITIONS -D_GNU_SOURCE)
set(CMAKE_REQUIRED_LIBRARIES Threads::Threads)
check_symbol_exists(malloc_trim malloc.h QUORIN_HAVE_MALLOC_TRIM)
check_symbol_exists(pthread_setattr_default_np pthread.h QUORIN_HAVE_DEFAULT_STACK)
unset(CMAKE_REQUIRED_DEFINITIONS)
unset(CMAKE_REQUIRED_LIBRARIES)
