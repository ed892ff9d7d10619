# libfaketime, which moves the clocks of daemons under test and, in its variant for threads, of a lab's daemon: the plain one
# reads its file into a buffer that threads share. Where they are not installed, their places in Debian.
foreach(variant FAKETIME FAKETIMEMT)
  string(REPLACE "FAKETIME" "libfaketime" file ${variant}.so.1)
  find_library(${variant}_LIBRARY NAMES ${file} PATH_SUFFIXES faketime)
  if(NOT ${variant}_LIBRARY)
    set(${variant}_LIBRARY /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/faketime/${file})
  endif()
  set(${variant}_PRELOAD ${${variant}_LIBRARY})
endforeach()

# Sanitizer runtimes must come first.
if(QUORIN_POED_SANITIZE MATCHES "address" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libasan.so OUTPUT_VARIABLE asan_runtime
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(SANITIZER_PRELOAD "${asan_runtime}:")
  set(FAKETIME_PRELOAD "${SANITIZER_PRELOAD}${FAKETIME_LIBRARY}")
  set(FAKETIMEMT_PRELOAD "${SANITIZER_PRELOAD}${FAKETIMEMT_LIBRARY}")
endif()
