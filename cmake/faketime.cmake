# libfaketime, which moves the clocks of the product's own daemon under test. Where it is not installed, its place in Debian.
find_library(FAKETIME_LIBRARY NAMES libfaketime.so.1 PATH_SUFFIXES faketime)
if(NOT FAKETIME_LIBRARY)
  set(FAKETIME_LIBRARY /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/faketime/libfaketime.so.1)
endif()
set(FAKETIME_PRELOAD ${FAKETIME_LIBRARY})

# Sanitizer runtimes must come first.
if(QUORIN_POED_SANITIZE MATCHES "address" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libasan.so OUTPUT_VARIABLE asan_runtime
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(SANITIZER_PRELOAD "${asan_runtime}:")
  set(FAKETIME_PRELOAD "${SANITIZER_PRELOAD}${FAKETIME_LIBRARY}")
endif()
