# libfaketime, which moves the clocks of a lab's daemon and of the tests'. Where it is not installed, its place in Debian.
find_library(FAKETIME_LIBRARY NAMES libfaketime.so.1 PATH_SUFFIXES faketime)
if(NOT FAKETIME_LIBRARY)
  set(FAKETIME_LIBRARY /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/faketime/libfaketime.so.1)
endif()

# What a daemon under it is preloaded with: sanitizer runtimes must come first.
set(FAKETIME_PRELOAD ${FAKETIME_LIBRARY})
if(QUORIN_POED_SANITIZE MATCHES "address" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libasan.so OUTPUT_VARIABLE asan_runtime
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(FAKETIME_PRELOAD "${asan_runtime}:${FAKETIME_LIBRARY}")
endif()
