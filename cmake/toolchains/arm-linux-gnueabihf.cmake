# 32-bit little-endian ARM (EABI, hard float, glibc): Debian's
# g++-arm-linux-gnueabihf, run under qemu-arm. Use with
#   cmake -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/arm-linux-gnueabihf.cmake ...
set(CMAKE_SYSTEM_PROCESSOR arm)
set(ZVSDP_CROSS_TRIPLE arm-linux-gnueabihf)
set(ZVSDP_CROSS_QEMU arm)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
