# 32-bit ARM with a floating-point unit, little-endian.
set(TARGET_ARCH armhf)
set(TARGET_TRIPLET arm-linux-gnueabihf)
set(TARGET_PROCESSOR arm)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
