# No switch has one, but it is 64-bit and big-endian.
set(TARGET_ARCH s390x)
set(TARGET_TRIPLET s390x-linux-gnu)
set(TARGET_PROCESSOR s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
