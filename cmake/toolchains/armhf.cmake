# 32-bit ARM with a floating-point unit, little-endian.
set(TARGET_ARCH armhf)
set(TARGET_TRIPLET arm-linux-gnueabihf)
set(TARGET_PROCESSOR arm)
# Of a fault's address the emulator tells the lower half of its own: a base that has none makes
# that the program's.
set(TARGET_EMULATOR_OPTIONS -B 0x100000000)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
