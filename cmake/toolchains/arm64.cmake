# 64-bit ARM, little-endian.
set(TARGET_ARCH arm64)
set(TARGET_TRIPLET aarch64-linux-gnu)
set(TARGET_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
